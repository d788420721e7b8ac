// A job's birth and end: what they call, in which order, what they count, and what they leave behind.
#include "platform/QPerfMon.h"
#include "tests/support/JobTest.h"

#include <memory_resource>
#include <tuple>

namespace
{

using Birth = JobTest;
using Life = JobTest;

} // namespace

TEST_F(Birth, LogsAndCountsByRequestType)
{
    const Counters cReport = {{5, 1}, {6, 1}, {7, 1}};
    const std::tuple<int, std::string, unsigned, Counters> cRows[] = {
        {-1, "Unknown job type", 0x40063F71, {}},
        {0, "Meta data request", 0x40063F6A, {{7, 1}, {10, 1}}},
        {1, "Report request", 0x40063F6C, cReport},
        {2, "Document request", 0x40063F6D, {{7, 1}, {17, 1}}},
        {3, "Request element", 0x40063F6B, {{7, 1}, {12, 1}}},
        {4, "Request SQL", 0x40063F97, {}},
        {5, "Batch child report request", 0x40063F6E, cReport},
        {6, "Batch execution request", 0x40063F6F, {{7, 1}}},
        {7, "Datamart report request", 0x40063F70, cReport},
        {8, "Plazabox job request", 0x40063F94, {}},
        {9, "Import .vtx job request", 0x40063F95, {}},
        {10, "External Notification job request", 0x40063F96, {}},
        {11, "Unknown job type", 0x40063F71, {}},
    };
    for (const auto& [type, name, messageId, raised] : cRows)
    {
        Builtin::PerfReadings::Reset();
        TakeLog();
        Counters expected = raised;
        Texts lines(expected == cReport ? 2 : 1, "Scope Trace: QORJob::Created: Job:4711, Job Type:" + name);
        lines.emplace_back("Job Trace: QORJob::QORJob Job:4711 created.");

        JobPtr job = NewJob(type);
        EXPECT_EQ(job->GetRequestType(), type);
        EXPECT_EQ(Read(*job.Get(), &QORJob::GetRequestType), type);
        EXPECT_EQ(Read(*job.Get(), &QORJob::GetId).Get(), cJobId);
        EXPECT_EQ(job->GetJobStringIDFromRequestType(), messageId) << type;
        EXPECT_EQ(QBase::WideCharToUTF8(QORJob::ConvertIDToName(type)), name);
        EXPECT_EQ(ReadCounters(), expected) << type;
        EXPECT_EQ(TakeLog(), lines);
        expected.erase(5); // the open reports; the others count what ever was
        job = {};
        EXPECT_EQ(ReadCounters(), expected) << type;
        EXPECT_EQ(TakeLog(), (Texts{"Job Trace: QORJob::Destructing: Job:4711",
                                    "Job Trace: QORJob::QORJob Job:4711 destructed."}));
    }
}

TEST_F(Birth, LeavesNothingBehindWithoutMemoryOrALock)
{
    using enum Builtin::Faults::EnumFault;
    FakeSession session;
    // The job, or the buffer's memory for it; the lock.
    for (const Builtin::Faults::EnumFault fault : {Allocation, LockCreation})
        for (QBase::Buffer* buffer : {static_cast<QBase::Buffer*>(nullptr), NewBuffer(0)})
        {
            const std::int64_t count = Builtin::PerfReadings::GetInstanceCount(cJobCategory);
            Builtin::PerfReadings::Reset();
            TakeLog();
            Builtin::Faults::FailNth(fault, 1);
            bool bMade = false;
            try
            {
                bMade = static_cast<bool>(NewJob(RequestReport, &session, buffer));
            }
            catch (...) // what the job holds, or its lock; without memory for itself it is none
            {
            }
            Builtin::Faults::FailNth(fault, 0);
            EXPECT_FALSE(bMade);
            EXPECT_EQ(session.mReferences, 0u);
            EXPECT_EQ(Builtin::PerfReadings::GetLiveInstances(cJobCategory), 0);
            EXPECT_EQ(Builtin::PerfReadings::GetInstanceCount(cJobCategory), count);
            EXPECT_EQ(ReadCounters(), Counters());
            if (fault == LockCreation)
            {
                EXPECT_EQ(TakeLog()[0],
                          "Error: 80043046 QOR_EXCEPTION_CAUGHT (QORJob::QORJob): Call to new() failed for mpLock");
            }
            NewJob(RequestReport, &session, buffer); // a buffer is still its creator's, and can be used
        }
}

TEST_F(Birth, PutsAllThatAJobHoldsIntoTheBufferOfItsCreator)
{
    QBase::Buffer* buffer = NewBuffer();
    const QBase::wstring text(200, QORJOB_W('x'));
    // What asks for another allocator finds one that has nothing.
    std::pmr::memory_resource* usual = std::pmr::set_default_resource(std::pmr::null_memory_resource());
    Builtin::Faults::StopCountingBlocks();
    Builtin::Faults::StartCountingBlocks();
    JobPtr job = NewJob(RequestReport, nullptr, buffer);
    EXPECT_EQ(Read(*job.Get(), &QORJob::GetLocalDataBuffer), buffer);
    using SetText = HRESULT (QORJob::*)(const QBase::wstring&);
    for (const SetText set :
         {SetText{&QORJob::SetSubscriptionOwner}, SetText{&QORJob::SetSubscriptionRecipient},
          SetText{&QORJob::SetDestination}, SetText{&QORJob::SetProjectName}, SetText{&QORJob::SetOwner},
          SetText{&QORJob::SetUser}, SetText{&QORJob::SetUserLogin}, SetText{&QORJob::SetDescription}})
        EXPECT_EQ((job.Get()->*set)(text), S_OK);
    Queue(*job.Get(), "3 4 5 2");
    job->AddStepToRun(QORJobStep::NewStep(StepSendingReportResult, buffer), nullptr);
    job->AddStepAfterThis(StepFindCube, nullptr);
    job->RenewCurrentStep();
    EXPECT_EQ(TodoOf(*job.Get()), Split("3 23 4 5 2 7"));
    job->RemoveStep(StepFindCube);
    job->RemoveStep(StepSendingReportResult);
    job->SetStepStart(3, 1, nullptr);
    job->SetStepComplete();
    job->SetPUEnter(1, nullptr, 0);
    EXPECT_EQ(Builtin::Faults::StopCountingBlocks(), 4 + 1); // the steps of `new` and the job's own, the visit
    std::pmr::set_default_resource(usual);
    EXPECT_EQ(job->Release(), 0u);
    job.Detach();
    Builtin::Faults::StartCountingBlocks();
}

TEST_F(Life, CallsThePlatformInItsOrder)
{
    const Texts begins = {"QPerfMon::GetProfileIndex " + std::to_string(QPerfMon::GetProfileIndex("Job Execution")),
                          "FakeSession::AddRef", "QSynch::CreateCriticalSection 4"};
    const Texts counts = {"QPerfMon::PerformanceMonitor::Add 7 1",
                          "QPerfMon::PerformanceMonitor::Add 5 1",
                          "QORObjectInstanceCount::IncreaseObjectInstanceCount 4",
                          "QORObjectInstanceCount::CreateObjectInstance 4",
                          "QDataType::DateTime::NowUTC",
                          "QPerfMon::PerformanceMonitor::Add 6 1"};
    const Texts preDestruct = {"LogReference 0 1",
                               "QPerfMon::QORProfiler::AddElapsedTime 0 0",
                               "QPerfMon::QORProfiler::AddCount 0 1",
                               "QPerfMon::PerformanceMonitor::Add 5 -1",
                               "QORObjectInstanceCount::DecreaseObjectInstanceCount 4",
                               "QORObjectInstanceCount::DeleteObjectInstance 4"};
    const Texts onHeap = {"QBase::Buffer::Destroy",
                          "QORObjectInstanceCount::DecreaseObjectInstanceCount 4",
                          "QORObjectInstanceCount::DeleteObjectInstance 4",
                          "FakeSession::Release",
                          "in-box message gone",
                          "QSynch::DestroyCriticalSection 4"};
    const Texts inBuffer = {"QSynch::DestroyCriticalSection 4", "FakeSession::Release", "in-box message gone",
                            "QBase::Buffer::Destroy"};
    FakeSession session;
    FakeProcessContext item; // here only what the message takes along
    item.mOnCall = [](const std::string&) { Builtin::EventTrace::Note("in-box message gone"); };
    for (QBase::Buffer* buffer : {static_cast<QBase::Buffer*>(nullptr), NewBuffer()})
    {
        const std::int64_t count = Builtin::PerfReadings::GetInstanceCount(cJobCategory);
        const std::string place = buffer == nullptr ? "QBase::CreateBuffer 0 1 256 0" : "QBase::Buffer::Register";
        Builtin::EventTrace::Start();
        QORJob* job = QORJob::NewJob(cJobId, RequestReport, cJobPriority, &session, buffer);
        EXPECT_EQ(Builtin::EventTrace::Stop(), Join(Join(begins, {place}), counts));
        EXPECT_EQ(job->AddRef(), 1u);
        EXPECT_EQ(job->SetInBoxMsgPtr(QMessage::NewServerMessage(&item).Get()), S_OK);
        EXPECT_EQ(Builtin::PerfReadings::GetInstanceCount(cJobCategory), count + 1);
        EXPECT_EQ(Builtin::PerfReadings::GetLiveInstances(cJobCategory), 1);
        Builtin::EventTrace::Start();
        TakeLog();
        EXPECT_EQ(job->Release(), 0u);
        EXPECT_EQ(Builtin::EventTrace::Stop(), Join(preDestruct, buffer == nullptr ? onHeap : inBuffer));
        // No destructor runs in a buffer; on the heap both the end and the destructor count down.
        EXPECT_EQ(TakeLog().size(), buffer == nullptr ? 2u : 1u);
        EXPECT_EQ(Builtin::PerfReadings::GetInstanceCount(cJobCategory), buffer == nullptr ? count - 1 : count);
        EXPECT_EQ(Builtin::PerfReadings::GetLiveInstances(cJobCategory), 0);
        EXPECT_EQ(session.mReferences, 0u);
    }
}
