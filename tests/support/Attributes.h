// The plain accessors of a job as rows of one table, each with a value that no other row has.
#pragma once

#include "tests/support/JobTest.h"

#include <functional>
#include <type_traits>

/// How an attribute reads in a fresh job, how it is set, and how it reads then.
struct Attribute
{
    std::string mName, mInitial, mSet;
    std::function<HRESULT(QORJob&, std::string& oOld)> mSetter; ///< not every setter gives the old value
    std::function<std::string(const QORJob&)> mGetter;
    std::function<HRESULT(const QORJob&)> mReadIntoNull; ///< none for getters without an out-pointer
    HRESULT mNullCode = E_POINTER;
    std::function<HRESULT(QORJob&, const QBase::WCHAR* iText)> mRawSetter = {}; ///< of some texts
    bool mbSetterLocks = true;
    bool mbGetterLocks = true;

    Attribute&& IgnoringNull() && { return mNullCode = S_OK, std::move(*this); }
    Attribute&& ReadFreely() && { return mbGetterLocks = false, std::move(*this); }
    Attribute&& SetAndReadFreely() && { return mbSetterLocks = mbGetterLocks = false, std::move(*this); }
};

/// Takes setters that give the old value, and getters of all kinds: by pointer, by reference, as the result.
template <class T, class Set, class Get>
Attribute Row(const char* iName, Set iSet, Get iGet, T iInitial, T iValue)
{
    Attribute row{iName, testing::PrintToString(iInitial), testing::PrintToString(iValue), {}, {}, {}};
    row.mSetter = [iSet, value = iValue](QORJob& ioJob, std::string& oOld) mutable {
        if constexpr (std::is_invocable_v<Set, QORJob&, T&, T*>)
        {
            T old = value;
            const HRESULT code = (ioJob.*iSet)(value, &old);
            oOld = testing::PrintToString(old);
            return code;
        }
        else
            return (ioJob.*iSet)(value);
    };
    row.mGetter = [=](const QORJob& iJob) {
        T value = iValue;
        if constexpr (std::is_invocable_v<Get, const QORJob&, T*>)
            EXPECT_EQ((iJob.*iGet)(&value), S_OK);
        else if constexpr (std::is_invocable_v<Get, const QORJob&, T&>)
            EXPECT_EQ((iJob.*iGet)(value), S_OK);
        else
            value = (iJob.*iGet)();
        return testing::PrintToString(value);
    };
    if constexpr (std::is_invocable_v<Get, const QORJob&, T*>)
        row.mReadIntoNull = [=](const QORJob& iJob) { return (iJob.*iGet)(nullptr); };
    return row;
}

using TextSetter = HRESULT (QORJob::*)(const QBase::wstring&);
using RawTextSetter = HRESULT (QORJob::*)(const QBase::WCHAR*);
using TextGetter = HRESULT (QORJob::*)(QBase::wstring&) const;

inline Attribute TextRow(const char* iName, TextSetter iSet, TextGetter iGet)
{
    return Row<QBase::wstring>(iName, iSet, iGet, QORJOB_W(""), QBase::UTF8ToWideChar(iName));
}

inline Attribute TextRow(const char* iName, TextSetter iSet, RawTextSetter iSetRaw, TextGetter iGet)
{
    Attribute row = TextRow(iName, iSet, iGet);
    row.mRawSetter = [=](QORJob& ioJob, const QBase::WCHAR* iText) { return (ioJob.*iSetRaw)(iText); };
    return row;
}

inline std::vector<Attribute> MakeAttributes()
{
    using J = QORJob;
    using Delivery = EnumSubscriptionDeliveryType;
    using Id = QSynch::AtomicLong;
    const QDataType::DateTime unset(0.0);
    return {
        Row("SendNow", &J::SetIsSendNowJob, &J::GetIsSendNowJob, false, true),
        Row("DeliveryType", &J::SetDeliveryType, &J::GetDeliveryType, Delivery{0}, Delivery{30}),
        TextRow("SubscriptionOwner", &J::SetSubscriptionOwner, &J::GetSubscriptionOwner),
        TextRow("SubscriptionRecipient", &J::SetSubscriptionRecipient, &J::GetSubscriptionRecipient),
        TextRow("Destination", &J::SetDestination, &J::GetDestination),
        Row("Batch", &J::SetIsBatchJob, &J::IsBatchJob, false, true),
        Row("InWarehouse", &J::SetIsExecutingInWarehouse, &J::GetIsExecutingInWarehouse, false, true),
        Row("ModelNull", &J::SetIsDocumentDataModelNull, &J::IsDocumentDataModelNull, false, true),
        Row("Type", &J::SetType, &J::GetType, 0, 26).ReadFreely(),
        Row("Source", &J::SetSource, &J::GetSource, 0, 24).ReadFreely(),
        Row("RequestId", &J::SetRequestId, &J::GetRequestId, -1, 25).SetAndReadFreely(),
        Row("ProjectId", &J::SetProjectId, &J::GetProjectId, -1, 27),
        Row("ProjectID", &J::SetProjectID, &J::GetProjectID, GUID_NULL, GuidOf(1)),
        TextRow("ProjectName", &J::SetProjectName, &J::SetProjectName, &J::GetProjectName),
        TextRow("Owner", &J::SetOwner, &J::SetOwner, &J::GetOwner),
        TextRow("User", &J::SetUser, &J::SetUser, &J::GetUser),
        TextRow("UserLogin", &J::SetUserLogin, &J::SetUserLogin, &J::GetUserLogin),
        Row("UserID", &J::SetUserID, &J::GetUserID, GUID_NULL, GuidOf(2)),
        Row("SessionID", &J::SetSessionID, &J::GetSessionID, GUID_NULL, GuidOf(3)),
        Row("WarehouseID", &J::SetWarehouseID, &J::GetWarehouseID, GUID_NULL, GuidOf(4)),
        TextRow("Description", &J::SetDescription, &J::GetDescription),
        Row("Stats", &J::SetStatsFlag, &J::GetStatsFlag, false, true).SetAndReadFreely(),
        Row("KeepRunning", &J::SetIfKeepRunWhenSessionTimeout, &J::IsKeepRunWhenSessionTimeout, false, true)
            .SetAndReadFreely(),
        Row("TimeoutExtended", &J::SetTimeoutExtended, &J::GetTimeoutExtended, false, true).IgnoringNull(),
        Row("StatisticsStep", &J::SetCurrentStepForStatistics, &J::GetCurrentStepForStatistics, 0, 31)
            .SetAndReadFreely(),
        Row("Status", &J::SetStatus, &J::GetStatus, 0, 8),
        Row("Running", &J::SetRunning, &J::IsRunning, false, true),
        Row("Priority", &J::SetPriority, &J::GetPriority, cJobPriority, 22),
        Row("PUPriority", &J::SetPUPriority, &J::GetPUPriority, cJobPriority, 23),
        Row("ParentId", static_cast<HRESULT (J::*)(Id)>(&J::SetParentId),
            static_cast<HRESULT (J::*)(Id*) const>(&J::GetParentId), Id(-1), Id(28))
            .IgnoringNull(),
        Row("PreJobId", &J::SetPreJobId, &J::GetPreJobId, Id(-1), Id(29)).IgnoringNull(),
        Row("RunningChildren", &J::SetRunningChildCount, &J::GetRunningChildCount, 0, 32),
        Row("ComponentErrorCode", &J::SetComponentErrorCode, &J::GetComponentErrorCode, S_OK, HRESULT(0x80040202)),
        Row("FinishTime", &J::SetJobFinishTime, &J::GetJobFinishTime, unset, Moment(3)),
        // Of a job that is made at Moment(1).
        {"TimeOut", testing::PrintToString(unset), testing::PrintToString(Moment(4)),
         [](J& ioJob, std::string&) { return ioJob.SetTimeOutPeriodInMilliseconds(3 * cApart); },
         [](const J& iJob) { return testing::PrintToString(Read(iJob, &J::GetTimeOutTime)); },
         [](const J& iJob) { return iJob.GetTimeOutTime(nullptr); }},
        Attribute{"Governed",
                  "true",
                  "false",
                  [](J& ioJob, std::string&) { return ioJob.SetGovernedControl(1); },
                  [](const J& iJob) { return testing::PrintToString(iJob.ApplyGovernorOrNot()); },
                  {}}
            .SetAndReadFreely(),
        {"Dead", "0 at 0", "1 at 23",
         [](J& ioJob, std::string&) {
             bool bWas = false;
             EXPECT_EQ(ioJob.SetIAmDead(true, nullptr, StepFindCube), E_POINTER);
             return ioJob.SetIAmDead(true, &bWas, StepFindCube);
         },
         [](const J& iJob) {
             bool bDead = false;
             QORJobProcessingStep step{};
             EXPECT_EQ(iJob.GetIAmDead(&bDead, &step), S_OK);
             return std::to_string(bDead) + " at " + std::to_string(step);
         },
         [](const J& iJob) {
             bool bDead = false;
             QORJobProcessingStep step{};
             return iJob.GetIAmDead(&bDead, nullptr) == E_POINTER ? iJob.GetIAmDead(nullptr, &step) : S_OK;
         }},
    };
}

/// Made before any test counts what is left on the heap.
inline const std::vector<Attribute> cAttributes = MakeAttributes();
