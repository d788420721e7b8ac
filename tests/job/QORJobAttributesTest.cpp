// The rows of plain accessors: set one, read it back, and see that no other changed.
#include "report/JobMemGovernor.h"
#include "tests/support/JobTest.h"
#include "tests/support/LockProbe.h"

#include <functional>
#include <tuple>
#include <type_traits>

namespace
{

/// One row: how it reads in a fresh job, how it is set, and how it reads then.
struct Attribute
{
    std::string mName, mInitial, mSet;
    std::function<HRESULT(QORJob&)> mSetter;
    std::function<std::string(const QORJob&)> mGetter;
};

/// Takes setters that give the old value, and getters of all kinds: by pointer, by reference, as the result.
template <class T, class Set, class Get>
Attribute Row(const char* iName, Set iSet, Get iGet, T iInitial, T iValue)
{
    const auto set = [=](QORJob& ioJob) {
        T value = iValue;
        if constexpr (std::is_invocable_v<Set, QORJob&, T&, T*>)
        {
            EXPECT_EQ((ioJob.*iSet)(iValue, &value), S_OK);
            EXPECT_EQ(value, iInitial) << iName << ", the old one";
            return S_OK;
        }
        else
            return (ioJob.*iSet)(value);
    };
    const auto get = [=](const QORJob& iJob) {
        T value = iValue;
        if constexpr (std::is_invocable_v<Get, const QORJob&, T*>)
            EXPECT_EQ((iJob.*iGet)(&value), S_OK);
        else if constexpr (std::is_invocable_v<Get, const QORJob&, T&>)
            EXPECT_EQ((iJob.*iGet)(value), S_OK);
        else
            value = (iJob.*iGet)();
        return testing::PrintToString(value);
    };
    return {iName, testing::PrintToString(iInitial), testing::PrintToString(iValue), set, get};
}

using TextSetter = HRESULT (QORJob::*)(const QBase::wstring&);
using TextGetter = HRESULT (QORJob::*)(QBase::wstring&) const;

Attribute TextRow(const char* iName, TextSetter iSet, TextGetter iGet)
{
    return Row<QBase::wstring>(iName, iSet, iGet, W(""), QBase::UTF8ToWideChar(iName));
}

std::vector<Attribute> Attributes()
{
    using J = QORJob;
    using Delivery = EnumSubscriptionDeliveryType;
    return {
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
        TextRow("ProjectName", &J::SetProjectName, &J::GetProjectName),
        TextRow("Owner", &J::SetOwner, &J::GetOwner),
        TextRow("User", &J::SetUser, &J::GetUser),
        TextRow("UserLogin", &J::SetUserLogin, &J::GetUserLogin),
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
        Row("ParentId", static_cast<HRESULT (J::*)(QSynch::AtomicLong)>(&J::SetParentId),
            static_cast<HRESULT (J::*)(QSynch::AtomicLong*) const>(&J::GetParentId), QSynch::AtomicLong(-1),
            QSynch::AtomicLong(19)),
        Row("PreJobId", &J::SetPreJobId, &J::GetPreJobId, QSynch::AtomicLong(-1), QSynch::AtomicLong(20)),
        Row("RunningChildren", &J::SetRunningChildCount, &J::GetRunningChildCount, 0, 21),
        Row("ComponentErrorCode", &J::SetComponentErrorCode, &J::GetComponentErrorCode, S_OK, E_FAIL),
        Row("FinishTime", &J::SetJobFinishTime, &J::GetJobFinishTime, QDataType::DateTime(0.0), TimeOf(22)),
        {"Governed", "true", "false", [](J& ioJob) { return ioJob.SetGovernedControl(1); },
         [](const J& iJob) { return testing::PrintToString(iJob.ApplyGovernorOrNot()); }},
        {"TimeOut", testing::PrintToString(QDataType::DateTime(0.0)), testing::PrintToString(TimeOf(23)),
         [](J& ioJob) { return ioJob.SetTimeOutPeriodInMilliseconds(23); }, // the job is made at TimeOf(0)
         [](const J& iJob) { return testing::PrintToString(Read(iJob, &J::GetTimeOutTime)); }},
        {"Dead", "no 0", "yes 23",
         [](J& ioJob) {
             bool bWas = true;
             const HRESULT code = ioJob.SetIAmDead(true, &bWas, StepFindCube);
             return bWas ? E_FAIL : code;
         },
         [](const J& iJob) {
             bool bDead = false;
             QORJobProcessingStep step{};
             EXPECT_EQ(iJob.GetIAmDead(&bDead, &step), S_OK);
             return (bDead ? "yes " : "no ") + std::to_string(step);
         }},
    };
}

using JobAttributes = JobTest;

using JobContext = JobTest;

} // namespace

TEST_F(JobAttributes, ChangeOneAtATime)
{
    Settings::SetClock(TimeOf(0));
    const std::vector<Attribute> attributes = Attributes();
    for (const Attribute& attribute : attributes)
    {
        const JobPtr job = NewJob();
        for (const Attribute& other : attributes)
            EXPECT_EQ(other.mGetter(*job.Get()), other.mInitial) << other.mName << " of a fresh job";
        EXPECT_EQ(attribute.mSetter(*job.Get()), S_OK) << attribute.mName;
        for (const Attribute& other : attributes)
            EXPECT_EQ(other.mGetter(*job.Get()), &other == &attribute ? other.mSet : other.mInitial)
                << other.mName << " after " << attribute.mName;
    }
}

TEST_F(JobAttributes, TakeTextsByPointerAndLeaveThemAtNull)
{
    using J = QORJob;
    using Setter = HRESULT (J::*)(const WCHAR*);
    const std::pair<Setter, TextGetter> cTexts[] = {{&J::SetProjectName, &J::GetProjectName},
                                                    {&J::SetOwner, &J::GetOwner},
                                                    {&J::SetUser, &J::GetUser},
                                                    {&J::SetUserLogin, &J::GetUserLogin}};
    for (const auto& changed : cTexts)
    {
        const JobPtr job = NewJob();
        EXPECT_EQ((job.Get()->*changed.first)(W("longer")), S_OK);
        EXPECT_EQ((job.Get()->*changed.first)(W("given")), S_OK);
        EXPECT_EQ((job.Get()->*changed.first)(nullptr), E_POINTER);
        for (const auto& other : cTexts)
        {
            QBase::wstring text = W("before");
            EXPECT_EQ((job.Get()->*other.second)(text), S_OK);
            EXPECT_EQ(text, &other == &changed ? W("given") : W(""));
        }
    }
}

TEST_F(JobAttributes, AreToldTheGovernor)
{
    JobPtr job = NewJob();
    const std::shared_ptr<JobMemGovernor> governor = job->GetMemGovernor();
    EXPECT_EQ(governor->mJobId.Get(), cJobId);
    EXPECT_EQ(governor->mLimitBytes, ~std::uint64_t{0});
    for (const int type : {0, 2, 0})
    {
        const bool bWas = governor->mbNotGoverned;
        job->SetDeliveryType(EnumSubscriptionDeliveryType{type});
        EXPECT_EQ(governor->mbNotGoverned, bWas || type != 0) << "the job of a delivery is exempt for good";
    }
    job->SetUserID(GuidOf(9));
    EXPECT_EQ(governor->mUserGuid, GuidOf(9));
    governor->mbCancel = true;
    EXPECT_TRUE(job->GetGovernorCancelFlag());
    governor->mbNotGoverned = false;
    governor->mPeakBytes = 1 + (governor->mLimitBytes = 1u << 20);
    TakeLog();
    job = {};
    EXPECT_NE(TakeLog()[1].find("has failed"), std::string::npos) << "the end reports the peak";
    EXPECT_EQ(governor.use_count(), 1);
}

TEST_F(JobAttributes, KeepOneReferenceToTheUserSession)
{
    FakeSession first;
    FakeSession second;
    const JobPtr job = NewJob(RequestDocument, &first);
    LockProbe probe;
    bool bFree = false;
    EventTrace::Start();
    EXPECT_EQ(job->SetUserSession(&first), S_OK);
    EXPECT_EQ(EventTrace::Stop(), Texts());
    for (FakeSession* session : {&first, &second, static_cast<FakeSession*>(nullptr)})
    {
        QorUserSession* got = nullptr;
        first.mOnRelease = [&] { bFree = probe.IsFree(*job.Get()); };
        EXPECT_EQ(job->SetUserSession(session), S_OK);
        first.mOnRelease = nullptr;
        EXPECT_EQ(first.mReferences, session == &first ? 1u : 0u);
        EXPECT_EQ(second.mReferences, session == &second ? 1u : 0u);
        EXPECT_EQ(job->GetUserSession(&got), S_OK);
        EXPECT_EQ(got, session);
        EXPECT_TRUE(got == nullptr || got->Release() == 1) << "a reference for the caller";
        EXPECT_TRUE(session == &first || bFree) << "the old one goes without the lock";
    }
}

TEST_F(JobContext, GetsPriorityAndGovernor)
{
    FakeProcessContext context;
    const JobPtr job = NewJob();
    int old = 0;
    job->SetPriority(8, &old);
    EXPECT_EQ(job->SetProcessContext(&context), S_OK);
    EXPECT_EQ(context.mCalls, (Texts{"put_LimitA 8", "put_SharedHandle", "get_ContextObjectB"}));
    EXPECT_EQ(context.mpGovernor, job->GetMemGovernor());
    for (FakeProcessContext* each : {&context, static_cast<FakeProcessContext*>(nullptr)})
    {
        ICKDXProcessContext* got = nullptr;
        EXPECT_EQ(job->SetProcessContext(each), S_OK);
        EXPECT_EQ(context.mReferences, each == nullptr ? 0u : 1u);
        EXPECT_EQ(job->GetProcessContext(&got), S_OK);
        EXPECT_EQ(got, each);
        EXPECT_TRUE(got == nullptr || got->Release() == 1) << "a reference for the caller";
    }
}

TEST_F(JobContext, OfAnExemptKindExemptsTheJob)
{
    FakeProcessContext context;
    FakeReportInstance instance(context.mCalls);
    context.mpInstance = &instance;
    const std::tuple<int, HRESULT, HRESULT, bool, bool> cCases[] = {
        {7, S_OK, S_OK, true, true},    {9, S_OK, S_OK, true, true},    {8, S_OK, S_OK, true, false},
        {7, E_FAIL, S_OK, true, false}, {7, S_OK, E_FAIL, true, false}, {7, S_OK, S_OK, false, false}};
    for (const auto& [kind, kindCode, instanceCode, bHasInterface, bExempt] : cCases)
    {
        const JobPtr job = NewJob();
        context.mInstanceCode = instanceCode;
        instance.mKind = kind;
        instance.mKindCode = kindCode;
        instance.mbHasInterface = bHasInterface;
        EXPECT_EQ(job->SetProcessContext(&context), S_OK);
        EXPECT_EQ(job->GetMemGovernor()->mbNotGoverned, bExempt) << kind;
        EXPECT_EQ(instance.mReferences, 0u);
    }
}

TEST_F(JobContext, ThatThrowsGivesACodeAndLeavesTheLockFree)
{
    FakeProcessContext context;
    const JobPtr job = NewJob();
    PerfReadings::EnablePulses(true);
    for (const bool bMessage : {true, false})
    {
        context.mOnCall = [&](const std::string& iOperation) {
            if (bMessage && iOperation != "Release")
                throw QBase::Message("no room");
            if (iOperation != "Release")
                throw 1;
        };
        const auto line = [&](const std::string& iName) {
            const std::string origin = " (" + iName + "): " + iName + ", 4711";
            return Texts{bMessage ? "Error: 8004308E QOR_JOB_EXCEPTION" + origin + ", no room"
                                  : "Fatal: 8004308F QOR_JOB_SYSTEMEXCEPTION" + origin};
        };
        TakeLog();
        EXPECT_EQ(job->SetProcessContext(&context), static_cast<HRESULT>(bMessage ? 0x8004308B : 0x8004308C));
        EXPECT_EQ(TakeLog(), line("SetProcessContext"));
        EXPECT_NO_THROW(job->DequeuePulse());
        EXPECT_EQ(TakeLog(), line("DequeuePulse"));
    }
    PerfReadings::EnablePulses(false);
    EXPECT_TRUE(PerfReadings::TakePulses().empty());
    context.mOnCall = nullptr;
    RunOnThreads(1, [&](int) { EXPECT_EQ(job->SetIsBatchJob(true), S_OK); });
}

TEST_F(JobContext, IsToldOfTheJobThoughTheOldOneThrowsAsItGoes)
{
    FakeProcessContext old;
    FakeProcessContext context;
    const JobPtr job = NewJob();
    job->SetProcessContext(&old);
    old.mOnCall = [](const std::string& iOperation) {
        if (iOperation == "Release")
            throw 1;
    };
    EXPECT_EQ(job->SetProcessContext(&context), static_cast<HRESULT>(0x8004308C));
    EXPECT_EQ(context.mCalls, (Texts{"put_LimitA 5", "put_SharedHandle", "get_ContextObjectB"}));
    EXPECT_EQ(old.mReferences, 0u);
    old.mOnCall = nullptr;
}
