// What of the governor and of the close counters the model of a job doesn't tell: many threads, and no memory.
#include "job/JobMemGovernor.h"

#include "tests/support/JobTest.h"
#include "tests/support/OwnInitializerAway.h"

#include <limits>

namespace
{

using MemGovernor = JobTest;
using CloseCounters = JobTest;

constexpr std::uint64_t cMegabyte = 1 << 20;
constexpr std::uint64_t cMost = std::numeric_limits<std::uint64_t>::max();

bool IsGranted(JobMemGovernor& ioGovernor, std::uint64_t iBytes)
{
    QBase::wstring text;
    return ioGovernor.Request(iBytes, text) == S_OK;
}

} // namespace

TEST_F(MemGovernor, GrantsTheLimitToAllThreadsTogetherAndNotOneByteMore)
{
    constexpr int cThreads = 4;
    constexpr int cRequests = 5000;
    constexpr int cTooMany = 7;
    Builtin::LogSinks::Enable("Kernel", "*", false);
    const JobPtr job = NewJob();
    const auto governor = job->GetMemGovernor();
    governor->mLimitBytes = 2 * cThreads * cRequests - cTooMany;
    std::atomic<int> refused{0};
    RunOnThreads(cThreads, [&](int iThread) {
        job->SetUserID({static_cast<DWORD>(iThread), 0, 0, {}});
        for (int request = 0; request < cRequests; ++request)
        {
            if (IsGranted(*governor, 2) && IsGranted(*governor, 3))
                governor->Release(3);
            EXPECT_LE(governor->mUsedBytes, governor->mLimitBytes);
        }
        for (int request = 0; request < cRequests; ++request)
            refused += IsGranted(*governor, 2) ? 0 : 1;
    });
    EXPECT_GT(refused, 0);
    EXPECT_TRUE(IsGranted(*governor, 1)) << "the limit is odd";
    EXPECT_EQ(governor->mUsedBytes, governor->mLimitBytes);
    EXPECT_EQ(governor->mPeakBytes, governor->mLimitBytes);
    EXPECT_TRUE(job->GetGovernorCancelFlag());
    for (const int control : {1, 0, 1, 2})
        EXPECT_EQ(job->SetGovernedControl(control) == S_OK && job->ApplyGovernorOrNot(), control != 1) << control;
}

TEST_F(MemGovernor, RefusesThoughItCantSayWhy)
{
    JobMemGovernor governor(cJobId);
    governor.mLimitBytes = 1000;
    QBase::wstring text(QORJOB_W("of before"));
    Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, 1);
    EXPECT_EQ(governor.Request(1001, text), cMemoryRefused);
    EXPECT_TRUE(text.empty()) << "no memory for the reason";
    EXPECT_TRUE(governor.mbCancel);
    governor.mLimitBytes = cMost;
    EXPECT_TRUE(IsGranted(governor, 1000));
    EXPECT_FALSE(IsGranted(governor, cMost - 999));
    EXPECT_TRUE(IsGranted(governor, cMost - 1000)) << "to the last byte";
}

TEST(MemGovernorAlone, RefusesWhileNobodyLogs)
{
    const OwnInitializerAway away;
    JobMemGovernor governor(cJobId);
    governor.mLimitBytes = 1000;
    EXPECT_FALSE(IsGranted(governor, 1001));
}

TEST(MegabytesTest, AreRoundedToHundredths)
{
    const std::pair<std::uint64_t, const char*> sizes[] = {
        {0, "0.00"}, {5242, "0.00"}, {5243, "0.01"}, {cMegabyte - 1, "1.00"}, {cMost, "17592186044416.00"}};
    for (const auto& [bytes, expected] : sizes)
        EXPECT_STREQ(Megabytes(bytes).GetText(), expected);
}

TEST_F(CloseCounters, CountAJobWhoseContextThrows)
{
    FakeProcessContext context;
    Builtin::Settings::SetClock(TimeOf(0));
    const JobPtr job = NewJob(RequestReport);
    job->SetProcessContext(&context);
    Builtin::PerfReadings::Reset();
    Builtin::Settings::SetClock(TimeOf(250));
    context.mOnCall = [](const std::string&) { throw QBase::Message("a stranger's"); };
    EXPECT_EQ(job->UpdateJobCloseCounters(), S_OK);
    EXPECT_EQ(ReadCounters(), (Counters{{2, 1}, {8, 250}}));
    context.mOnCall = nullptr;
}
