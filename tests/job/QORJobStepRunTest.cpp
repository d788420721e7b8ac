// A step's start and finish: what they note, what the context is told, and what happens out of order.
#include "task/QORJobTask.h"
#include "tests/support/JobTest.h"

namespace
{

class StepRun : public JobTest
{
protected:
    /// Adds a step that can still be looked at: the job deletes it at its end only.
    static QORJobStep& Add(QORJob& ioJob, int iStepId)
    {
        auto* step = new QORJobStep(iStepId);
        EXPECT_EQ(ioJob.AddStepToRun(step, nullptr), S_OK);
        return *step;
    }

    static bool IsInWarehouse(const QORJob& iJob) { return Read(iJob, &QORJob::GetIsExecutingInWarehouse); }

    FakeProcessContext mContext;
    QORJobTask mTask{nullptr};
};

const QDataType::DateTime cNever(0.0);

std::string StartLine(int iStepId, int iUnit)
{
    return "Job Trace: QORJob::SetStepStart: Job:4711 starting step:" + std::to_string(iStepId) +
           " in PU:" + std::to_string(iUnit) + ".";
}

std::string FinishLine(int iStepId)
{
    return "Job Trace: QORJob::SetStepFinish: Job:4711 completed step:" + std::to_string(iStepId) + ".";
}

std::string LastLine(int iStepId, int iLastStepId, bool ibDead)
{
    return "Error: QORJob::SetStepFinish: job 4711, iStepId = " + std::to_string(iStepId) +
           ", lastFinishedStepId = " + std::to_string(iLastStepId) + ", mbIAmDead = " + (ibDead ? "true" : "false");
}

} // namespace

TEST_F(StepRun, NotesWhoRanTheStepAndWhen)
{
    const JobPtr job = NewJob();
    job->SetPUPriority(9);
    const QORJobStep& other = Add(*job.Get(), 3);
    const QORJobStep& step = Add(*job.Get(), 5);
    const QORJobStep& second = Add(*job.Get(), 5);
    TakeLog();
    Settings::SetClock(TimeOf(100));
    Settings::SetThreadTimes(1000, 5000);
    EXPECT_EQ(job->SetStepStart(5, 7, &mTask), S_OK);
    EXPECT_EQ(TakeLog(), Texts{StartLine(5, 7)});
    EXPECT_EQ(Read(step, &QORJobStep::GetStartTime), TimeOf(100));
    EXPECT_EQ(Read(step, &QORJobStep::GetPUPriority), 9);
    EXPECT_EQ(Read(step, &QORJobStep::GetThreadId), QBase::GetCurrentThreadID());
    EXPECT_EQ(Read(other, &QORJobStep::GetThreadId) + Read(second, &QORJobStep::GetThreadId), 0u);

    Settings::SetThreadTimes(1040, 5002);
    EXPECT_EQ(job->SetStepComplete(3), S_OK);
    EXPECT_EQ(job->SetStepFinish(5, 7, &mTask), S_OK);
    EXPECT_EQ(Read(step, &QORJobStep::GetFinishTime), TimeOf(100));
    EXPECT_EQ(Read(step, &QORJobStep::GetTaskCPUTime), 42);
    EXPECT_EQ(Read(other, &QORJobStep::GetFinishTime), cNever) << "completing a step is no finish";
    EXPECT_EQ(ReadFinished(*job.Get()), Split("5 3"));
}

TEST_F(StepRun, TellsTheContextOfQueriesAndChapters)
{
    const JobPtr job = NewJob();
    job->SetPUPriority(6);
    Queue(*job.Get(), "4");
    Add(*job.Get(), 39).SetChapterKey(W("chapter"));
    Queue(*job.Get(), "5 2");
    TakeLog();
    job->SetStepStart(4, 1, nullptr);
    EXPECT_EQ(TakeLog(), (Texts{"Error: QORJob::SetStepStart: mProcessContext == NULL.", StartLine(4, 1)}));
    EXPECT_TRUE(IsInWarehouse(*job.Get()));

    job->SetProcessContext(&mContext);
    SetStatus(*job.Get(), JobPausing); // leaves the lists alone
    // Unit 0 is that of dispatch: the step has only been given away.
    const std::pair<int, Texts> cUnits[] = {{0, {}}, {1, {"put_LimitB 6", "put_BstrE 'chapter'", "put_BstrE ''"}}};
    for (const auto& [unit, calls] : cUnits)
    {
        mContext.mCalls.clear();
        job->SetStepStart(4, unit, nullptr);
        EXPECT_EQ(IsInWarehouse(*job.Get()), unit == 1);
        job->SetStepStart(39, unit, nullptr);
        EXPECT_FALSE(IsInWarehouse(*job.Get()));
        job->SetStepFinish(39, unit, nullptr);
        EXPECT_EQ(mContext.mCalls, calls);
    }
}

TEST_F(StepRun, StartsNoStepWhenMemoryRunsOut)
{
    const JobPtr job = NewJob();
    job->SetProcessContext(&mContext);
    const QORJobStep& chapter = Add(*job.Get(), 39);
    const QORJobStep& close = Add(*job.Get(), 2);
    job->SetStepStart(40, 1, &mTask);
    mContext.mCalls.clear();
    for (const auto& [id, nth] : {std::pair(2, 1), {39, 1}, {39, 2}}) // a profile's place, the key
    {
        Faults::FailNth(Faults::EnumFault::Allocation, nth);
        EXPECT_TRUE(FAILED(job->SetStepStart(id, 1, nullptr))) << id;
    }
    EXPECT_EQ(Read(chapter, &QORJobStep::GetThreadId), 0u);
    EXPECT_EQ(Read(close, &QORJobStep::GetPUId), -1);
    EXPECT_EQ(mContext.mCalls, Texts());
    EXPECT_EQ(job->SetStepFinish(40, 1, &mTask), S_OK) << "still the executing task";
}

TEST_F(StepRun, AnswersWhetherTheTaskWasTheExecutingOne)
{
    const JobPtr job = NewJobWith("3 40 4 5 2");
    QORJobTask other(nullptr);
    job->SetIsExecutingInWarehouse(true);
    for (const int id : {0, 40, -1, 39}) // are no steps of the queue, or not queued
    {
        EXPECT_EQ(job->SetStepStart(id, 7, &mTask), S_OK);
        EXPECT_TRUE(job->SetStepFinish(id, 7, &mTask) == S_OK && IsInWarehouse(*job.Get())) << id;
    }
    job->SetStepStart(3, 1, &mTask);
    EXPECT_EQ(job->SetStepFinish(3, 1, &other), S_FALSE);
    EXPECT_EQ(ReadFinished(*job.Get()), Split("3")) << "it is finished all the same";
    EXPECT_EQ(job->SetStepFinish(4, 1, &mTask), S_OK);
    EXPECT_EQ(job->SetStepFinish(5, 1, &mTask), S_FALSE) << "the first finish has cleared it";
    EXPECT_EQ(job->SetStepFinish(2, 1, nullptr), S_OK) << "no task is executing, and none has finished";
}

TEST_F(StepRun, CatchesUpByOneStepOnly)
{
    const JobPtr job = NewJob();
    const QORJobStep& first = Add(*job.Get(), 3);
    const QORJobStep& second = Add(*job.Get(), 4);
    Queue(*job.Get(), "5 6 7 8 2");
    Settings::SetClock(TimeOf(1));
    TakeLog();
    EXPECT_EQ(job->SetStepFinish(4, 1, nullptr), S_OK);
    EXPECT_EQ(TakeLog(), Texts{FinishLine(4)});
    EXPECT_EQ(Read(first, &QORJobStep::GetFinishTime), cNever);
    EXPECT_EQ(Read(second, &QORJobStep::GetFinishTime), TimeOf(1));

    EXPECT_EQ(job->SetStepFinish(7, 1, nullptr), S_OK); // [5 6 7 8 2]
    EXPECT_EQ(TakeLog(), (Texts{"Error: QORJob::SetStepFinish: step 7 is at the 3th place in job 4711's "
                                "ToDoStepList, mbIAmDead = false",
                                FinishLine(7)}));
    EXPECT_EQ(ReadFinished(*job.Get()), Split("5 4 3"));
    EXPECT_EQ(DrainTodo(*job.Get()), Split("6 7 8 2"));
}

TEST_F(StepRun, ReportsTheFinishOfAStepThatIsQueuedNoMore)
{
    bool bWas = false;
    const JobPtr job = NewJob();
    const QORJobStep& step = Add(*job.Get(), 3);
    Queue(*job.Get(), "10 4 2");
    const auto expectError = [&](int iStepId, const Texts& iErrors) {
        TakeLog();
        job->SetStepFinish(iStepId, 1, nullptr);
        EXPECT_EQ(TakeLog(), Join(iErrors, {FinishLine(iStepId)}));
    };
    expectError(5, {}); // nothing has finished yet
    expectError(3, {});
    Settings::SetClock(TimeOf(900));
    expectError(3, {});
    EXPECT_EQ(Read(step, &QORJobStep::GetFinishTime), TimeOf(900)) << "the newest finished step is stamped again";
    expectError(5, {LastLine(5, 3, false)});
    job->SetIAmDead(true, &bWas, StepSQLGeneration);
    expectError(5, {LastLine(5, 3, true)});
    expectError(10, {});
    expectError(3, {}); // a dead job's lost task comes late, and is expected to
    job->SetIAmDead(false, &bWas, StepSQLGeneration);
    expectError(3, {LastLine(3, 10, false)});
    EXPECT_EQ(DrainTodo(*job.Get()), Split("4 2"));
    expectError(3, {}); // with nothing queued nothing is amiss
}

TEST_F(StepRun, ProfilesEachStepOnce)
{
    PerfReadings::EnableProfiling(true);
    {
        const JobPtr job = NewJobWith("3 4 5 2");
        EventTrace::Start();
        job->SetStepStart(3, 1, nullptr);
        job->SetStepStart(3, 2, nullptr);
        job->SetStepFinish(3, 2, nullptr);
        job->SetStepStart(5, 1, nullptr); // never finished: the job's end frees its agent
        Settings::FailThreadTimes();
        job->SetStepStart(4, 1, nullptr);
        job->SetStepFinish(4, 1, nullptr);
        Settings::ReleaseThreadTimes();
        Texts calls = EventTrace::Stop();
        std::erase_if(calls, [](const std::string& iCall) { return iCall.find("Agent") == std::string::npos; });
        for (std::string& call : calls)
            call.resize(call.find(' '));
        EXPECT_EQ(calls, (Texts{"QPerfMon::CreateQORProfileAgent", "QPerfMon::StartProfileAgent",
                                "QPerfMon::EndProfileAgent", "QPerfMon::CreateQORProfileAgent"}));
    }
    const JobPtr job = NewJobWith("3 2");
    for (int nth = 1; nth <= 2; ++nth) // the agent, its place
    {
        Faults::FailNth(Faults::EnumFault::Allocation, nth);
        job->SetStepStart(3, 1, nullptr);
    }
    PerfReadings::EnableProfiling(false);
}
