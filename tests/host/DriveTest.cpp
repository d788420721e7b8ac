#include "tests/host/HostTest.h"

using namespace HostTest;

TEST(HostDrive, RunsAJobThroughItsUnits)
{
    Journal journal;
    QORHost host({.mUnits = {{.mId = 1}, {.mId = 2}},
                  .mSteps = {{.mStepId = cFirst, .mUnit = 1, .mRun = [&](QORHostRun&) { journal.Add("first"); }},
                             {.mStepId = cSecond, .mUnit = 2, .mRun = [&](QORHostRun&) { journal.Add("second"); }}}});
    const auto [result, job] = host.Submit(MakeJob(7, {cFirst, cSecond, StepCloseJob}),
                                           {.mOnEnd = [&](const QORHostJob&, QORJob&) { journal.Add("end"); }});
    ASSERT_EQ(result, EnumHostSubmit::Accepted);
    EXPECT_TRUE(job.WaitFor(cLong));
    EXPECT_TRUE(host.Drain(cLong));
    EXPECT_EQ(job.GetStatus(), JobCompleted);
    EXPECT_EQ(journal.Get(), (std::vector<std::string>{"first", "second", "end"}));
    QORJobInfo info;
    EXPECT_EQ(job.GetSnapshot(info), S_OK);
    EXPECT_EQ(info.mFinishedCount, 3);
    EXPECT_EQ(info.mPUCount, 2);
}
