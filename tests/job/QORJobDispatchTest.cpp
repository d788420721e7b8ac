// Which step a thread is told to run: the table of statuses, lists and flags, and the lines about it.
#include "report/QORJobInfo.h"
#include "tests/support/JobTest.h"

#include <tuple>

namespace
{

using Dispatch = JobTest;

using Statuses = std::vector<int>;

const Statuses cOpen = {0, 1, 2, 14, 15, 16, 20, 21};
const Statuses cHeld = {7, 8, 9, 10, 11, 12, 13, 18, 19};
const Statuses cEnding = {3, 4, 5, 6};
const Statuses cFailing = {4, 5};

constexpr int cSame = -1;

enum EnumFlags
{
    None = 0,
    Running = 1,
    Dead = 2,
    Warns = 4,
};

/// What is there before, and what dispatch makes of it. `mFlagsAfter` is Running or None, and Warns with the warning.
struct Case
{
    Statuses mStatuses;
    int mFlags;
    const char* mTodo;
    int mAnswer;
    const char* mTodoAfter;
    int mFlagsAfter;
    int mStarted = 0; ///< the step that dispatch has started itself
    int mRunningStep = -1;
    int mStatusAfter = cSame;
};

const std::vector<Case> cCases = {
    // Open jobs give the front step. The running flag decides whether it is handed out or only named.
    {cOpen, None, "", 0, "", None, 0, -1, JobCompleted},
    {cOpen, Running, "", 0, "", None, 0, -1, JobCompleted},
    {cOpen, None, "3 5 2", 3, "3 5 2", None},
    {cOpen, Running, "3 5 2", 3, "3 5 2", Running, 3},
    {cOpen, Running, "3@0 5 2", 3, "3 5 2", Running | Warns},
    {cOpen, Running, "3@-1 5 2", 3, "3 5 2", Running, 3},
    {cOpen, Running, "3!7 5 2", 3, "3 5 2", Running, 3},
    {cOpen, Running, "0 2", 0, "0 2", None},
    // The closing step goes out once.
    {cOpen, None, "2@7", 0, "2", None},
    {cOpen, Running, "2@0", 0, "2", Running},
    {cOpen, Running, "3 2@-1 5 2", 0, "3 2 5 2", Running},
    {{6}, Running, "3 10 2@7", 0, "3 10 2", Running, 0, 2},
    // A dead job reports and closes.
    {cOpen, Running | Dead, "3 5 2", 3, "3 5 2", Running, 3},
    {cOpen, Running | Dead, "3@7 5 10 7 2", 10, "10 7 2", Running, 10},
    {cOpen, Running | Dead, "3@0 5 2", 2, "2", Running, 2},
    {cOpen, Running | Dead, "10@7 7 2", 2, "2", Running, 2},
    {cOpen, Running | Dead, "3@7 5", 2, "2", Running, 2},
    {{4}, Running | Dead, "3@7 11", 2, "2", Running, 2, 3},
    {{5}, Running | Dead, "3@7 11", 2, "", Running, 2, 3},
    {cFailing, Running | Dead, "3@7 5 10 2", 10, "10 2", Running, 10, 3},
    {cEnding, Running | Dead, "3@7 5", 0, "3 5", None, 0, 3},
    // Waiting states hold everything.
    {cHeld, Running, "3 2", 0, "3 2", None},
    // Jobs on their way out look for their reporting and closing steps.
    {cEnding, None, "", 0, "", None},
    {cEnding, None, "3 - 4 2", 2, "3", None},
    {{6}, None, "3 10 11 14 26 2", 2, "3 10 11 14 26 2", None},
    {{3, 4, 5}, None, "3 11 10 2", 11, "3 11 10 2", None},
    {{3, 4, 5}, None, "3 10 2", 10, "3 10 2", None},
    {{3, 4, 5}, None, "3 14 26 2", 14, "3 14 26 2", None},
    {cFailing, None, "14 5 10 2", 10, "5 10 2", None},
    {cEnding, Running, "3 4 2", 2, "3 4 2", Running, 2},
    {cEnding, Running, "3@7 4 2", 0, "3 4 2", Running, 0, 3},
    {cFailing, Running, "3@0 4 10 2", 10, "3 4 10 2", Running | Warns, 0, 3},
    {cFailing, None, "3@7 5@8 10 7@9 2", 10, "3 5 10 7 2", None, 0, 5},
    {cFailing, None, "3!7 5@-1 2", 2, "3 5 2", None, 0, 5},
    // A requeued job starts anew.
    {{17}, None, "", 12, "12 2", None, 0, -1, JobReady},
    {{17}, Running, "", 12, "12 2", Running, 12, -1, JobReady},
    {{17}, Running, "5@7 2", 0, "5 2", Running, 0, -1, JobReady},
};

std::string FinishedLine(int iStepId, int iStatus)
{
    return "Job Trace: QORJob::GetCurrentStepIdToRun: job id: 4711, finished step: " + std::to_string(iStepId) +
           ", mbIAmDead: false, mRunning: true, status: " + std::to_string(iStatus);
}

} // namespace

TEST_F(Dispatch, FollowsItsTable)
{
    for (const Case& each : cCases)
        for (const int status : each.mStatuses)
        {
            SCOPED_TRACE("status " + std::to_string(status) + " flags " + std::to_string(each.mFlags) + " [" +
                         each.mTodo + "]");
            const JobPtr job = NewJobWith(each.mTodo, status);
            bool bFlag = false;
            job->SetRunning((each.mFlags & Running) != 0, nullptr);
            job->SetIAmDead((each.mFlags & Dead) != 0, &bFlag, StepSQLGeneration);
            QORJobProcessingStep lost = StepNoMore;
            EXPECT_EQ(job->GetIAmDead(&bFlag, &lost), S_OK);
            EXPECT_TRUE(bFlag == ((each.mFlags & Dead) != 0) && lost == StepSQLGeneration);
            TakeLog();

            int answer = -2;
            int runningStep = -2;
            EXPECT_EQ(job->GetCurrentStepIdToRun(&answer, &runningStep), S_OK);
            const Texts lines = TakeLog();
            EXPECT_EQ(answer, each.mAnswer);
            EXPECT_EQ(runningStep, each.mRunningStep);

            EXPECT_EQ(Read(*job.Get(), &QORJob::GetStatus), each.mStatusAfter == cSame ? status : each.mStatusAfter);
            EXPECT_EQ(Read(*job.Get(), &QORJob::IsRunning), (each.mFlagsAfter & Running) != 0);
            const auto has = [&](const std::string& iPart) {
                return std::any_of(lines.begin(), lines.end(),
                                   [&](const std::string& iLine) { return iLine.find(iPart) != std::string::npos; });
            };
            EXPECT_EQ(has("Need to switch PU"), (each.mFlagsAfter & Warns) != 0);
            EXPECT_EQ(has("SetStepStart"), each.mStarted != 0);
            EXPECT_EQ(has("starting step:" + std::to_string(each.mStarted) + " in PU:0."), each.mStarted != 0);
            EXPECT_EQ(DrainTodo(*job.Get()), Split(each.mTodoAfter));
        }
}

TEST_F(Dispatch, MovesTheLostStepOfADeadJobToTheFinishedOnes)
{
    for (const bool bHollow : {false, true})
    {
        const JobPtr job = NewJobWith(bHollow ? "3 4@7 5 - 10 2" : "3 4@7 5 10 2");
        bool bWas = false;
        int step = -2;
        job->SetStepComplete();
        job->SetRunning(true, nullptr);
        job->SetIAmDead(true, &bWas, StepQueryExecution);
        EXPECT_EQ(job->GetCurrentStepIdToRun(&step, nullptr), bHollow ? S_FALSE : S_OK);
        EXPECT_EQ(step, bHollow ? -2 : 10);
        EXPECT_EQ(ReadFinished(*job.Get()), Split("4 3"));
    }
}

TEST_F(Dispatch, IsOverOnceTheClosingStepHasFinished)
{
    for (int status = 0; status <= 21; ++status)
    {
        const JobPtr job = NewJobWith("5 2 3@7 10 2");
        job->SetStepComplete(2);
        SetStatus(*job.Get(), status);
        job->SetRunning(true, nullptr);
        TakeLog();
        int step = -1;
        int runningStep = 0;
        EXPECT_EQ(job->GetCurrentStepIdToRun(&step, &runningStep), S_OK);
        EXPECT_TRUE(step == 0 && runningStep == -1);
        EXPECT_EQ(TakeLog(), Texts{FinishedLine(2, status)});
        EXPECT_EQ(Read(*job.Get(), &QORJob::GetStatus), status);
        EXPECT_EQ(DrainTodo(*job.Get()), Split("5 3 10 2"));
    }
}

TEST_F(Dispatch, SaysWhyItGivesNothingOrMore)
{
    const JobPtr job = NewJobWith("3 4 5@0 2");
    bool bWas = false;
    int step = -1;
    job->SetStepComplete();
    job->SetStepComplete();
    job->SetRunning(true, nullptr);
    TakeLog();
    job->GetCurrentStepIdToRun(&step, nullptr);
    EXPECT_EQ(TakeLog(),
              (Texts{FinishedLine(4, 0), FinishedLine(3, 0),
                     "Warning: QORJob::GetCurrentStepIdToRun: Need to switch PU: previous step: 5, job id: 4711, "
                     "mbIAmDead: false, mRunning: true, status: 0, ThreadID: 77, PUId: 0"}));

    const JobPtr closing = NewJobWith("3 2@7 2@8", JobStopped);
    closing->SetIAmDead(true, &bWas, StepSQLGeneration);
    closing->GetCurrentStepIdToRun(&step, nullptr);
    EXPECT_EQ(TakeLog(),
              Texts{"Job Trace: QORJob::GetCurrentStepIdToRun: return GC_NO_MORE_STEP because todo step has gcCloseJob "
                    "step and it's being run by some thread.  step: 2, job id: 4711, mbIAmDead: true, mRunning: false, "
                    "status: 6, ThreadID: 77, PUId: 7"});
}

TEST_F(Dispatch, KeepsARequeuedJobWholeWhenMemoryRunsOut)
{
    for (int nth = 1; nth <= 4; ++nth)
    {
        const JobPtr job = NewJobWith("", JobRequeued);
        int step = -1;
        Faults::FailNth(Faults::EnumFault::Allocation, nth);
        EXPECT_TRUE(FAILED(job->GetCurrentStepIdToRun(&step, nullptr))) << nth;
        EXPECT_EQ(job->GetCurrentStepIdToRun(&step, nullptr), S_OK);
        EXPECT_EQ(step, 12);
        job->SetStepStart(StepCloseJob, 7, nullptr);
        EXPECT_EQ(job->GetCurrentStepIdToRun(&step, nullptr), S_OK);
        EXPECT_EQ(step, StepNoMore) << "its closing step is being run";
        EXPECT_EQ(DrainTodo(*job.Get()), Split("12 2")) << "no job may go on without its closing step, " << nth;
    }
}

TEST_F(Dispatch, TakesNothingFromADeadJobWhenMemoryRunsOut)
{
    for (int nth = 1; nth <= 3; ++nth) // the profile's place, the closing step, its entry
    {
        const JobPtr job = NewJobWith("3@7 5 4");
        bool bWas = false;
        int step = -1;
        job->SetRunning(true, nullptr);
        job->SetIAmDead(true, &bWas, StepSQLGeneration);
        Faults::FailNth(Faults::EnumFault::Allocation, nth);
        EXPECT_TRUE(FAILED(job->GetCurrentStepIdToRun(&step, nullptr))) << nth;
        QORJobInfo info;
        job->GetJobInfo(&info);
        EXPECT_EQ(info.mTodoCount, 3);
        EXPECT_EQ(info.mFinishedCount, 0);
        EXPECT_EQ(job->GetCurrentStepIdToRun(&step, nullptr), S_OK);
        EXPECT_EQ(step, StepCloseJob);
        EXPECT_EQ(DrainTodo(*job.Get()), Split("2"));
    }
    // Where there is a closing step already, none is made.
    const JobPtr job = NewJobWith("3@7 5 2");
    bool bWas = false;
    job->SetRunning(true, nullptr);
    job->SetIAmDead(true, &bWas, StepSQLGeneration);
    Faults::FailNth(Faults::EnumFault::Allocation, 2);
    int step = -1;
    EXPECT_EQ(job->GetCurrentStepIdToRun(&step, nullptr), S_OK);
    EXPECT_EQ(step, StepCloseJob);
}

TEST_F(Dispatch, TellsTheCurrentStepAndChangesNothing)
{
    const std::tuple<Statuses, const char*, int, int> cQueries[] = {
        {{0, 1, 2, 3, 14, 15, 16, 17, 20, 21}, "3@7 10 2", 3, -1},
        {{0, 3, 4, 17}, "", 0, -1},
        {cHeld, "3@7 10 2", 0, -1},
        {{4, 5, 6}, "3@7 5", 0, 3},
        {cFailing, "3@7 - 4@8 11 2", 11, 4},
        {{6}, "11 10 26 14 2", 2, -1},
        {{4}, "14 10 2", 10, -1},
        {{5}, "14 10 2", 14, -1}};
    for (const auto& [statuses, todo, answer, running] : cQueries)
        for (const int status : statuses)
        {
            const JobPtr job = NewJobWith(todo, status);
            job->SetRunning(true, nullptr);
            TakeLog();
            int step = -2;
            int runningStep = -2;
            for (int turn = 0; turn < 2; ++turn)
            {
                EXPECT_EQ(job->GetCurrentStepId(&step, &runningStep), S_OK);
                EXPECT_TRUE(step == answer && runningStep == running) << status << " [" << todo << "] " << step;
            }
            EXPECT_EQ(TakeLog(), Texts());
            EXPECT_EQ(Read(*job.Get(), &QORJob::GetStatus), status);
        }
    const JobPtr hollow = NewJobWith("- 2");
    int step = -2;
    EXPECT_EQ(hollow->GetCurrentStepId(&step, nullptr), E_POINTER);
    EXPECT_EQ(step, -2);
    EXPECT_EQ(TakeLog(), Texts{"Error: QORJob::GetCurrentStepId: Job:4711 has error 0x80004003 getting id of a step "
                               "in to do list"});
}

TEST_F(Dispatch, HandsTheClosingStepToOneThreadOnly)
{
    for (int round = 0; round < 100; ++round)
    {
        // Stopped jobs close at once; the steps before stay.
        const JobPtr job = round % 2 == 0 ? NewJobWith("2", JobReady) : NewJobWith("3 4 2", JobStopped);
        job->SetRunning(true, nullptr);
        std::atomic<int> given{0};
        RunOnThreads(4, [&](int) {
            for (int step = -1, turn = 0; turn < 5; ++turn)
            {
                EXPECT_EQ(job->GetCurrentStepIdToRun(&step, nullptr), S_OK);
                given += step != StepNoMore ? 1 : 0;
            }
        });
        EXPECT_EQ(given, 1);
    }
}
