// A job's birth and end: what they call, in which order, what they count, and what they leave behind.
#include "job/QORJob.h"

#include "context/ICKDXProcessContext.h"
#include "platform/QPerfMon.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/PerfReadings.h"
#include "report/JobMemGovernor.h"
#include "tests/support/Fakes.h"
#include "tests/support/JobTest.h"

#include <map>
#include <memory_resource>
#include <utility>

namespace
{

class Birth : public JobTest
{
};

class End : public JobTest
{
};

using Counters = std::map<int, std::int64_t>;

Counters ReadCounters()
{
    Counters counters;
    for (int id = 0; id < 32; ++id)
        if (PerfReadings::GetCounter(id) != 0)
            counters[id] = PerfReadings::GetCounter(id);
    return counters;
}

std::string ProfileIndexText() { return std::to_string(QPerfMon::GetProfileIndex("Job Execution")); }

QBase::Buffer* NewBuffer(std::size_t iReserve = 1 << 16) { return QBase::CreateBuffer(iReserve, 2, 4096, false); }

/// Makes a job with one allocation after the other failing, until none fails any more; returns how many did.
int FailEachAllocation(QORJob* (*iMake)(FakeSession& ioSession, QBase::Buffer* iBuffer), FakeSession& ioSession,
                       QBase::Buffer* iBuffer)
{
    const std::int64_t count = PerfReadings::GetInstanceCount(cJobCategory);
    for (int nth = 1;; ++nth)
    {
        JobPtr job;
        Faults::FailNth(Faults::EnumFault::Allocation, nth);
        try
        {
            job = JobPtr(iMake(ioSession, iBuffer));
        }
        catch (const std::bad_alloc&) // what the job holds
        {
        }
        catch (unsigned) // its lock
        {
        }
        Faults::FailNth(Faults::EnumFault::Allocation, 0);
        if (job)
            return nth - 1;
        EXPECT_EQ(ioSession.mReferences, 0u) << nth;
        EXPECT_EQ(PerfReadings::GetLiveInstances(cJobCategory), 0) << nth;
        EXPECT_EQ(PerfReadings::GetInstanceCount(cJobCategory), count) << nth;
        EXPECT_EQ(ReadCounters(), Counters()) << nth;
    }
}

} // namespace

TEST_F(Birth, CallsThePlatformInItsOrder)
{
    const std::string index = "QPerfMon::GetProfileIndex " + ProfileIndexText();
    const Texts counted = {"QPerfMon::PerformanceMonitor::Add 7 1",
                           "QPerfMon::PerformanceMonitor::Add 5 1",
                           "QORObjectInstanceCount::IncreaseObjectInstanceCount 4",
                           "QORObjectInstanceCount::CreateObjectInstance 4",
                           "QDataType::DateTime::NowUTC",
                           "QPerfMon::PerformanceMonitor::Add 6 1"};
    Texts onHeap = {index, "QSynch::CreateCriticalSection 4", "QBase::CreateBuffer 0 1 256 0"};
    Texts inBuffer = {index, "QSynch::CreateCriticalSection 4", "QBase::Buffer::Register"};
    onHeap.insert(onHeap.end(), counted.begin(), counted.end());
    inBuffer.insert(inBuffer.end(), counted.begin(), counted.end());

    QBase::Buffer* buffer = NewBuffer();
    EventTrace::Start();
    QORJob* job = QORJob::NewJob(cJobId, RequestReport, cJobPriority, nullptr, nullptr);
    EXPECT_EQ(EventTrace::Stop(), onHeap);
    EventTrace::Start();
    QORJob* bufferJob = QORJob::NewJob(cJobId, RequestReport, cJobPriority, nullptr, buffer);
    EXPECT_EQ(EventTrace::Stop(), inBuffer);

    EXPECT_EQ(job->AddRef(), 1u);
    EXPECT_EQ(job->AddRef(), 2u);
    EXPECT_EQ(job->Release(), 1u);
    EXPECT_EQ(job->Release(), 0u);
    bufferJob->AddRef();
    bufferJob->Release();
}

TEST_F(Birth, LogsItsLines)
{
    for (const int type : {RequestMetaData, RequestReport, RequestDocument, RequestBatchChildReport,
                           RequestDatamartReport, RequestExternalNotification})
    {
        const std::string name = QBase::WideCharToUTF8(QORJob::ConvertIDToName(type));
        const std::string created = "Scope Trace: QORJob::Created: Job:4711, Job Type:" + name;
        const bool bTwice = type == RequestReport || type == RequestBatchChildReport || type == RequestDatamartReport;
        Texts lines(bTwice ? 2 : 1, created);
        lines.emplace_back("Job Trace: QORJob::QORJob Job:4711 created.");

        mLog.Take();
        JobPtr job = NewJob(type);
        EXPECT_EQ(mLog.Take(), lines);
        job = {};
        EXPECT_EQ(mLog.Take(), (Texts{"Job Trace: QORJob::Destructing: Job:4711",
                                      "Job Trace: QORJob::QORJob Job:4711 destructed."}));
    }
    EXPECT_STREQ(QBase::WideCharToUTF8(QORJob::ConvertIDToName(11)).c_str(), "Unknown job type");
    EXPECT_STREQ(QBase::WideCharToUTF8(QORJob::ConvertIDToName(-1)).c_str(), "Unknown job type");
}

TEST_F(Birth, CountsByRequestType)
{
    const std::map<int, Counters> cRaised = {{0, {{7, 1}, {10, 1}}},        {1, {{5, 1}, {6, 1}, {7, 1}}},
                                             {2, {{7, 1}, {17, 1}}},        {3, {{7, 1}, {12, 1}}},
                                             {5, {{5, 1}, {6, 1}, {7, 1}}}, {6, {{7, 1}}},
                                             {7, {{5, 1}, {6, 1}, {7, 1}}}};
    for (int type = -1; type <= 11; ++type)
    {
        PerfReadings::Reset();
        const auto row = cRaised.find(type);
        Counters expected = row == cRaised.end() ? Counters() : row->second;

        JobPtr job = NewJob(type);
        EXPECT_EQ(ReadCounters(), expected) << type;
        expected.erase(5); // the open reports; the others count what ever was
        job = {};
        EXPECT_EQ(ReadCounters(), expected) << type;
    }
}

TEST_F(Birth, KeepsWhatItWasGiven)
{
    FakeSession session;
    JobPtr job = NewJob(RequestSQL, &session);
    QSynch::AtomicLong id;
    int number = 0;
    EXPECT_EQ(job->GetId(&id), S_OK);
    EXPECT_EQ(id.Get(), cJobId);
    EXPECT_EQ(job->GetId(nullptr), S_OK);
    EXPECT_EQ(job->GetId().Get(), cJobId);
    EXPECT_EQ(job->GetRequestType(), RequestSQL);
    EXPECT_EQ(job->GetRequestType(&number), S_OK);
    EXPECT_EQ(number, RequestSQL);
    EXPECT_EQ(session.mReferences, 1u);

    const std::shared_ptr<JobMemGovernor> governor = job->GetMemGovernor();
    EXPECT_EQ(governor->mJobId.Get(), cJobId);
    EXPECT_EQ(governor->mLimitBytes, ~std::uint64_t{0});
    EXPECT_FALSE(governor->mbNotGoverned);
    EXPECT_FALSE(job->GetGovernorCancelFlag());
    governor->mbCancel = true;
    EXPECT_TRUE(job->GetGovernorCancelFlag());
    EXPECT_EQ(governor.use_count(), 2);
    job = {};
    EXPECT_EQ(governor.use_count(), 1);
    EXPECT_EQ(session.mReferences, 0u);
}

TEST_F(Birth, IsRefusedWithoutALock)
{
    QBase::Buffer* buffer = NewBuffer();
    FakeSession session;
    for (QBase::Buffer* place : {static_cast<QBase::Buffer*>(nullptr), buffer})
    {
        mLog.Take();
        Faults::FailNth(Faults::EnumFault::LockCreation, 1);
        try
        {
            QORJob::NewJob(cJobId, RequestReport, cJobPriority, &session, place);
            ADD_FAILURE() << "a job without a lock";
        }
        catch (unsigned code)
        {
            EXPECT_EQ(code, 0x8004308Eu);
        }
        EXPECT_EQ(mLog.Take(), Texts{"Error: 80043046 QOR_EXCEPTION_CAUGHT (QORJob::QORJob): Call to new() failed for "
                                     "mpLock"});
        EXPECT_EQ(session.mReferences, 0u);
        EXPECT_EQ(ReadCounters(), Counters());
        EXPECT_EQ(PerfReadings::GetLiveInstances(cJobCategory), 0);
    }
    buffer->Destroy();
}

TEST_F(Birth, LeavesNothingBehindWhenMemoryRunsOut)
{
    const auto make = [](FakeSession& ioSession, QBase::Buffer* iBuffer) {
        return QORJob::NewJob(cJobId, RequestMetaData, cJobPriority, &ioSession, iBuffer);
    };
    FakeSession session;
    EXPECT_EQ(FailEachAllocation(make, session, nullptr), 3); // the job, its lock, its buffer
    EXPECT_EQ(session.mReferences, 0u);
    PerfReadings::Reset();
    EXPECT_EQ(FailEachAllocation(make, session, NewBuffer(0)), 3); // the job, the buffer's memory for it, its lock
    EXPECT_EQ(session.mReferences, 0u);
}

TEST_F(Birth, PutsAllThatAJobHoldsIntoTheBufferOfItsCreator)
{
    QBase::Buffer* buffer = NewBuffer();
    const QBase::wstring text(200, W('x'));
    // What asks for another allocator finds one that has nothing.
    std::pmr::memory_resource* usual = std::pmr::set_default_resource(std::pmr::null_memory_resource());
    Faults::StopCountingBlocks();
    Faults::StartCountingBlocks();
    JobPtr job = NewJob(RequestReport, nullptr, buffer);
    const QBase::Buffer* local = nullptr;
    EXPECT_EQ(job->GetLocalDataBuffer(&local), S_OK);
    EXPECT_EQ(local, buffer);
    for (const auto set :
         {&QORJob::SetSubscriptionOwner, &QORJob::SetSubscriptionRecipient, &QORJob::SetDestination,
          static_cast<HRESULT (QORJob::*)(const QBase::wstring&)>(&QORJob::SetProjectName),
          static_cast<HRESULT (QORJob::*)(const QBase::wstring&)>(&QORJob::SetOwner),
          static_cast<HRESULT (QORJob::*)(const QBase::wstring&)>(&QORJob::SetUser),
          static_cast<HRESULT (QORJob::*)(const QBase::wstring&)>(&QORJob::SetUserLogin), &QORJob::SetDescription})
        EXPECT_EQ((job.Get()->*set)(text), S_OK);
    Queue(*job.Get(), "3 4 5 2");
    job->SetStepStart(3, 1, nullptr); // also a profile record
    job->SetStepComplete();
    job->SetPUEnter(1, nullptr, 0);
    EXPECT_EQ(Faults::StopCountingBlocks(), 1 + 4 + 1); // the lock, the steps, the visit
    std::pmr::set_default_resource(usual);
    EXPECT_EQ(job->Release(), 0u);
    job.Detach();
    Faults::StartCountingBlocks();
}

TEST_F(End, CallsThePlatformInItsOrder)
{
    FakeSession session;
    const Texts preDestruct = {"LogReference 0 1", "QPerfMon::PerformanceMonitor::Add 5 -1",
                               "QORObjectInstanceCount::DecreaseObjectInstanceCount 4",
                               "QORObjectInstanceCount::DeleteObjectInstance 4"};
    Texts onHeap = preDestruct;
    onHeap.insert(onHeap.end(), {"QBase::Buffer::Destroy", "QORObjectInstanceCount::DecreaseObjectInstanceCount 4",
                                 "QORObjectInstanceCount::DeleteObjectInstance 4", "FakeSession::Release",
                                 "QSynch::DestroyCriticalSection 4"});
    Texts inBuffer = preDestruct;
    inBuffer.insert(inBuffer.end(),
                    {"QSynch::DestroyCriticalSection 4", "FakeSession::Release", "QBase::Buffer::Destroy"});

    const std::int64_t count = PerfReadings::GetInstanceCount(cJobCategory);
    JobPtr job = NewJob(RequestReport, &session);
    EXPECT_EQ(PerfReadings::GetInstanceCount(cJobCategory), count + 1);
    EXPECT_EQ(PerfReadings::GetLiveInstances(cJobCategory), 1);
    EventTrace::Start();
    job = {};
    EXPECT_EQ(EventTrace::Stop(), onHeap);
    EXPECT_EQ(PerfReadings::GetInstanceCount(cJobCategory), count - 1); // twice down
    EXPECT_EQ(PerfReadings::GetLiveInstances(cJobCategory), 0);

    job = NewJob(RequestReport, &session, NewBuffer());
    mLog.Take();
    EventTrace::Start();
    job = {};
    EXPECT_EQ(EventTrace::Stop(), inBuffer);
    EXPECT_EQ(PerfReadings::GetInstanceCount(cJobCategory), count - 1);
    EXPECT_EQ(PerfReadings::GetLiveInstances(cJobCategory), 0);
    EXPECT_EQ(mLog.Take(), Texts{"Job Trace: QORJob::Destructing: Job:4711"}); // no destructor runs
    EXPECT_EQ(session.mReferences, 0u);
}

TEST_F(End, ResetsTheInstanceBeforeItLetsTheContextGo)
{
    FakeProcessContext context;
    FakeReportInstance instance(context.mCalls);
    context.mpInstance = &instance;
    for (QBase::Buffer* buffer : {static_cast<QBase::Buffer*>(nullptr), NewBuffer()})
    {
        JobPtr job = NewJob(RequestReport, nullptr, buffer);
        EXPECT_EQ(job->SetProcessContext(&context), S_OK);
        context.mCalls.clear();
        job = {};
        EXPECT_EQ(context.mCalls, (Texts{"get_ContextObjectB", "instance Reset 0", "Release"}));
        EXPECT_EQ(context.mReferences, 0u);
        EXPECT_EQ(instance.mReferences, 0u);
        EXPECT_EQ(context.mpGovernor.use_count(), 1);
    }
}

TEST_F(End, ComesAlsoWhenTheContextThrows)
{
    for (const std::string place : {"get_ContextObjectB", "Release"})
    {
        for (const bool bMessage : {true, false})
        {
            FakeProcessContext context;
            bool bThrown = false;
            JobPtr job = NewJob();
            job->SetProcessContext(&context);
            mLog.Take();
            context.mOnCall = [&](const std::string& iOperation) {
                if (iOperation != place || std::exchange(bThrown, true))
                    return;
                if (bMessage)
                    throw QBase::Message("no such instance");
                throw 1;
            };
            EXPECT_EQ(job.Detach()->Release(), 0u);
            EXPECT_EQ(context.mReferences, 0u);
            EXPECT_EQ(mLog.Take()[1],
                      bMessage ? "Error: 80043046 QOR_EXCEPTION_CAUGHT (QORJob::PreDestruct): QORJob, Pre-Destruct "
                                 "Job, no such instance"
                               : "Fatal: 8004308F QOR_JOB_SYSTEMEXCEPTION (QORJob::PreDestruct): Pre-Destruct Job, "
                                 "4711");
        }
    }
}
