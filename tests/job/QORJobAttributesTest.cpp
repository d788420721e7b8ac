// The rows of plain accessors: set one, read it back, and see that no other changed.
#include "job/QORJob.h"
#include "report/JobMemGovernor.h"
#include "tests/support/Fakes.h"
#include "tests/support/JobTest.h"
#include "tests/support/Threads.h"

#include <functional>
#include <type_traits>

namespace
{

std::string Show(bool ibValue) { return ibValue ? "true" : "false"; }
std::string Show(int iValue) { return std::to_string(iValue); }
std::string Show(const GUID& iValue) { return QBase::ToString(iValue); }
std::string Show(const QBase::wstring& iValue) { return QBase::WideCharToUTF8(iValue); }

/// One row: how it reads in a fresh job, how it is set, and how it reads then.
struct Attribute
{
    std::string mName;
    std::string mInitial;
    std::string mSet;
    std::function<HRESULT(QORJob&)> mSetter;
    std::function<std::string(const QORJob&)> mGetter;
    std::function<HRESULT(const QORJob&)> mNullGetter;
};

/// Takes setters that give the old value, and getters of all kinds: by pointer, by reference, as the result.
template <class T, class Set, class Get>
Attribute Row(const char* iName, Set iSet, Get iGet, T iInitial, T iValue)
{
    const auto set = [=](QORJob& ioJob) {
        if constexpr (std::is_invocable_v<Set, QORJob&, T&, T*>)
        {
            T old{};
            const HRESULT code = (ioJob.*iSet)(iValue, &old);
            EXPECT_EQ(Show(old), Show(iInitial)) << iName;
            return code;
        }
        else
        {
            T value = iValue;
            return (ioJob.*iSet)(value);
        }
    };
    const auto get = [=](const QORJob& iJob) {
        T value = iValue;
        if constexpr (std::is_invocable_v<Get, const QORJob&, T*>)
            EXPECT_EQ((iJob.*iGet)(&value), S_OK);
        else if constexpr (std::is_invocable_v<Get, const QORJob&, T&>)
            EXPECT_EQ((iJob.*iGet)(value), S_OK);
        else
            value = (iJob.*iGet)();
        return Show(value);
    };
    const auto getNull = [=]([[maybe_unused]] const QORJob& iJob) {
        if constexpr (std::is_invocable_v<Get, const QORJob&, T*>)
            return (iJob.*iGet)(nullptr);
        else
            return E_POINTER;
    };
    return {iName, Show(iInitial), Show(iValue), set, get, getNull};
}

using TextSetter = HRESULT (QORJob::*)(const QBase::wstring&);
using PlainTextSetter = HRESULT (QORJob::*)(const WCHAR*);
using TextGetter = HRESULT (QORJob::*)(QBase::wstring&) const;

Attribute TextRow(const char* iName, TextSetter iSet, TextGetter iGet)
{
    return Row<QBase::wstring>(iName, iSet, iGet, W(""), QBase::UTF8ToWideChar(iName));
}

/// Set from a zero-terminated text: null is refused and changes nothing.
Attribute TextRow(const char* iName, TextSetter iSet, PlainTextSetter iSetPlain, TextGetter iGet)
{
    Attribute row = TextRow(iName, iSet, iGet);
    row.mSetter = [=, bySetter = row.mSetter](QORJob& ioJob) {
        EXPECT_EQ((ioJob.*iSetPlain)(W("a longer text than the next one is")), S_OK);
        EXPECT_EQ(bySetter(ioJob), S_OK);
        EXPECT_EQ((ioJob.*iSetPlain)(nullptr), E_POINTER);
        EXPECT_EQ(row.mGetter(ioJob), iName);
        EXPECT_EQ((ioJob.*iSetPlain)(W("")), S_OK);
        EXPECT_EQ(row.mGetter(ioJob), "");
        return (ioJob.*iSetPlain)(QBase::UTF8ToWideChar(iName).c_str());
    };
    return row;
}

constexpr GUID GuidOf(BYTE iNumber) { return {0x12345678, 0x9ABC, 0xDEF0, {1, 2, 3, 4, 5, 6, 7, iNumber}}; }

const std::vector<Attribute>& Attributes()
{
    using J = QORJob;
    using Delivery = EnumSubscriptionDeliveryType;
    static const std::vector<Attribute> cAttributes = {
        Row("SendNow", &J::SetIsSendNowJob, &J::GetIsSendNowJob, false, true),
        Row("DeliveryType", &J::SetDeliveryType, &J::GetDeliveryType, Delivery{0}, Delivery{3}),
        TextRow("SubscriptionOwner", &J::SetSubscriptionOwner, &J::GetSubscriptionOwner),
        TextRow("SubscriptionRecipient", &J::SetSubscriptionRecipient, &J::GetSubscriptionRecipient),
        TextRow("Destination", &J::SetDestination, &J::GetDestination),
        Row("Batch", &J::SetIsBatchJob, &J::IsBatchJob, false, true),
        Row("InWarehouse", &J::SetIsExecutingInWarehouse, &J::GetIsExecutingInWarehouse, false, true),
        Row("ModelNull", &J::SetIsDocumentDataModelNull, &J::IsDocumentDataModelNull, false, true),
        Row("Type", &J::SetType, &J::GetType, 0, 11),
        Row("Source", &J::SetSource, &J::GetSource, 0, 12),
        Row("RequestId", &J::SetRequestId, &J::GetRequestId, -1, 13),
        Row("ProjectId", &J::SetProjectId, &J::GetProjectId, -1, 14),
        Row("ProjectID", &J::SetProjectID, &J::GetProjectID, GUID_NULL, GuidOf(1)),
        TextRow("ProjectName", &J::SetProjectName, &J::SetProjectName, &J::GetProjectName),
        TextRow("Owner", &J::SetOwner, &J::SetOwner, &J::GetOwner),
        TextRow("User", &J::SetUser, &J::SetUser, &J::GetUser),
        TextRow("UserLogin", &J::SetUserLogin, &J::SetUserLogin, &J::GetUserLogin),
        Row("UserID", &J::SetUserID, &J::GetUserID, GUID_NULL, GuidOf(2)),
        Row("SessionID", &J::SetSessionID, &J::GetSessionID, GUID_NULL, GuidOf(3)),
        Row("WarehouseID", &J::SetWarehouseID, &J::GetWarehouseID, GUID_NULL, GuidOf(4)),
        TextRow("Description", &J::SetDescription, &J::GetDescription),
        Row("Stats", &J::SetStatsFlag, &J::GetStatsFlag, false, true),
        Row("KeepRunning", &J::SetIfKeepRunWhenSessionTimeout, &J::IsKeepRunWhenSessionTimeout, false, true),
        Row("TimeoutExtended", &J::SetTimeoutExtended, &J::GetTimeoutExtended, false, true),
        Row("StatisticsStep", &J::SetCurrentStepForStatistics, &J::GetCurrentStepForStatistics, 0, 15),
        Row("Status", &J::SetStatus, &J::GetStatus, 0, 2),
        Row("Running", &J::SetRunning, &J::IsRunning, false, true),
        Row("Priority", &J::SetPriority, &J::GetPriority, cJobPriority, 17),
        Row("PUPriority", &J::SetPUPriority, &J::GetPUPriority, cJobPriority, 18),
    };
    return cAttributes;
}

class JobAttributes : public JobTest
{
};

class JobContext : public JobTest
{
protected:
    FakeProcessContext mContext;
    FakeReportInstance mInstance{mContext.mCalls};
};

} // namespace

TEST_F(JobAttributes, ChangeOneAtATime)
{
    for (const Attribute& attribute : Attributes())
    {
        const JobPtr job = NewJob();
        for (const Attribute& other : Attributes())
            EXPECT_EQ(other.mGetter(*job.Get()), other.mInitial) << other.mName << " of a fresh job";
        EXPECT_EQ(attribute.mSetter(*job.Get()), S_OK) << attribute.mName;
        for (const Attribute& other : Attributes())
            EXPECT_EQ(other.mGetter(*job.Get()), &other == &attribute ? other.mSet : other.mInitial)
                << other.mName << " after " << attribute.mName;
    }
}

TEST_F(JobAttributes, RefuseNullPointers)
{
    const JobPtr job = NewJob();
    for (const Attribute& attribute : Attributes())
    {
        const HRESULT code = attribute.mName == "TimeoutExtended" ? S_OK : E_POINTER;
        EXPECT_EQ(attribute.mNullGetter(*job.Get()), code) << attribute.mName;
    }
    EXPECT_EQ(job->GetLocalDataBuffer(nullptr), E_POINTER);
    EXPECT_EQ(job->GetUserSession(nullptr), E_POINTER);
    EXPECT_EQ(job->GetProcessContext(nullptr), E_POINTER);
    // The old values of these are for those who ask.
    EXPECT_EQ(job->SetType(1, nullptr), S_OK);
    EXPECT_EQ(job->SetProjectId(1, nullptr), S_OK);
    EXPECT_EQ(job->SetTimeoutExtended(true, nullptr), S_OK);
    EXPECT_EQ(job->SetStatus(1, nullptr), S_OK);
    EXPECT_EQ(job->SetRunning(true, nullptr), S_OK);
}

TEST_F(JobAttributes, ExemptTheJobOfADeliveryFromTheGovernorForGood)
{
    const JobPtr job = NewJob();
    job->SetDeliveryType(EnumSubscriptionDeliveryType{0});
    EXPECT_FALSE(job->GetMemGovernor()->mbNotGoverned);
    job->SetDeliveryType(EnumSubscriptionDeliveryType{2});
    EXPECT_TRUE(job->GetMemGovernor()->mbNotGoverned);
    job->SetDeliveryType(EnumSubscriptionDeliveryType{0});
    EXPECT_TRUE(job->GetMemGovernor()->mbNotGoverned);

    job->SetUserID(GuidOf(9));
    EXPECT_EQ(job->GetMemGovernor()->mUserGuid, GuidOf(9));
}

TEST_F(JobAttributes, KeepOneReferenceToTheUserSession)
{
    FakeSession first;
    FakeSession second;
    const JobPtr job = NewJob(RequestDocument, &first);
    QorUserSession* got = nullptr;
    EXPECT_EQ(job->GetUserSession(&got), S_OK);
    EXPECT_EQ(got, &first);
    EXPECT_EQ(first.mReferences, 2u);
    got->Release();

    EventTrace::Start();
    EXPECT_EQ(job->SetUserSession(&first), S_OK);
    EXPECT_EQ(EventTrace::Stop(), Texts());
    EXPECT_EQ(first.mReferences, 1u);

    EXPECT_EQ(job->SetUserSession(&second), S_OK);
    EXPECT_EQ(first.mReferences, 0u);
    EXPECT_EQ(second.mReferences, 1u);
    EXPECT_EQ(job->SetUserSession(nullptr), S_OK);
    EXPECT_EQ(second.mReferences, 0u);
    EXPECT_EQ(job->GetUserSession(&got), S_OK);
    EXPECT_EQ(got, nullptr);
}

TEST_F(JobContext, GetsPriorityAndGovernor)
{
    const JobPtr job = NewJob();
    int old = 0;
    job->SetPriority(8, &old);
    EXPECT_EQ(old, cJobPriority);
    EXPECT_EQ(job->SetProcessContext(&mContext), S_OK);
    EXPECT_EQ(mContext.mCalls, (Texts{"put_LimitA 8", "put_SharedHandle", "get_ContextObjectB"}));
    EXPECT_EQ(mContext.mpGovernor, job->GetMemGovernor());
    EXPECT_EQ(mContext.mReferences, 1u);

    ICKDXProcessContext* got = nullptr;
    EXPECT_EQ(job->GetProcessContext(&got), S_OK);
    EXPECT_EQ(got, &mContext);
    EXPECT_EQ(mContext.mReferences, 2u);
    got->Release();
    EXPECT_EQ(job->SetProcessContext(&mContext), S_OK);
    EXPECT_EQ(mContext.mReferences, 1u);

    FakeProcessContext other;
    EXPECT_EQ(job->SetProcessContext(&other), S_OK);
    EXPECT_EQ(mContext.mReferences, 0u);
    EXPECT_EQ(other.mReferences, 1u);
    EXPECT_EQ(job->SetProcessContext(nullptr), S_OK);
    EXPECT_EQ(other.mReferences, 0u);
    EXPECT_EQ(job->GetProcessContext(&got), S_OK);
    EXPECT_EQ(got, nullptr);
}

TEST_F(JobContext, OfAnExemptKindExemptsTheJob)
{
    struct Case
    {
        int mKind;
        HRESULT mKindCode;
        HRESULT mInstanceCode;
        bool mbHasInterface;
        bool mbExempt;
    };
    for (const Case& each :
         {Case{7, S_OK, S_OK, true, true}, Case{9, S_OK, S_OK, true, true}, Case{8, S_OK, S_OK, true, false},
          Case{7, E_FAIL, S_OK, true, false}, Case{7, S_OK, E_FAIL, true, false}, Case{7, S_OK, S_OK, false, false}})
    {
        const JobPtr job = NewJob();
        mContext.mpInstance = &mInstance;
        mContext.mInstanceCode = each.mInstanceCode;
        mInstance.mKind = each.mKind;
        mInstance.mKindCode = each.mKindCode;
        mInstance.mbHasInterface = each.mbHasInterface;
        EXPECT_EQ(job->SetProcessContext(&mContext), S_OK);
        EXPECT_EQ(job->GetMemGovernor()->mbNotGoverned, each.mbExempt) << each.mKind;
        EXPECT_EQ(mInstance.mReferences, 0u);
    }
}

TEST_F(JobContext, ThatThrowsGivesACodeAndLeavesTheLockFree)
{
    const JobPtr job = NewJob();
    mLog.Take();
    bool bMessage = true;
    mContext.mOnCall = [&](const std::string& iOperation) {
        if (iOperation == "put_LimitA" && bMessage)
            throw QBase::Message("no room");
        if (iOperation == "put_LimitA")
            throw 1;
    };
    EXPECT_EQ(job->SetProcessContext(&mContext), static_cast<HRESULT>(0x8004308B));
    EXPECT_EQ(mLog.Take(), Texts{"Error: 8004308E QOR_JOB_EXCEPTION (SetProcessContext): SetProcessContext, 4711, no "
                                 "room"});
    bMessage = false;
    EXPECT_EQ(job->SetProcessContext(&mContext), static_cast<HRESULT>(0x8004308C));
    EXPECT_EQ(mLog.Take(), Texts{"Fatal: 8004308F QOR_JOB_SYSTEMEXCEPTION (SetProcessContext): SetProcessContext, "
                                 "4711"});
    mContext.mOnCall = nullptr;

    RunOnThreads(1, [&](int) { EXPECT_EQ(job->SetIsBatchJob(true), S_OK); });
}
