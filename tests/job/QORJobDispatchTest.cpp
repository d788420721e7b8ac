// What dispatch does with entries that hold no step, and with a dead job when memory runs out.
#include "job/QORJobTask.h"
#include "record/QORJobInfo.h"
#include "tests/support/JobTest.h"

using Dispatch = JobTest;

TEST_F(Dispatch, PassesOverEntriesWithoutAStepAndStopsWhereOneIsInFront)
{
    int step = -2;
    const JobPtr ending = NewJobWith("5 - 5 4 2", JobStopped);
    EXPECT_EQ(ending->RemoveStep(StepAnalyticalProcessing), S_OK);
    EXPECT_EQ(ending->SetStepComplete(StepQueryExecution), S_OK);
    EXPECT_EQ(ending->GetCurrentStepIdToRun(&step, nullptr), S_OK);
    EXPECT_EQ(step, StepCloseJob);
    EXPECT_EQ(ending->GetCurrentStepId(&step, nullptr), S_OK);
    EXPECT_EQ(step, StepCloseJob);

    step = -2;
    bool bExecuting = false;
    QORJobTask task(nullptr);
    const JobPtr hollow = NewJobWith("- 2");
    hollow->SetStepStart(StepNoMore, 0, &task);
    TakeLog();
    EXPECT_EQ(hollow->GetCurrentStepId(&step, nullptr), E_POINTER);
    EXPECT_EQ(TakeLog(), Texts{"Error: QORJob::GetCurrentStepId: Job:4711 has error 0x80004003 getting id of a step "
                               "in to do list"});
    for (const bool bRunning : {false, true})
    {
        hollow->SetRunning(bRunning, nullptr);
        EXPECT_EQ(hollow->GetCurrentStepIdToRun(&step, nullptr), E_POINTER);
    }
    EXPECT_EQ(hollow->IsExecuting(&bExecuting, &step, nullptr, nullptr, nullptr), E_POINTER);
    EXPECT_EQ(hollow->IsExecuting(&bExecuting, nullptr, nullptr, nullptr, nullptr), S_OK);
    step = -2;
    EXPECT_EQ(hollow->GetPUId(&step), E_POINTER);
    EXPECT_EQ(hollow->SetStepComplete(), E_POINTER);
    EXPECT_EQ(hollow->RenewCurrentStep(), S_OK);
    EXPECT_EQ(hollow->AddStep(nullptr, nullptr), E_POINTER);
    hollow->SetStatus(JobStopped, nullptr);
    EXPECT_EQ(hollow->GetCurrentStepIdToRun(&step, nullptr), E_POINTER) << "it runs, though its front can't be read";
    EXPECT_EQ(step, -2);

    const JobPtr caughtUp = NewJobWith("- 3 2");
    EXPECT_EQ(caughtUp->SetStepFinish(StepSQLGeneration, 1, nullptr), S_OK);
    EXPECT_EQ(caughtUp->GetCurrentStepIdToRun(&step, nullptr), S_OK) << "an entry without a step has finished, too";
    EXPECT_EQ(step, StepCloseJob);
    step = -2;

    bool bWas = false;
    const JobPtr dead = NewJobWith("3@7 5 - 10 2");
    dead->SetRunning(true, nullptr);
    dead->SetIAmDead(true, &bWas, StepSQLGeneration);
    EXPECT_EQ(dead->GetCurrentStepIdToRun(&step, nullptr), S_FALSE);
    EXPECT_EQ(step, -2);
    QORJobInfo info;
    EXPECT_EQ(dead->GetJobInfo(&info), S_OK);
    EXPECT_EQ(info.mTodoCount, 2) << "the entry without a step isn't shown";
    EXPECT_EQ(info.mFinishedCount, 1) << "the lost step";
}

TEST_F(Dispatch, TellsToCloseADeadJobThatHasNoClosingStepButGivesACancelledOneNone)
{
    for (const int status : {JobStoppedWithError, JobCancelled})
    {
        int step = -2;
        bool bWas = false;
        const JobPtr job = NewJobWith("26@7", status);
        job->SetRunning(true, nullptr);
        job->SetIAmDead(true, &bWas, StepDelivery);
        EXPECT_EQ(job->GetCurrentStepIdToRun(&step, nullptr), S_OK);
        EXPECT_EQ(step, StepCloseJob);
        EXPECT_EQ(TodoOf(*job.Get()), status == JobCancelled ? Texts() : Texts{"2"});
    }
}
