// Processing units: visits, priorities, the waiting time and pulses.
#include "job/QORJob.h"
#include "platform/QPerfMon.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/PerfReadings.h"
#include "tests/support/Fakes.h"
#include "tests/support/JobTest.h"

#include <algorithm>

namespace
{

class Units : public JobTest
{
protected:
    static int StatusOf(const QORJob& iJob)
    {
        int status = -1;
        EXPECT_EQ(iJob.GetStatus(&status), S_OK);
        return status;
    }

    static int UnitOf(const QORJob& iJob)
    {
        int unit = -2;
        EXPECT_EQ(iJob.GetPUId(&unit), S_OK);
        return unit;
    }
};

class Pulses : public JobTest
{
protected:
    Pulses() { PerfReadings::EnablePulses(true); }
    ~Pulses() override { PerfReadings::EnablePulses(false); }

    FakeProcessContext mContext;
};

std::int64_t CountStamps(const Texts& iCalls)
{
    return std::count(iCalls.begin(), iCalls.end(), "QDataType::DateTime::NowUTC");
}

} // namespace

TEST_F(Units, MakeAJobWaitAndExecuteUnlessItHasEnded)
{
    for (int status = 0; status <= 21; ++status)
    {
        const bool bEnded = status == 4 || status == 5 || status == 6;
        const JobPtr job = NewJobWith("3 2", status);
        EXPECT_EQ(job->SetPUEnter(7, W("unit"), 0), S_OK);
        EXPECT_EQ(StatusOf(*job.Get()), bEnded ? status : 2);
        EXPECT_EQ(UnitOf(*job.Get()), 7) << "the visit is noted in any state";
        SetStatus(*job.Get(), status);
        mLog.Take();
        EXPECT_EQ(job->SetPUStart(7), S_OK);
        EXPECT_EQ(StatusOf(*job.Get()), bEnded ? status : 1);
        EXPECT_EQ(mLog.Take(), Texts()) << "stored directly";
    }
}

TEST_F(Units, CountTheFirstStartOfAReportOnce)
{
    for (const int type : {0, 1, 2, 3, 5, 6, 7, 8})
    {
        const bool bReport = type == 1 || type == 5 || type == 7;
        PerfReadings::Reset();
        Settings::SetClock(TimeOf(1000));
        const JobPtr job = NewJob(type);
        SetStatus(*job.Get(), JobCancelled);
        job->SetPUStart(7);
        EXPECT_EQ(PerfReadings::GetCounter(1), 0) << "an ended job starts no more";
        SetStatus(*job.Get(), JobReady);
        Settings::SetClock(TimeOf(1234));
        job->SetPUStart(7); // no visit to that unit: it starts all the same
        Settings::SetClock(TimeOf(9999));
        job->SetPUStart(8);
        EXPECT_EQ(PerfReadings::GetCounter(0), bReport ? 234 : 0) << type;
        EXPECT_EQ(PerfReadings::GetCounter(1), bReport ? 1 : 0) << type;
        SetStatus(*job.Get(), JobStopped);
        SetStatus(*job.Get(), JobReady);
        job->SetPUStart(9);
        EXPECT_EQ(PerfReadings::GetCounter(1), 0) << "once in its life";
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
    EXPECT_EQ(job->GetPUId(nullptr), E_POINTER);
    job->SetPUEnter(7, nullptr, 0);
    EXPECT_EQ(job->GetPUId(&unit), E_FAIL);
    EXPECT_EQ(unit, -2);
    Queue(*job.Get(), "3 2");
    job->SetPUEnter(8, nullptr, 0);
    EXPECT_EQ(UnitOf(*job.Get()), 8);
    job->SetStepStart(3, 0, nullptr);
    EXPECT_EQ(UnitOf(*job.Get()), 8);
    job->SetStepStart(3, 4, nullptr);
    EXPECT_EQ(UnitOf(*job.Get()), 4);
    EXPECT_EQ(UnitOf(*NewJobWith("3").Get()), -1);
    EXPECT_EQ(UnitOf(*NewJobWith("3@0").Get()), 0);
    EXPECT_EQ(NewJobWith("-")->GetPUId(&unit), E_POINTER);
}

TEST_F(Units, LogAChangeOfPriorityOnly)
{
    const JobPtr job = NewJob();
    mLog.Take();
    int old = 0;
    for (const int priority : {5, 8, 8})
    {
        EXPECT_EQ(job->SetPriority(priority, &old), S_OK);
        EXPECT_EQ(job->SetPUPriority(priority), S_OK);
    }
    EXPECT_EQ(old, 8);
    EXPECT_EQ(mLog.Take(), (Texts{"Job Trace: QORJob::SetPUPriority: Changing Job:4711 priority to 8 from 5.",
                                  "Job Trace: QORJob::SetPUPriority: Changing Job:4711 PU priority to 8 from 5."}));
}

TEST_F(Units, NeverTellTheWaitingTime)
{
    Settings::SetClock(TimeOf(0));
    const JobPtr job = NewJobWith("3 2");
    unsigned waited = 77;
    EXPECT_EQ(job->GetWaitingTime(nullptr), E_POINTER);
    Settings::SetClock(TimeOf(3));
    EXPECT_EQ(job->GetWaitingTime(&waited), 30'000);
    Settings::SetClock(TimeOf(0) + QDataType::TimeSpan::FromTicks(0x3'8000'0001));
    EXPECT_EQ(job->GetWaitingTime(&waited), static_cast<HRESULT>(0x80000001)) << "the low half of the span";
    job->SetStepComplete();
    EXPECT_EQ(job->GetWaitingTime(&waited), S_OK);
    EXPECT_EQ(waited, 77u);
}

TEST_F(Pulses, AreTakenBetweenQueueAndUnit)
{
    const JobPtr job = NewJob();
    job->SetCurrentStepForStatistics(4);
    const double before = GetPulseTimeStamp();
    job->EnqueuePulse();
    const double between = GetPulseTimeStamp();
    job->DequeuePulse();
    mContext.mPulseValue = 33;
    job->SetProcessContext(&mContext);
    job->DequeuePulse();
    const std::vector<PerfReadings::Pulse> pulses = PerfReadings::TakePulses();
    ASSERT_EQ(pulses.size(), 2u);
    EXPECT_EQ(pulses[0].mValue, -1) << "without a context";
    EXPECT_EQ(pulses[1].mValue, 33);
    EXPECT_EQ(pulses[1].mJobId, cJobId);
    EXPECT_EQ(pulses[1].mCategory, 410);
    EXPECT_GE(pulses[1].mEnqueueTime, before);
    EXPECT_LE(pulses[1].mEnqueueTime, between);
    EXPECT_GE(pulses[1].mNow, between);
}

TEST_F(Pulses, EndWhereTheContextOrTheSwitchSaysSo)
{
    const JobPtr job = NewJob();
    job->SetProcessContext(&mContext);
    for (const HRESULT code : {E_FAIL, S_FALSE})
    {
        mContext.mPulseCode = code;
        job->DequeuePulse();
    }
    mContext.mPulseCode = S_OK;
    EventTrace::Start();
    PerfReadings::EnablePulses(false);
    job->DequeuePulse();
    EXPECT_EQ(EventTrace::Stop(), Texts());
    PerfReadings::EnablePulses(true);
    EXPECT_TRUE(PerfReadings::TakePulses().empty());
}

TEST_F(Pulses, KeepTheExceptionsOfTheContext)
{
    const JobPtr job = NewJob();
    job->SetProcessContext(&mContext);
    mLog.Take();
    mContext.mOnCall = [](const std::string&) { throw QBase::Message("no pulse"); };
    EXPECT_NO_THROW(job->DequeuePulse());
    mContext.mOnCall = nullptr;
    EXPECT_EQ(mLog.Take(), Texts{"Error: 8004308E QOR_JOB_EXCEPTION (DequeuePulse): DequeuePulse, 4711, no pulse"});
    EXPECT_TRUE(PerfReadings::TakePulses().empty());
}
