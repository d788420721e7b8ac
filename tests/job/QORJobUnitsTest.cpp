// When the pulses of a job's way through processing units are taken.
#include "platform/QPerfMon.h"
#include "tests/support/JobTest.h"

using Units = JobTest;

TEST_F(Units, TakePulsesUnlessTheContextOrTheSwitchSaysNo)
{
    FakeProcessContext context;
    const JobPtr job = NewJob();
    job->DequeuePulse(); // they are off
    Builtin::PerfReadings::EnablePulses(true);
    job->SetCurrentStepForStatistics(4);
    const double before = GetPulseTimeStamp();
    job->EnqueuePulse();
    const double between = GetPulseTimeStamp();
    job->DequeuePulse();
    context.mPulseValue = 33;
    job->SetProcessContext(&context);
    double asked = 0;
    context.mOnCall = [&](const std::string&) {
        const double begun = GetPulseTimeStamp();
        EXPECT_TRUE(WaitFor([&] { return GetPulseTimeStamp() > begun; }));
        asked = asked == 0 ? GetPulseTimeStamp() : asked;
    };
    for (const HRESULT code : {S_OK, E_FAIL, S_FALSE})
    {
        context.mPulseCode = code;
        job->DequeuePulse();
    }
    context.mOnCall = nullptr;
    const std::vector<Builtin::PerfReadings::Pulse> pulses = Builtin::PerfReadings::TakePulses();
    Builtin::PerfReadings::EnablePulses(false);
    ASSERT_EQ(pulses.size(), 2u);
    EXPECT_EQ(pulses[0].mValue, -1) << "without a context";
    EXPECT_TRUE(pulses[1].mValue == 33 && pulses[1].mJobId == cJobId && pulses[1].mCategory == 410);
    EXPECT_TRUE(before <= pulses[1].mEnqueueTime && pulses[1].mEnqueueTime <= between && between <= pulses[1].mNow);
    EXPECT_LT(pulses[1].mNow, asked) << "it ends before the context is asked";
}
