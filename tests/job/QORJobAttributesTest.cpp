// The rows of plain accessors: set one, read it back, and see that no other changed.
#include "job/JobMemGovernor.h"
#include "tests/support/Attributes.h"
#include "tests/support/LockProbe.h"

#include <tuple>

namespace
{

using JobAttributes = JobTest;

using JobContext = JobTest;

} // namespace

TEST_F(JobAttributes, ChangeOneAtATime)
{
    Builtin::Settings::SetClock(Moment(1));
    for (const Attribute& attribute : cAttributes)
    {
        const JobPtr job = NewJob();
        for (const Attribute& other : cAttributes)
            EXPECT_EQ(other.mGetter(*job.Get()), other.mInitial) << other.mName << " of a fresh job";
        if (attribute.mRawSetter)
        {
            const QBase::wstring longer = QORJOB_W("a text that is longer than the value");
            EXPECT_EQ(attribute.mRawSetter(*job.Get(), longer.c_str()), S_OK);
            EXPECT_EQ(attribute.mRawSetter(*job.Get(), nullptr), E_POINTER);
            EXPECT_EQ(attribute.mGetter(*job.Get()), testing::PrintToString(longer));
        }
        std::string old = attribute.mInitial;
        EXPECT_EQ(attribute.mSetter(*job.Get(), old), S_OK) << attribute.mName;
        EXPECT_EQ(old, attribute.mInitial) << attribute.mName;
        EXPECT_EQ(Read(*job.Get(), &QORJob::GetJobCreationTime), Moment(1));
        for (const Attribute& other : cAttributes)
            EXPECT_EQ(other.mGetter(*job.Get()), &other == &attribute ? other.mSet : other.mInitial)
                << other.mName << " after " << attribute.mName;
    }
}

TEST_F(JobAttributes, KeepTheUserOfTheGovernorWhereTheJobHasNoMemoryForIt)
{
    const JobPtr job = NewJob();
    Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, 1);
    EXPECT_TRUE(FAILED(job->SetUserID(GuidOf(9))));
    EXPECT_EQ(job->GetMemGovernor()->mUserGuid, GUID_NULL);
}

TEST_F(JobAttributes, KeepOneReferenceToTheUserSession)
{
    FakeSession first;
    FakeSession second;
    const JobPtr job = NewJob(RequestDocument, &first);
    LockProbe probe;
    bool bFree = false;
    Builtin::EventTrace::Start();
    EXPECT_EQ(job->SetUserSession(&first), S_OK);
    EXPECT_EQ(Builtin::EventTrace::Stop(), Texts());
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

TEST_F(JobContext, GetsPriorityAndGovernorThoughTheOldOneThrowsAsItGoes)
{
    FakeProcessContext old;
    FakeProcessContext context;
    const JobPtr job = NewJob();
    int priority = 0;
    job->SetPriority(8, &priority);
    EXPECT_EQ(job->SetProcessContext(&old), S_OK);
    old.mOnCall = [](const std::string& iOperation) {
        if (iOperation == "Release")
            throw 1;
    };
    context.mOnCall = [&](const std::string&) { EXPECT_EQ(old.mReferences, 0u) << "it goes first"; };
    EXPECT_EQ(job->SetProcessContext(&context), static_cast<HRESULT>(0x8004308C));
    old.mOnCall = context.mOnCall = nullptr;
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
    const JobPtr job = NewJobWith("", JobStoppedWithError);
    QBase::wstring text;
    ICKDXWriteMessage* message = nullptr;
    const std::pair<const char*, std::function<HRESULT()>> cOperations[] = {
        {"SetProcessContext", [&] { return job->SetProcessContext(&context); }},
        {"GetJobError", [&] { return job->GetJobError(text); }},
        {"UpdateJobError", [&] { return job->UpdateJobError(QORJOB_W("Kernel"), 1, 2); }},
        {"GetErrMessage", [&] { return job->GetErrMessage(&message); }},
        {"GetOutMessage", [&] { return job->GetOutMessage(&message); }},
        {"DequeuePulse", [&] { return job->DequeuePulse(), HRESULT{S_OK}; }},
    };
    Builtin::PerfReadings::EnablePulses(true);
    for (const char* fault : {"no room", static_cast<const char*>(nullptr)})
    {
        context.mOnCall = [&](const std::string& iOperation) {
            if (fault != nullptr && iOperation != "Release")
                throw QBase::Message(fault);
            if (iOperation != "Release")
                throw 1;
        };
        for (const auto& [name, operation] : cOperations)
        {
            const unsigned code = name == std::string("DequeuePulse") ? 0 : fault != nullptr ? 0x8004308B : 0x8004308C;
            EXPECT_EQ(operation(), static_cast<HRESULT>(code)) << name;
            EXPECT_EQ(TakeLog(), Texts{Caught(name, fault)});
        }
    }
    Builtin::PerfReadings::EnablePulses(false);
    EXPECT_TRUE(Builtin::PerfReadings::TakePulses().empty());
    context.mOnCall = nullptr;
    RunOnThreads(1, [&](int) { EXPECT_EQ(job->SetIsBatchJob(true), S_OK); });
}
