// A job's status and flags, and its processing units: what a change counts, stamps, logs and refuses.
#include "platform/QPerfMon.h"
#include "tests/support/JobTest.h"

using JobStatus = JobTest;
using Units = JobTest;

TEST_F(JobStatus, ThirteenFollowsEightOnly)
{
    for (int status = 0; status <= 21; ++status)
    {
        const JobPtr job = NewJobWith("", status);
        int old = -1;
        EventTrace::Start();
        EXPECT_EQ(job->SetStatus(13, &old), status == 8 ? S_OK : S_FALSE) << status;
        EXPECT_EQ(CountStamps(EventTrace::Stop()), status == 8 ? 1 : 0);
        EXPECT_EQ(old, status);
        EXPECT_EQ(TakeLog(),
                  status == 8 ? Texts{"Job Trace: QORJob::SetStatus: Setting Job:4711 status to 13."} : Texts());
        EXPECT_EQ(job->SetStatus(13, nullptr), S_FALSE) << "nor itself";
        EXPECT_EQ(Read(*job.Get(), &QORJob::GetStatus), status == 8 ? 13 : status);
    }
}

TEST_F(JobStatus, CountsWhatEndsAndStampsTheFinish)
{
    for (const int type : {0, 1, 2, 3, 5, 7})
        for (const int status : {3, 4, 5, 6, 1})
        {
            const int counted = type == 1 || type == 5 || type == 7 ? 1 : 0;
            const int left = status == 1 || status == 5 ? counted : 0;
            PerfReadings::Reset();
            const JobPtr job = NewJob(type);
            SetStatus(*job.Get(), status);
            EXPECT_EQ(PerfReadings::GetCounter(1), 0) << "nothing was counted yet";
            SetStatus(*job.Get(), 0);
            job->SetPUStart(1);
            EXPECT_EQ(PerfReadings::GetCounter(1), counted);
            for (int turn = 0; turn < 2; ++turn)
            {
                EventTrace::Start();
                SetStatus(*job.Get(), status);
                EXPECT_EQ(CountStamps(EventTrace::Stop()), status == 3 || status == 4 || status == 6 ? 2 : 1);
                EXPECT_EQ(PerfReadings::GetCounter(1), left) << type;
            }
            job->SetPUStart(2);
            EXPECT_EQ(PerfReadings::GetCounter(1), left) << "once in its life";
            // A failure counts each time that it comes anew, what else ends a job doesn't.
            SetStatus(*job.Get(), 1);
            SetStatus(*job.Get(), 4);
            const int failures = status == 4 ? 3 : 1;
            EXPECT_EQ(PerfReadings::GetCounter(11), type == 0 ? failures : 0);
            EXPECT_EQ(PerfReadings::GetCounter(13), type == 3 ? failures : 0);
        }
}

TEST_F(Units, MakeAJobWaitAndExecuteUnlessItHasEnded)
{
    for (int status = 0; status <= 21; ++status)
    {
        const bool bEnded = status == 4 || status == 5 || status == 6;
        const JobPtr job = NewJobWith("3 2", status);
        EXPECT_EQ(job->SetPUEnter(7, W("unit"), 0), S_OK);
        EXPECT_EQ(Read(*job.Get(), &QORJob::GetStatus), bEnded ? status : 2);
        EXPECT_EQ(Read(*job.Get(), &QORJob::GetPUId), 7) << "the visit is noted in any state";
        SetStatus(*job.Get(), status);
        TakeLog();
        EXPECT_EQ(job->SetPUStart(7), S_OK);
        EXPECT_EQ(Read(*job.Get(), &QORJob::GetStatus), bEnded ? status : 1);
        EXPECT_EQ(TakeLog(), Texts()) << "stored directly";
    }
}

TEST_F(Units, CountTheWaitForTheFirstStartOfAReport)
{
    for (const int type : {0, 1, 2, 5, 7, 8})
    {
        PerfReadings::Reset();
        Settings::SetClock(TimeOf(1000));
        const JobPtr job = NewJob(type);
        // An ended job starts no more, a second start waits no more; the job needn't have visited the unit.
        const std::pair<int, int> cStarts[] = {{5, 1200}, {0, 1234}, {0, 9999}};
        for (const auto& [status, time] : cStarts)
        {
            SetStatus(*job.Get(), status);
            Settings::SetClock(TimeOf(time));
            job->SetPUStart(7);
        }
        EXPECT_EQ(PerfReadings::GetCounter(0), type == 1 || type == 5 || type == 7 ? 234 : 0) << type;
    }
}

TEST_F(Units, StampVisitsThatTheyFind)
{
    const JobPtr job = NewJob();
    for (const int unit : {3, 5, 3})
        job->SetPUEnter(unit, nullptr, 0);
    SetStatus(*job.Get(), JobCancelled); // its changes take no stamp then
    const std::pair<int, int> cStamps[] = {{3, 1}, {5, 1}, {4, 0}};
    for (const auto& [unit, stamps] : cStamps)
    {
        EventTrace::Start();
        EXPECT_EQ(job->SetPUExit(unit, nullptr), S_OK);
        EXPECT_EQ(CountStamps(EventTrace::Stop()), stamps);
        EventTrace::Start();
        EXPECT_EQ(job->SetPUStart(unit), S_OK);
        EXPECT_EQ(CountStamps(EventTrace::Stop()), stamps);
    }
}

TEST_F(Units, TellWhereTheJobIs)
{
    const JobPtr job = NewJob();
    int unit = -2;
    job->SetPUEnter(7, nullptr, 0);
    EXPECT_EQ(job->GetPUId(&unit), E_FAIL);
    EXPECT_EQ(NewJobWith("-")->GetPUId(&unit), E_POINTER);
    EXPECT_EQ(unit, -2);
    Queue(*job.Get(), "3 2");
    job->SetPUEnter(8, nullptr, 0);
    job->SetStepStart(3, 0, nullptr);
    EXPECT_EQ(Read(*job.Get(), &QORJob::GetPUId), 8);
    job->SetStepStart(3, 4, nullptr);
    EXPECT_EQ(Read(*job.Get(), &QORJob::GetPUId), 4);
    EXPECT_EQ(Read(*NewJobWith("3").Get(), &QORJob::GetPUId), -1);
}

TEST_F(Units, NeverTellTheWaitingTime)
{
    Settings::SetClock(TimeOf(0));
    const JobPtr job = NewJobWith("3 2");
    unsigned waited = 77;
    Settings::SetClock(TimeOf(3));
    EXPECT_EQ(job->GetWaitingTime(&waited), 30'000);
    Settings::SetClock(TimeOf(0) + QDataType::TimeSpan::FromTicks(0x3'8000'0001));
    EXPECT_EQ(job->GetWaitingTime(&waited), static_cast<HRESULT>(0x80000001)) << "the low half of the span";
    job->SetStepComplete();
    EXPECT_EQ(job->GetWaitingTime(&waited), S_OK);
    EXPECT_EQ(waited, 77u);
}

TEST_F(Units, TakePulsesUnlessTheContextOrTheSwitchSaysNo)
{
    FakeProcessContext context;
    const JobPtr job = NewJob();
    job->DequeuePulse(); // they are off
    PerfReadings::EnablePulses(true);
    job->SetCurrentStepForStatistics(4);
    const double before = GetPulseTimeStamp();
    job->EnqueuePulse();
    const double between = GetPulseTimeStamp();
    job->DequeuePulse();
    context.mPulseValue = 33;
    job->SetProcessContext(&context);
    for (const HRESULT code : {S_OK, E_FAIL, S_FALSE})
    {
        context.mPulseCode = code;
        job->DequeuePulse();
    }
    const std::vector<PerfReadings::Pulse> pulses = PerfReadings::TakePulses();
    PerfReadings::EnablePulses(false);
    ASSERT_EQ(pulses.size(), 2u);
    EXPECT_EQ(pulses[0].mValue, -1) << "without a context";
    EXPECT_TRUE(pulses[1].mValue == 33 && pulses[1].mJobId == cJobId && pulses[1].mCategory == 410);
    EXPECT_TRUE(before <= pulses[1].mEnqueueTime && pulses[1].mEnqueueTime <= between && between <= pulses[1].mNow);
}
