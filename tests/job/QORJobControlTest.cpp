// How a job is cancelled, paused, resumed and taken from a hung task, and what dispatch answers then.
#include "context/CKDXProcessContext.h"
#include "platform/QLogRouter.h"
#include "platform/QMessage.h"
#include "report/QORChannelRequest.h"
#include "task/QORJobTask.h"
#include "tests/support/JobTest.h"

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
    const char* mNothing;
    const char* mCancel;
    const char* mPause;
    const char* mResume;
    const char* mHang;
    const char* mHangAndGoOn;
    const char* mFinish;
};

// clang-format off
const Row cRows[] = {
    {{0, 1, 14, 15, 16, 17, 20, 21}, "3 0 3 2", "2 0 2 10",   "3 0 3 2", "3 3 3 3", "3 3 3 3", "2 2 2 2", "5 5 5 5"},
    {{2},                            "3 0 3 2", "10 0 10 10", "3 0 3 2", "3 3 3 3", "3 3 3 3", "2 2 2 2", "5 5 5 5"},
    {{7, 8, 9, 18, 19},              "0 0 0 0", "10 0 10 10", "3 0 3 2", "3 3 3 3", "0 0 0 0", "0 0 0 0", "0 0 0 0"},
    {{10, 11, 12, 13},               "0 0 0 0", "2 0 2 10",   "3 0 3 2", "3 3 3 3", "0 0 0 0", "0 0 0 0", "0 0 0 0"},
    {{3},                            "2 0 2 2", "2 0 2 2",    "3 0 3 2", "3 3 3 3", "2 2 2 2", "2 2 2 2", "2 2 2 2"},
    {{4},                            "2 0 2 2", "10 0 10 10", "2 0 2 2", "3 3 3 3", "2 2 2 2", "2 2 2 2", "2 2 2 2"},
    {{5, 6},                         "2 0 2 2", "2 0 2 2",    "2 0 2 2", "3 3 3 3", "2 2 2 2", "2 2 2 2", "2 2 2 2"},
};
// clang-format on

QBase::PtrI<CKDXServerMessage> ServerMessageOf(ICKDXProcessContext& iContext)
{
    ICKDXWriteMessage* message = nullptr;
    void* server = nullptr;
    EXPECT_EQ(iContext.get_OutMessage(&message), S_OK);
    EXPECT_EQ(QBase::PtrI<ICKDXWriteMessage>::Adopt(message)->QueryInterface(IID_CKDXServerMessage, &server), S_OK);
    return QBase::PtrI<CKDXServerMessage>::Adopt(static_cast<CKDXServerMessage*>(server));
}

} // namespace

TEST_F(Control, DecidesWithStatusAndFlagsWhatRunsNext)
{
    QORJobTask task(nullptr);
    const std::tuple<const char*, const char * Row::*, std::function<void(QORJob&)>> cOperations[] = {
        {"nothing", &Row::mNothing, [](QORJob&) {}},
        {"cancel", &Row::mCancel, [](QORJob& ioJob) { EXPECT_EQ(ioJob.Cancel(), S_OK); }},
        {"pause", &Row::mPause, [](QORJob& ioJob) { ioJob.PauseCurrentStep(); }},
        {"resume", &Row::mResume, [](QORJob& ioJob) { ioJob.ResetStatusBeforeResumeExecution(); }},
        {"hang", &Row::mHang, [&](QORJob& ioJob) { EXPECT_EQ(ioJob.StopRunningIfHang(0, 0, &task), S_OK); }},
        {"hang and go on", &Row::mHangAndGoOn,
         [&](QORJob& ioJob) {
             EXPECT_EQ(ioJob.StopRunningIfHang(0, 0, &task), S_OK);
             ioJob.SetRunning(true, nullptr);
         }},
        {"finish", &Row::mFinish, [&](QORJob& ioJob) { ioJob.SetStepFinish(3, 7, &task); }},
    };
    for (const Row& row : cRows)
        for (const int state : row.mStates)
            for (const auto& [name, cell, operate] : cOperations)
                for (std::size_t flags = 0; flags < 4; ++flags)
                {
                    const JobPtr job = NewJobWith("3@7 5 2", state);
                    bool bWas = false;
                    int next = -1;
                    job->SetStepStart(StepNoMore, 0, &task); // the task alone
                    job->SetRunning(flags % 2 != 0, nullptr);
                    job->SetIAmDead(flags / 2 != 0, &bWas, StepNoMore);
                    operate(*job.Get());
                    // A step paused in the middle isn't finished by its thread's return.
                    const bool bPaused = state == JobPausing && cell == &Row::mFinish;
                    EXPECT_EQ(job->GetCurrentStepIdToRun(&next, nullptr), S_OK);
                    EXPECT_EQ(std::to_string(next), Split(row.*(bPaused ? &Row::mNothing : cell))[flags])
                        << "state " << state << ", flags " << flags << ", " << name;
                }
}

TEST_F(Control, CancelLeavesTheCurrentStepAndWhatReportsAndCloses)
{
    struct Case
    {
        int mType;
        int mStatus;
        bool mbRunning;
        bool mbDelivery;
        const char* mTodo;
        const char* mLeft;
        int mStatusLeft;
    };
    const Case cCases[] = {
        {1, 1, true, false, "3 4 5 7", "3 10 2", 5},  {1, 0, false, false, "3 4 2", "3 2", 5},
        {2, 7, false, true, "13 19 2", "13 26 2", 5}, {2, 7, false, true, "26 19", "26 2", 5},
        {2, 2, false, false, "10 2", "10 2", 5},      {2, 2, false, false, "2 10", "2 10", 5},
        {6, 2, true, true, "16 3 2", "16 2", 5},      {1, 1, true, false, "", "10 2", 5},
        {1, 4, false, false, "3 4", "3 10 2", 4},     {2, 3, true, false, "3 4", "3 4", 3},
        {2, 6, true, false, "3 4", "3 4", 6},
    };
    Texts calls;
    FakeReportInstance delivery(calls);
    for (const Case& one : cCases)
    {
        FakeProcessContext context;
        context.mpDelivery = one.mbDelivery ? &delivery : nullptr;
        const JobPtr job = NewJob(one.mType);
        job->SetProcessContext(&context);
        Queue(*job.Get(), one.mTodo);
        SetStatus(*job.Get(), one.mStatus);
        job->SetRunning(one.mbRunning, nullptr);
        TakeLog();
        EXPECT_EQ(job->Cancel(), S_OK);
        EXPECT_EQ(TakeLog(), (Texts{"Job Trace: [DEBUG TRACING]QORJob::Cancel: job 4711 is cancel start",
                                    "Job Trace: [DEBUG TRACING]QORJob::Cancel: job 4711 is cancel end"}));
        EXPECT_EQ(context.mCalls.back(), "put_LongB 1");
        EXPECT_EQ(Read(*job.Get(), &QORJob::GetStatus), one.mStatusLeft);
        EXPECT_EQ(Read(*job.Get(), &QORJob::IsCanceled), one.mStatusLeft == 5);
        EXPECT_EQ(Read(*job.Get(), &QORJob::IsStopped), one.mStatusLeft == 6);
        EXPECT_EQ(DrainTodo(*job.Get()), Split(one.mLeft)) << one.mTodo;
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
    const JobPtr report = NewJob(RequestReport);
    SetStatus(*report.Get(), 1);
    TakeLog();
    report->PauseCurrentStep();
    EXPECT_EQ(Read(*report.Get(), &QORJob::GetStatus), 1);
    EXPECT_EQ(TakeLog(), Texts{"Job Trace: [DEBUG TRACING]QORJob::PauseCurrentStep: job 4711 is pausing start"});

    const JobPtr job = NewJobWith("13 19 2", 1);
    job->SetProcessContext(&context);
    job->SetRunning(true, nullptr);
    job->SetStepStart(13, 7, &task);
    TakeLog();
    job->PauseCurrentStep();
    EXPECT_EQ(TakeLog(), (Texts{"Job Trace: [DEBUG TRACING]QORJob::PauseCurrentStep: job 4711 is pausing start",
                                "Job Trace: [DEBUG TRACING]QORJob::PauseCurrentStep: job 4711 is pausing end"}));
    EXPECT_TRUE(job->IsStepPausing());
    EXPECT_EQ(job->SetStepFinish(13, 7, &task), S_OK);
    job->ResetStatusBeforeResumeExecution();
    EXPECT_FALSE(Read(*job.Get(), &QORJob::IsRunning));
    EXPECT_EQ(Read(*job.Get(), &QORJob::GetStatus), 1);
    EXPECT_EQ(DrainTodo(*job.Get()), Split("13 19 2"));
    EXPECT_EQ(Texts(context.mCalls.end() - 3, context.mCalls.end()), (Texts{"put_LongB 1", "put_LongB 0", "Release"}));
    for (const int status : {4, 5, 6})
    {
        SetStatus(*job.Get(), status);
        job->PauseCurrentStep();
        EXPECT_EQ(Read(*job.Get(), &QORJob::GetStatus), status);
        EXPECT_EQ(context.mCalls.back(), "put_LongB 1") << "the context is told all the same";
        context.mCalls.clear();
    }
}

TEST_F(Control, TakesAHungTaskOffAndOnlyThatOne)
{
    QORJobTask task(nullptr);
    QORJobTask other(nullptr);
    const JobPtr job = NewJobWith("4 5 2", 1);
    bool bExecuting = true;
    int step = 0;
    int unit = 0;
    DWORD thread = 0;
    QORJobTask* running = &other;
    job->SetCurrentStepForStatistics(44);
    EXPECT_EQ(job->IsExecuting(nullptr, &step, &thread, &unit, &running), E_POINTER);
    EXPECT_EQ(job->IsExecuting(&bExecuting, &step, &thread, &unit, &running), S_OK);
    EXPECT_EQ(std::tuple(bExecuting, step, thread, unit, running), std::tuple(false, -1, DWORD(-1), -1, nullptr));
    EXPECT_EQ(job->StopRunningIfHang(0, 0, nullptr), S_FALSE);
    job->SetStepStart(4, 7, &task);
    EXPECT_EQ(job->IsExecuting(&bExecuting, &step, &thread, &unit, &running), S_OK);
    EXPECT_EQ(std::tuple(bExecuting, step, thread, unit, running),
              std::tuple(true, 4, QBase::GetCurrentThreadID(), 7, &task));
    TakeLog();
    EXPECT_EQ(job->StopRunningIfHang(0, 0, &other), S_FALSE);
    EXPECT_EQ(job->StopRunningIfHang(0, 0, &task), S_OK);
    EXPECT_EQ(job->StopRunningIfHang(0, 0, &task), S_FALSE);
    const std::string line = "Warning: QORJob::StopRunningIfHang: For jobid: 4711";
    EXPECT_EQ(TakeLog(), (Texts{line + " mExecutingTask == NULL (false)? mExecutingTask == iJobTask (false)?",
                                line + ", SetPUID to -1, SetThreadId to -1.",
                                line + " mExecutingTask == NULL (true)? mExecutingTask == iJobTask (false)?"}));
    bool bDead = false;
    QORJobProcessingStep lost = StepNoMore;
    EXPECT_EQ(job->GetIAmDead(&bDead, &lost), S_OK);
    EXPECT_TRUE(bDead);
    EXPECT_EQ(lost, 44);
    EXPECT_EQ(job->IsExecuting(&bExecuting, nullptr, nullptr, nullptr, nullptr), S_OK);
    EXPECT_FALSE(bExecuting);
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
    QDataType::DateTime finish = TimeOf(77);
    EXPECT_EQ(job->SetTimeOutPeriodInMilliseconds(250), S_OK);
    EXPECT_EQ(job->SetJobFinishTime(finish), S_OK);
    QDataType::DateTime time(0.0);
    EXPECT_EQ(job->GetTimeOutTime(&time), S_OK);
    EXPECT_EQ(time, TimeOf(1250));
    EXPECT_EQ(job->GetJobCreationTime(&time), S_OK);
    EXPECT_EQ(time, TimeOf(1000));
    EXPECT_EQ(job->GetJobFinishTime(&time), S_OK);
    EXPECT_EQ(time, TimeOf(77));
    for (const auto getter : {&QORJob::GetTimeOutTime, &QORJob::GetJobCreationTime, &QORJob::GetJobFinishTime})
        EXPECT_EQ((job.Get()->*getter)(nullptr), E_POINTER);
}

TEST_F(Control, AnswersTheFirstPendingRequestOnce)
{
    struct Case
    {
        int mType;
        int mIndicator;
        HRESULT mResult;
        unsigned mCode;
    };
    const Case cCases[] = {
        {2, 0, 0x40002, 0x43094}, {2, -1, static_cast<HRESULT>(0x80043018), 0x80043018}, {1, -1, 0x40002, 0x43094}};
    for (const Case& one : cCases)
    {
        Texts replies;
        const auto channel = QMessage::NewChannel([&](ICKDXReadMessage* iMessage) {
            HRESULT result = S_OK;
            ICKDXReadBlockStream* blocks = nullptr;
            std::unique_ptr<QORMessageUnpacker> entry;
            EXPECT_EQ(iMessage->get_ErrorCode(&result), S_OK);
            EXPECT_EQ(result, one.mResult);
            EXPECT_EQ(iMessage->get_BlockStream(&blocks), S_OK);
            const auto stream = QBase::PtrI<ICKDXReadBlockStream>::Adopt(blocks);
            EXPECT_EQ(QORMessageUnpacker::Create(stream.Get(), QORMessageUnpacker::cNoLanguage, entry), S_OK);
            EXPECT_EQ(entry->GetMessageId(), one.mCode);
            EXPECT_TRUE(entry->IsLastMessageInStream());
            replies.push_back(entry->Build());
            return S_OK;
        });
        QBase::PtrI<CKDXProcessContext> context;
        EXPECT_EQ(CreateProcessContext(context), S_OK);
        QORChannelRequest first(channel.Get(), 1, 2);
        QORChannelRequest second(channel.Get(), 3, 4);
        const JobPtr job = NewJob(one.mType);
        job->SetProjectName(W("Climate"));
        SetStatus(*job.Get(), 9); // nothing is pending yet
        job->AddChannelRequest(&first);
        job->AddChannelRequest(&second);
        SetStatus(*job.Get(), 9); // no context yet
        EXPECT_TRUE(first.get_Channel());
        context->put_ShortA(static_cast<std::int16_t>(one.mIndicator));
        const auto in = QMessage::NewReadMessage(nullptr, 0);
        EXPECT_EQ(context->SetRequestIn(0, in.Get(), nullptr, nullptr, GUID_NULL), S_OK);
        job->SetProcessContext(context.Get());
        SetStatus(*job.Get(), 9);
        SetStatus(*job.Get(), 9);
        ASSERT_EQ(replies.size(), 1u) << "the first request has none left, the second isn't the first";
        EXPECT_EQ(replies[0].find("Climate") != std::string::npos, one.mCode == 0x80043018) << replies[0];
        EXPECT_FALSE(first.get_Channel());
        HRESULT code = E_FAIL;
        EXPECT_EQ(ServerMessageOf(*context.Get())->get_ErrorCode(&code), S_OK);
        EXPECT_EQ(code, S_OK) << "the message is as new";
        QORChannelRequest* listed = nullptr;
        EXPECT_EQ(job->GetChannelRequest(&listed, 0), S_OK);
        EXPECT_EQ(listed, &first);
        job->CompleteChannelRequest(&first);
        job->CompleteChannelRequest(&second);
    }
}
