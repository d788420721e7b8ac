// A step's start and finish: what they note, what the context is told, and what happens out of order.
#include "job/QORJob.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/PerfReadings.h"
#include "task/QORJobTask.h"
#include "tests/support/Fakes.h"
#include "tests/support/JobTest.h"

#include <algorithm>

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

    static bool IsInWarehouse(const QORJob& iJob)
    {
        bool bInWarehouse = false;
        EXPECT_EQ(iJob.GetIsExecutingInWarehouse(&bInWarehouse), S_OK);
        return bInWarehouse;
    }

    FakeProcessContext mContext;
    QORJobTask mTask{nullptr};
};

std::string StartLine(int iStepId, int iUnit)
{
    return "Job Trace: QORJob::SetStepStart: Job:4711 starting step:" + std::to_string(iStepId) +
           " in PU:" + std::to_string(iUnit) + ".";
}

std::string FinishLine(int iStepId)
{
    return "Job Trace: QORJob::SetStepFinish: Job:4711 completed step:" + std::to_string(iStepId) + ".";
}

std::string PlaceLine(int iStepId, int iPlace)
{
    return "Error: QORJob::SetStepFinish: step " + std::to_string(iStepId) + " is at the " + std::to_string(iPlace) +
           "th place in job 4711's ToDoStepList, mbIAmDead = false";
}

std::string LastLine(int iStepId, int iLastStepId, bool ibDead)
{
    return "Error: QORJob::SetStepFinish: job 4711, iStepId = " + std::to_string(iStepId) +
           ", lastFinishedStepId = " + std::to_string(iLastStepId) + ", mbIAmDead = " + (ibDead ? "true" : "false");
}

} // namespace

TEST_F(StepRun, NotesWhoStartedTheStepAndWhen)
{
    const JobPtr job = NewJob();
    job->SetPUPriority(9);
    const QORJobStep& other = Add(*job.Get(), 3);
    const QORJobStep& step = Add(*job.Get(), 5);
    const QORJobStep& second = Add(*job.Get(), 5);
    mLog.Take();
    Settings::SetClock(TimeOf(100));
    Settings::SetThreadTimes(1000, 5000);
    EXPECT_EQ(job->SetStepStart(5, 7, &mTask), S_OK);
    EXPECT_EQ(mLog.Take(), Texts{StartLine(5, 7)});
    int number = -1;
    DWORD thread = 0;
    EXPECT_EQ(StartTimeOf(step), TimeOf(100));
    step.GetPUId(&number);
    EXPECT_EQ(number, 7);
    step.GetPUPriority(&number);
    EXPECT_EQ(number, 9);
    step.GetThreadId(&thread);
    EXPECT_EQ(thread, QBase::GetCurrentThreadID());
    EXPECT_EQ(StartTimeOf(other), QDataType::DateTime(0.0));
    EXPECT_EQ(StartTimeOf(second), QDataType::DateTime(0.0));

    Settings::SetClock(TimeOf(250));
    Settings::SetThreadTimes(1040, 5002);
    EXPECT_EQ(job->SetStepComplete(3), S_OK);
    EXPECT_EQ(job->SetStepFinish(5, 7, &mTask), S_OK);
    EXPECT_EQ(FinishTimeOf(step), TimeOf(250));
    double used = 0;
    step.GetTaskCPUTime(&used);
    EXPECT_EQ(used, 42);
    EXPECT_EQ(FinishTimeOf(other), QDataType::DateTime(0.0)) << "completing a step is no finish";
    EXPECT_EQ(ReadFinished(*job.Get()), Split("5 3"));
}

TEST_F(StepRun, OfAStepThatIsNotQueuedOnlyTakesTheTask)
{
    const JobPtr job = NewJobWith("3 40 2");
    job->SetProcessContext(&mContext);
    mContext.mCalls.clear();
    job->SetIsExecutingInWarehouse(true);
    for (const int id : {0, 40, -1, 39, 4})
    {
        mLog.Take();
        EXPECT_EQ(job->SetStepStart(id, 7, &mTask), S_OK);
        EXPECT_EQ(mLog.Take(), Texts{StartLine(id, 7)});
        EXPECT_EQ(job->SetStepFinish(id == 4 ? 0 : id, 0, &mTask), S_OK) << "the task was taken";
        EXPECT_TRUE(IsInWarehouse(*job.Get()));
    }
    EXPECT_EQ(mContext.mCalls, Texts());
    EXPECT_EQ(DrainTodo(*job.Get()), Split("3 40 2"));
}

TEST_F(StepRun, TellsTheContextOfQueriesAndChapters)
{
    const JobPtr job = NewJob();
    job->SetPUPriority(6);
    Queue(*job.Get(), "4");
    Add(*job.Get(), 39).SetChapterKey(W("chapter"));
    Queue(*job.Get(), "5 2");
    mLog.Take();

    job->SetStepStart(4, 1, nullptr);
    EXPECT_EQ(mLog.Take(), (Texts{"Error: QORJob::SetStepStart: mProcessContext == NULL.", StartLine(4, 1)}));
    EXPECT_TRUE(IsInWarehouse(*job.Get()));
    job->SetStepStart(4, 0, nullptr);
    EXPECT_FALSE(IsInWarehouse(*job.Get()));

    job->SetProcessContext(&mContext);
    mContext.mCalls.clear();
    job->SetStepStart(4, 0, nullptr);
    EXPECT_EQ(mContext.mCalls, Texts());
    job->SetStepStart(4, 1, nullptr);
    EXPECT_EQ(mContext.mCalls, Texts{"put_LimitB 6"});
    EXPECT_TRUE(IsInWarehouse(*job.Get()));

    mContext.mCalls.clear();
    job->SetStepStart(39, 0, nullptr);
    EXPECT_EQ(mContext.mCalls, Texts());
    EXPECT_FALSE(IsInWarehouse(*job.Get()));
    job->SetStepStart(39, 1, nullptr);
    job->SetStepFinish(39, 0, nullptr);
    EXPECT_EQ(mContext.mCalls, Texts{"put_BstrE 'chapter'"});
    job->SetStepFinish(39, 1, nullptr);
    EXPECT_EQ(mContext.mCalls, (Texts{"put_BstrE 'chapter'", "put_BstrE ''"}));
}

TEST_F(StepRun, KeepsTheLockFreeWhenTheContextThrows)
{
    const JobPtr job = NewJobWith("4 2");
    job->SetProcessContext(&mContext);
    mLog.Take();
    mContext.mOnCall = [](const std::string&) { throw QBase::Message("no room"); };
    EXPECT_EQ(job->SetStepStart(4, 1, &mTask), static_cast<HRESULT>(0x8004308B));
    mContext.mOnCall = nullptr;
    EXPECT_EQ(mLog.Take(), Texts{"Error: 8004308E QOR_JOB_EXCEPTION (SetStepStart): SetStepStart, 4711, no room"});
    EXPECT_EQ(job->SetStepFinish(4, 1, &mTask), S_OK);
}

TEST_F(StepRun, AnswersWhetherTheTaskWasTheExecutingOne)
{
    const JobPtr job = NewJobWith("3 4 5 2");
    QORJobTask other(nullptr);
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
    Queue(*job.Get(), "5 6 7 2");
    Settings::SetClock(TimeOf(1));
    mLog.Take();
    EXPECT_EQ(job->SetStepFinish(4, 1, nullptr), S_OK);
    EXPECT_EQ(mLog.Take(), Texts{FinishLine(4)});
    EXPECT_EQ(FinishTimeOf(first), QDataType::DateTime(0.0));
    EXPECT_EQ(FinishTimeOf(second), TimeOf(1));

    EXPECT_EQ(job->SetStepFinish(7, 1, nullptr), S_OK); // [5 6 7 2]
    EXPECT_EQ(mLog.Take(), (Texts{PlaceLine(7, 3), FinishLine(7)}));
    EXPECT_EQ(ReadFinished(*job.Get()), Split("5 4 3"));
    EXPECT_EQ(DrainTodo(*job.Get()), Split("6 7 2"));

    const JobPtr longer = NewJobWith("3 4 5 6 2");
    longer->SetStepFinish(2, 1, nullptr);
    EXPECT_EQ(mLog.Take(), (Texts{PlaceLine(2, 5), FinishLine(2)}));
    EXPECT_EQ(DrainTodo(*longer.Get()), Split("4 5 6 2"));
}

TEST_F(StepRun, ReportsTheFinishOfAStepThatIsQueuedNoMore)
{
    bool bWas = false;
    const JobPtr job = NewJob();
    const QORJobStep& step = Add(*job.Get(), 3);
    Queue(*job.Get(), "10 4 2");
    mLog.Take();
    job->SetStepFinish(5, 1, nullptr);
    EXPECT_EQ(mLog.Take(), Texts{FinishLine(5)}) << "nothing has finished yet";

    job->SetStepFinish(3, 1, nullptr);
    Settings::SetClock(TimeOf(900));
    mLog.Take();
    job->SetStepFinish(3, 1, nullptr);
    EXPECT_EQ(mLog.Take(), Texts{FinishLine(3)});
    EXPECT_EQ(FinishTimeOf(step), TimeOf(900)) << "the newest finished step is stamped again";
    job->SetStepFinish(5, 1, nullptr);
    EXPECT_EQ(mLog.Take(), (Texts{LastLine(5, 3, false), FinishLine(5)}));

    job->SetIAmDead(true, &bWas, StepSQLGeneration);
    job->SetStepFinish(5, 1, nullptr);
    EXPECT_EQ(mLog.Take(), (Texts{LastLine(5, 3, true), FinishLine(5)}));
    job->SetStepFinish(10, 1, nullptr);
    mLog.Take();
    job->SetStepFinish(3, 1, nullptr);
    EXPECT_EQ(mLog.Take(), Texts{FinishLine(3)}) << "a dead job's lost task comes late, and is expected to";
    job->SetIAmDead(false, &bWas, StepSQLGeneration);
    job->SetStepFinish(3, 1, nullptr);
    EXPECT_EQ(mLog.Take(), (Texts{LastLine(3, 10, false), FinishLine(3)}));
    EXPECT_EQ(DrainTodo(*job.Get()), Split("4 2"));
    job->SetStepFinish(3, 1, nullptr);
    EXPECT_EQ(mLog.Take(), Texts{FinishLine(3)}) << "with nothing queued nothing is amiss";
}

TEST_F(StepRun, LeavesTheListsOfAPausingJobAlone)
{
    const JobPtr job = NewJobWith("39 2", JobPausing);
    job->SetProcessContext(&mContext);
    EXPECT_TRUE(job->IsStepPausing());
    job->SetStepStart(39, 1, &mTask);
    mLog.Take();
    mContext.mCalls.clear();
    QORJobTask other(nullptr);
    EXPECT_EQ(job->SetStepFinish(39, 1, &other), S_OK) << "a pausing job answers 0 whatever the task";
    EXPECT_EQ(job->SetStepFinish(39, 1, &mTask), S_OK);
    EXPECT_EQ(mLog.Take(), Texts());
    EXPECT_EQ(mContext.mCalls, (Texts{"put_BstrE ''", "put_BstrE ''"}));
    SetStatus(*job.Get(), JobExecuting);
    EXPECT_FALSE(job->IsStepPausing());
    EXPECT_EQ(job->SetStepFinish(0, 0, &mTask), S_FALSE) << "the task was cleared while the job paused";
    EXPECT_EQ(DrainTodo(*job.Get()), Split("39 2"));
}

TEST_F(StepRun, ProfilesEachStepOnce)
{
    const auto count = [](const Texts& iCalls, const std::string& iCall) {
        return std::count_if(iCalls.begin(), iCalls.end(),
                             [&](const std::string& iText) { return iText.find(iCall) == 0; });
    };
    PerfReadings::EnableProfiling(true);
    const JobPtr job = NewJobWith("3 4 5 2");
    EventTrace::Start();
    job->SetStepStart(3, 1, nullptr);
    job->SetStepStart(3, 2, nullptr);
    job->SetStepFinish(3, 2, nullptr);
    job->SetStepStart(5, 1, nullptr); // never finished: the job's end frees its agent
    Settings::FailThreadTimes();
    job->SetStepStart(4, 1, nullptr);
    const Texts calls = EventTrace::Stop();
    PerfReadings::EnableProfiling(false);
    EXPECT_EQ(count(calls, "QPerfMon::CreateQORProfileAgent"), 2);
    EXPECT_EQ(count(calls, "QPerfMon::StartProfileAgent"), 1);
    EXPECT_EQ(count(calls, "QPerfMon::EndProfileAgent"), 1);

    EventTrace::Start();
    job->SetStepFinish(4, 1, nullptr);
    EXPECT_EQ(count(EventTrace::Stop(), "QPerfMon::EndProfileAgent"), 0);
}

TEST_F(StepRun, LosesNoProfileAgentWhenMemoryRunsOut)
{
    PerfReadings::EnableProfiling(true);
    for (int nth = 1; nth <= 2; ++nth)
    {
        const JobPtr job = NewJobWith("3 2");
        Faults::FailNth(Faults::EnumFault::Allocation, nth);
        job->SetStepStart(3, 1, nullptr);
        Faults::FailNth(Faults::EnumFault::Allocation, 0);
        EXPECT_EQ(job->SetStepFinish(3, 1, nullptr), S_OK);
    }
    PerfReadings::EnableProfiling(false);
}
