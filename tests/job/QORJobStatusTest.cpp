// A job's status and flags: what a change counts, logs and refuses.
#include "job/QORJob.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/PerfReadings.h"
#include "tests/support/JobTest.h"

#include <algorithm>

namespace
{

class JobStatus : public JobTest
{
};

} // namespace

TEST_F(JobStatus, ThirteenFollowsEightOnly)
{
    for (int status = 0; status <= 21; ++status)
    {
        const JobPtr job = NewJobWith("", status);
        int old = -1;
        EXPECT_EQ(job->SetStatus(13, &old), status == 8 ? S_OK : S_FALSE) << status;
        EXPECT_EQ(old, status);
        EXPECT_EQ(mLog.Take(),
                  status == 8 ? Texts{"Job Trace: QORJob::SetStatus: Setting Job:4711 status to 13."} : Texts());
        EXPECT_EQ(job->SetStatus(13, nullptr), S_FALSE) << "nor itself";
        EXPECT_EQ(job->GetStatus(&old), S_OK);
        EXPECT_EQ(old, status == 8 ? 13 : status);
    }
}

TEST_F(JobStatus, TakesBackWhatTheFirstStartCountedOnce)
{
    for (const int type : {0, 1, 2, 5, 7})
    {
        const bool bReport = type == 1 || type == 5 || type == 7;
        for (const int status : {3, 4, 5, 6, 1})
        {
            PerfReadings::Reset();
            const JobPtr job = NewJob(type);
            job->SetStatus(status, nullptr);
            EXPECT_EQ(PerfReadings::GetCounter(1), 0) << "nothing was counted yet";
            job->SetStatus(0, nullptr);
            job->SetPUStart(1);
            EXPECT_EQ(PerfReadings::GetCounter(1), bReport ? 1 : 0);
            const bool bTakesBack = status == 3 || status == 4 || status == 6;
            for (int turn = 0; turn < 2; ++turn)
            {
                job->SetStatus(status, nullptr);
                EXPECT_EQ(PerfReadings::GetCounter(1), bReport && !bTakesBack ? 1 : 0) << type << " " << status;
            }
        }
    }
}

TEST_F(JobStatus, StampsItsChangeAndTheFinish)
{
    for (int status = 0; status <= 21; ++status)
    {
        const JobPtr job = NewJobWith("", 8);
        EventTrace::Start();
        job->SetStatus(status, nullptr);
        const Texts calls = EventTrace::Stop();
        const bool bFinishes = status == 3 || status == 4 || status == 6;
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "QDataType::DateTime::NowUTC"), bFinishes ? 2 : 1) << status;
    }
}

TEST_F(JobStatus, CountsAFailureWhenItComes)
{
    for (const int type : {0, 1, 2, 3})
    {
        PerfReadings::Reset();
        const JobPtr job = NewJob(type);
        for (const int status : {4, 4, 5, 6, 4})
            job->SetStatus(status, nullptr);
        EXPECT_EQ(PerfReadings::GetCounter(11), type == 0 ? 2 : 0);
        EXPECT_EQ(PerfReadings::GetCounter(13), type == 3 ? 2 : 0);
    }
}

TEST_F(JobStatus, KeepsTheRunningFlagAndLogsIt)
{
    const JobPtr job = NewJob();
    mLog.Take();
    bool bWas = true;
    EXPECT_EQ(job->SetRunning(true, &bWas), S_OK);
    EXPECT_FALSE(bWas);
    EXPECT_EQ(job->SetRunning(false, &bWas), S_OK);
    EXPECT_TRUE(bWas);
    EXPECT_EQ(mLog.Take(), (Texts{"Job Trace: QORJob::SetRunning: Job:4711 set to running.",
                                  "Job Trace: QORJob::SetRunning: Job:4711 set to not running."}));
}

TEST_F(JobStatus, KeepsWhereTheJobDied)
{
    const JobPtr job = NewJob();
    bool bDead = true;
    QORJobProcessingStep step = StepNoOp;
    EXPECT_EQ(job->SetIAmDead(true, nullptr, StepUpdateCache), E_POINTER);
    EXPECT_EQ(job->GetIAmDead(&bDead, &step), S_OK);
    EXPECT_FALSE(bDead);
    EXPECT_EQ(step, StepNoMore);
    EXPECT_EQ(job->SetIAmDead(true, &bDead, StepQueryExecution), S_OK);
    EXPECT_FALSE(bDead);
    EXPECT_EQ(job->GetIAmDead(&bDead, &step), S_OK);
    EXPECT_TRUE(bDead);
    EXPECT_EQ(step, StepQueryExecution);
    EXPECT_EQ(job->GetIAmDead(&bDead, nullptr), E_POINTER);
    EXPECT_EQ(job->GetIAmDead(nullptr, &step), E_POINTER);
}
