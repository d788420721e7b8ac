// A job's way through processing units: which visit is stamped when, what its priorities log, when pulses are taken.
#include "platform/QPerfMon.h"
#include "report/QORJobInfo.h"
#include "tests/support/JobTest.h"

namespace
{

using UnitVisits = JobTest;

QORJobInfo* Take(const QORJob& iJob, QORJobInfo& oInfo)
{
    EXPECT_EQ(iJob.GetJobInfo(&oInfo), S_OK);
    return &oInfo;
}

/// "3: 1 2 -", newest first: the unit, and the milliseconds since TimeOf(0) of entry, start and exit.
Texts VisitsIn(const QORJobInfo& iInfo)
{
    Texts visits;
    for (std::size_t visit = 0; visit < static_cast<std::size_t>(iInfo.mPUCount); ++visit)
    {
        const QORJobPUInfo& record = iInfo.mPUInfos[visit];
        visits.push_back(std::to_string(Read(record, &QORJobPUInfo::GetId)) + ":");
        for (const auto get : {&QORJobPUInfo::GetEnterTime, &QORJobPUInfo::GetStartTime, &QORJobPUInfo::GetExitTime})
        {
            const QDataType::DateTime time = Read<QDataType::DateTime>(record, get);
            visits.back() += time == QDataType::DateTime(0.0)
                                 ? " -"
                                 : " " + std::to_string((time - TimeOf(0)).GetTotalMilliseconds());
        }
    }
    return visits;
}

} // namespace

TEST_F(UnitVisits, AreStampedTheNewestAtTheStartAndTheOldestAtTheExit)
{
    for (const int status : {0, 3, 4, 5, 6, 20})
    {
        const bool bEnded = status >= JobStoppedWithError && status <= JobStopped;
        Settings::SetClock(TimeOf(0));
        const JobPtr job = NewJobWith("", status);
        int time = 0;
        for (const auto& [operation, unit] :
             {std::pair('E', 3), {'E', 5}, {'E', 3}, {'S', 3}, {'X', 3}, {'S', 5}, {'X', 5}, {'S', 4}, {'X', 4}})
        {
            QORJobInfo before;
            QORJobInfo after;
            Take(*job.Get(), before);
            Settings::SetClock(TimeOf(++time));
            EXPECT_EQ(operation == 'E'   ? job->SetPUEnter(unit, W("unit"), 0)
                      : operation == 'S' ? job->SetPUStart(unit)
                                         : job->SetPUExit(unit, W("unit")),
                      S_OK);
            Take(*job.Get(), after);
            const bool bChanged = !bEnded && operation != 'X';
            EXPECT_EQ(after.mStatus, !bChanged          ? before.mStatus
                                     : operation == 'E' ? int{JobWaiting}
                                                        : int{JobExecuting});
            EXPECT_EQ(after.mStatusTime, bChanged ? TimeOf(time) : before.mStatusTime);
            EXPECT_EQ(after.mFinishTime, before.mFinishTime);
            EXPECT_TRUE(operation == 'E' || after.mPUCount == 3 || time < 4);
        }
        QORJobInfo info;
        EXPECT_EQ(VisitsIn(*Take(*job.Get(), info)), (Texts{"3: 3 4 -", "5: 2 6 7", "3: 1 - 5"}));
    }
}

TEST_F(UnitVisits, LogNewPrioritiesBothUnderOneName)
{
    const JobPtr job = NewJob();
    int old = 0;
    TakeLog();
    for (int time = 0; time < 2; ++time) // the same one again is no news
    {
        EXPECT_EQ(job->SetPriority(8, &old), S_OK);
        EXPECT_EQ(old, time == 0 ? cJobPriority : 8);
        EXPECT_EQ(job->SetPUPriority(9), S_OK);
    }
    EXPECT_EQ(TakeLog(), (Texts{"Job Trace: QORJob::SetPUPriority: Changing Job:4711 priority to 8 from 5.",
                                "Job Trace: QORJob::SetPUPriority: Changing Job:4711 PU priority to 9 from 5."}));
}

TEST_F(UnitVisits, EndInAPulseThatIsTakenBeforeTheContextIsAsked)
{
    FakeProcessContext context;
    const JobPtr job = NewJob();
    job->SetProcessContext(&context);
    PerfReadings::EnablePulses(true);
    double asked = 0;
    context.mOnCall = [&](const std::string&) {
        const double begun = GetPulseTimeStamp();
        EXPECT_TRUE(WaitFor([&] { return (asked = GetPulseTimeStamp()) > begun; }));
    };
    job->DequeuePulse();
    PerfReadings::EnablePulses(false);
    EXPECT_LT(PerfReadings::TakePulses().at(0).mNow, asked);
    context.mOnCall = nullptr;
}
