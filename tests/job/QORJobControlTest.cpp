// How a job is cancelled, paused, resumed and taken from a hung task, and what dispatch answers then.
#include "context/CKDXProcessContext.h"
#include "report/QORChannelRequest.h"
#include "task/QORJobTask.h"
#include "tests/support/JobTest.h"
#include "tests/support/Messages.h"

#include <functional>
#include <tuple>

using Control = JobTest;

namespace
{

/// What dispatch answers after an operation on a document whose step 3 runs in unit 7, before 5 and 2. A row is a set
/// of states; a cell has the answers for the flags (running, dead) = (0,0), (1,0), (0,1), (1,1).
struct Row
{
    std::vector<int> mStates;
    const char* mCells[7]; // after nothing, cancel, pause, resume, hang, hang and go on, finish
};

// clang-format off
const Row cRows[] = {
    {{0, 1, 14, 15, 16, 17, 20, 21}, {"3 0 3 2", "2 0 2 10",   "3 0 3 2", "3 3 3 3", "3 3 3 3", "2 2 2 2", "5 5 5 5"}},
    {{2},                            {"3 0 3 2", "10 0 10 10", "3 0 3 2", "3 3 3 3", "3 3 3 3", "2 2 2 2", "5 5 5 5"}},
    {{7, 8, 9, 18, 19},              {"0 0 0 0", "10 0 10 10", "3 0 3 2", "3 3 3 3", "0 0 0 0", "0 0 0 0", "0 0 0 0"}},
    {{10, 11, 12, 13},               {"0 0 0 0", "2 0 2 10",   "3 0 3 2", "3 3 3 3", "0 0 0 0", "0 0 0 0", "0 0 0 0"}},
    {{3},                            {"2 0 2 2", "2 0 2 2",    "3 0 3 2", "3 3 3 3", "2 2 2 2", "2 2 2 2", "2 2 2 2"}},
    {{4},                            {"2 0 2 2", "10 0 10 10", "2 0 2 2", "3 3 3 3", "2 2 2 2", "2 2 2 2", "2 2 2 2"}},
    {{5, 6},                         {"2 0 2 2", "2 0 2 2",    "2 0 2 2", "3 3 3 3", "2 2 2 2", "2 2 2 2", "2 2 2 2"}},
};
// clang-format on

} // namespace

TEST_F(Control, DecidesWithStatusAndFlagsWhatRunsNext)
{
    QORJobTask task(nullptr);
    const std::function<void(QORJob&)> cOperations[] = {
        [](QORJob&) {},
        [](QORJob& ioJob) { EXPECT_EQ(ioJob.Cancel(), S_OK); },
        [](QORJob& ioJob) { ioJob.PauseCurrentStep(); },
        [](QORJob& ioJob) { ioJob.ResetStatusBeforeResumeExecution(); },
        [&](QORJob& ioJob) { EXPECT_EQ(ioJob.StopRunningIfHang(0, 0, &task), S_OK); },
        [&](QORJob& ioJob) {
            EXPECT_EQ(ioJob.StopRunningIfHang(0, 0, &task), S_OK);
            ioJob.SetRunning(true, nullptr);
        },
        [&](QORJob& ioJob) { ioJob.SetStepFinish(3, 7, &task); },
    };
    for (const Row& row : cRows)
        for (const int state : row.mStates)
            for (std::size_t operation = 0; operation < 7; ++operation)
                for (std::size_t flags = 0; flags < 4; ++flags)
                {
                    const JobPtr job = NewJobWith("3@7 5 2", state);
                    bool bWas = false;
                    int next = -1;
                    job->SetStepStart(StepNoMore, 0, &task); // the task alone
                    job->SetRunning(flags % 2 != 0, nullptr);
                    job->SetIAmDead(flags / 2 != 0, &bWas, StepNoMore);
                    cOperations[operation](*job.Get());
                    // A step paused in the middle isn't finished by its thread's return.
                    const char* const cell = row.mCells[state == JobPausing && operation == 6 ? 0 : operation];
                    EXPECT_EQ(job->GetCurrentStepIdToRun(&next, nullptr), S_OK);
                    EXPECT_EQ(std::to_string(next), Split(cell)[flags])
                        << "state " << state << ", flags " << flags << ", operation " << operation;
                }
}

TEST_F(Control, CancelLeavesTheCurrentStepAndWhatReportsAndCloses)
{
    // Type and status, whether it runs and delivers; the steps before and after, and the status then.
    const std::tuple<int, int, bool, bool, const char*, const char*, int> cCases[] = {
        {1, 1, true, false, "3 4 5 7", "3 10 2", 5},  {1, 0, false, false, "3 4 2", "3 2", 5},
        {2, 7, false, true, "13 19 2", "13 26 2", 5}, {2, 7, false, true, "26 19", "26 2", 5},
        {2, 2, false, false, "10 2", "10 2", 5},      {2, 2, false, false, "2 10", "2 10", 5},
        {6, 2, true, true, "16 3 2", "16 2", 5},      {1, 1, true, false, "", "10 2", 5},
        {1, 4, false, false, "3 4", "3 10 2", 4},     {2, 3, true, false, "3 4", "3 4", 3},
        {2, 6, true, false, "3 4", "3 4", 6},
    };
    Texts calls;
    FakeReportInstance delivery(calls);
    for (const auto& [type, status, bRunning, bDelivery, todo, left, statusLeft] : cCases)
    {
        FakeProcessContext context;
        context.mpDelivery = bDelivery ? &delivery : nullptr;
        const JobPtr job = NewJob(type);
        job->SetProcessContext(&context);
        Queue(*job.Get(), todo);
        SetStatus(*job.Get(), status);
        job->SetRunning(bRunning, nullptr);
        TakeLog();
        EXPECT_EQ(job->Cancel(), S_OK);
        EXPECT_EQ(TakeLog(), (Texts{"Job Trace: [DEBUG TRACING]QORJob::Cancel: job 4711 is cancel start",
                                    "Job Trace: [DEBUG TRACING]QORJob::Cancel: job 4711 is cancel end"}));
        EXPECT_EQ(context.mCalls.back(), "put_LongB 1");
        EXPECT_EQ(Read(*job.Get(), &QORJob::GetStatus), statusLeft);
        EXPECT_EQ(Read(*job.Get(), &QORJob::IsCanceled), statusLeft == 5);
        EXPECT_EQ(Read(*job.Get(), &QORJob::IsStopped), statusLeft == 6);
        EXPECT_EQ(DrainTodo(*job.Get()), Split(left)) << todo;
    }
    EXPECT_EQ(delivery.mReferences, 0u);
}

TEST_F(Control, CancelTellsTheReportInstanceAndFailsWithIt)
{
    for (const int type : {1, 5, 7, 2})
        for (int failing = 0; failing < 4; ++failing)
        {
            FakeProcessContext context;
            FakeReportInstance instance(context.mCalls);
            context.mpInstance = &instance;
            const JobPtr job = NewJob(type);
            job->SetProcessContext(&context);
            Queue(*job.Get(), "3 4 2");
            PerfReadings::Reset();
            job->SetPUStart(1);
            context.mCalls.clear();
            context.mInstanceCode = failing == 1 ? E_FAIL : S_OK;
            instance.mStatusCode = failing == 2 ? E_FAIL : S_OK;
            instance.mJobValueCode = failing == 3 ? E_FAIL : S_OK;
            const bool bTold = type == 1 || type == 5;
            EXPECT_EQ(job->Cancel(), bTold && failing != 0 ? E_FAIL : S_OK);
            Texts calls;
            if (bTold)
                calls = {"get_ContextObjectB", "instance put_Status 5", "instance put_JobValue 7 4711"};
            if (bTold && failing != 0)
                calls.resize(static_cast<std::size_t>(failing));
            else
                calls = Join(calls, {"put_LongB 1"});
            EXPECT_EQ(context.mCalls, calls) << type << failing;
            EXPECT_EQ(Read(*job.Get(), &QORJob::GetStatus), bTold && failing != 0 ? 1 : 5);
            EXPECT_EQ(DrainTodo(*job.Get()), bTold && failing != 0 ? Split("3 4 2") : Split("3 2"));
            EXPECT_EQ(PerfReadings::GetCounter(1), type == 7 ? 1 : 0) << "taken back by the cancellation already";
            context.mInstanceCode = S_OK;
        }
}

TEST_F(Control, CancelWithoutMemoryChangesNothing)
{
    for (int nth = 1; nth <= 4; ++nth) // two steps, two entries
    {
        const JobPtr job = NewJobWith("3 4 5 7", JobWaiting);
        Faults::FailNth(Faults::EnumFault::Allocation, nth);
        EXPECT_TRUE(FAILED(job->Cancel()));
        Faults::FailNth(Faults::EnumFault::Allocation, 0);
        EXPECT_EQ(Read(*job.Get(), &QORJob::GetStatus), 2);
        EXPECT_EQ(DrainTodo(*job.Get()), Split("3 4 5 7"));
    }
}

TEST_F(Control, PauseIsForDocumentsAndLeavesTheStepQueued)
{
    FakeProcessContext context;
    QORJobTask task(nullptr);
    QORJobTask other(nullptr);
    const JobPtr report = NewJob(RequestReport);
    report->PauseCurrentStep();
    EXPECT_EQ(Read(*report.Get(), &QORJob::GetStatus), 0);

    const JobPtr job = NewJobWith("13 19 2", 1);
    job->SetProcessContext(&context);
    job->SetRunning(true, nullptr);
    job->SetStepStart(13, 7, &task);
    TakeLog();
    job->PauseCurrentStep();
    EXPECT_EQ(TakeLog(), (Texts{"Job Trace: [DEBUG TRACING]QORJob::PauseCurrentStep: job 4711 is pausing start",
                                "Job Trace: [DEBUG TRACING]QORJob::PauseCurrentStep: job 4711 is pausing end"}));
    EXPECT_TRUE(job->IsStepPausing());
    EXPECT_EQ(job->SetStepFinish(13, 7, &other), S_OK) << "a pausing job answers 0 whatever the task";
    EXPECT_EQ(job->SetStepFinish(13, 7, &task), S_OK);
    EXPECT_EQ(TakeLog(), Texts());
    job->ResetStatusBeforeResumeExecution();
    EXPECT_FALSE(job->IsStepPausing() || Read(*job.Get(), &QORJob::IsRunning));
    EXPECT_EQ(job->SetStepFinish(0, 0, &task), S_FALSE) << "the task was cleared while the job paused";
    EXPECT_EQ(Read(*job.Get(), &QORJob::GetStatus), 1);
    EXPECT_EQ(DrainTodo(*job.Get()), Split("13 19 2"));
    EXPECT_EQ(Texts(context.mCalls.end() - 3, context.mCalls.end()), (Texts{"put_LongB 1", "put_LongB 0", "Release"}));
    for (const int status : {4, 5, 6})
    {
        SetStatus(*job.Get(), status);
        context.mCalls.clear();
        job->PauseCurrentStep();
        EXPECT_EQ(Read(*job.Get(), &QORJob::GetStatus), status);
        EXPECT_EQ(context.mCalls.back(), "put_LongB 1") << "the context is told all the same";
    }
}

TEST_F(Control, TakesAHungTaskOffAndOnlyThatOne)
{
    QORJobTask task(nullptr);
    QORJobTask other(nullptr);
    const JobPtr job = NewJobWith("4 5 2", 1);
    const auto executing = [&] {
        std::tuple<bool, int, DWORD, int, QORJobTask*> all(true, 0, 0, 0, &other);
        auto& [bExecuting, step, thread, unit, running] = all;
        EXPECT_EQ(job->IsExecuting(&bExecuting, &step, &thread, &unit, &running), S_OK);
        return all;
    };
    job->SetCurrentStepForStatistics(44);
    EXPECT_EQ(executing(), std::tuple(false, -1, DWORD(-1), -1, nullptr));
    EXPECT_EQ(job->StopRunningIfHang(0, 0, nullptr), S_FALSE);
    job->SetStepStart(4, 7, &task);
    EXPECT_EQ(executing(), std::tuple(true, 4, QBase::GetCurrentThreadID(), 7, &task));
    TakeLog();
    EXPECT_EQ(job->StopRunningIfHang(0, 0, &other), S_FALSE);
    EXPECT_EQ(job->StopRunningIfHang(0, 0, &task), S_OK);
    const std::string line = "Warning: QORJob::StopRunningIfHang: For jobid: 4711";
    EXPECT_EQ(TakeLog(), (Texts{line + " mExecutingTask == NULL (false)? mExecutingTask == iJobTask (false)?",
                                line + ", SetPUID to -1, SetThreadId to -1."}));
    EXPECT_EQ(job->StopRunningIfHang(0, 0, &task), S_FALSE);
    bool bDead = false;
    QORJobProcessingStep lost = StepNoMore;
    EXPECT_EQ(job->GetIAmDead(&bDead, &lost), S_OK);
    EXPECT_TRUE(bDead && lost == 44 && !std::get<0>(executing()));
    // An aborted query is known once its step has finished.
    task.SetStatus(JobTaskStatusAborted, nullptr);
    EXPECT_FALSE(job->IsQueryEngineServerAborted());
    EXPECT_EQ(job->SetStepFinish(4, 7, &task), S_FALSE);
    EXPECT_TRUE(job->IsQueryEngineServerAborted());
}

TEST_F(Control, CountsTheTimeOutFromTheCreation)
{
    Settings::SetClock(TimeOf(1000));
    const JobPtr job = NewJob();
    Settings::SetClock(TimeOf(5000));
    job->SetTimeOutPeriodInMilliseconds(250);
    EXPECT_EQ(Read(*job.Get(), &QORJob::GetTimeOutTime), TimeOf(1250));
}

TEST_F(Control, AnswersTheFirstPendingRequestOnce)
{
    for (const auto& [type, indicator] : {std::pair(2, 0), {2, -1}, {1, -1}})
    {
        const bool bRefused = type == 2 && indicator == -1;
        Texts replies;
        const auto channel = QMessage::NewChannel([&](ICKDXReadMessage* iMessage) {
            const QBase::PtrI<ICKDXReadMessage> message(iMessage);
            std::unique_ptr<QORMessageUnpacker> entry;
            HRESULT result = S_OK;
            EXPECT_TRUE(message->get_ErrorCode(&result) == S_OK);
            EXPECT_EQ(result, bRefused ? static_cast<HRESULT>(0x80043018) : 0x40002);
            EXPECT_EQ(CodesIn(message), Codes{bRefused ? 0x80043018 : 0x43094});
            const auto stream = Given(message, &ICKDXReadMessage::get_BlockStream);
            EXPECT_EQ(QORMessageUnpacker::Create(stream.Get(), QORMessageUnpacker::cNoLanguage, entry), S_OK);
            replies.push_back(entry->Build());
            return S_OK;
        });
        QBase::PtrI<CKDXProcessContext> context;
        EXPECT_EQ(CreateProcessContext(context), S_OK);
        QORChannelRequest first(channel.Get(), 1, 2);
        QORChannelRequest second(channel.Get(), 3, 4);
        const JobPtr job = NewJob(type);
        job->SetProjectName(W("Climate"));
        SetStatus(*job.Get(), 9); // nothing is pending yet
        job->AddChannelRequest(&first);
        job->AddChannelRequest(&second);
        SetStatus(*job.Get(), 9); // no context yet
        EXPECT_TRUE(first.get_Channel());
        context->put_ShortA(static_cast<std::int16_t>(indicator));
        const auto in = QMessage::NewReadMessage(nullptr, 0);
        EXPECT_EQ(context->SetRequestIn(0, in.Get(), nullptr, nullptr, GUID_NULL), S_OK);
        job->SetProcessContext(context.Get());
        SetStatus(*job.Get(), 9);
        SetStatus(*job.Get(), 9);
        ASSERT_EQ(replies.size(), 1u) << "the first request has none left, the second isn't the first";
        EXPECT_EQ(replies[0].find("Climate") != std::string::npos, bRefused) << replies[0];
        EXPECT_FALSE(first.get_Channel());
        HRESULT code = E_FAIL;
        void* server = nullptr;
        Given(context, &ICKDXProcessContext::get_OutMessage)->QueryInterface(IID_CKDXServerMessage, &server);
        QBase::PtrI<CKDXServerMessage>::Adopt(static_cast<CKDXServerMessage*>(server))->get_ErrorCode(&code);
        EXPECT_EQ(code, S_OK) << "the message is as new";
        job->CompleteChannelRequest(&first);
        job->CompleteChannelRequest(&second);
    }
}
