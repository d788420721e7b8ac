// What the governor grants and refuses, what it says about that, and the counters of a job's close.
#include "job/JobMemGovernor.h"

#include "tests/support/JobTest.h"

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

TEST_F(MemGovernor, KeepsItsPeakNeverOwesAndRefusesThoughItCantSayWhy)
{
    JobMemGovernor governor(cJobId);
    governor.mLimitBytes = 1000;
    EXPECT_TRUE(IsGranted(governor, 900));
    governor.Release(700);
    EXPECT_TRUE(IsGranted(governor, 300));
    EXPECT_EQ(governor.mUsedBytes, 500u);
    EXPECT_EQ(governor.mPeakBytes, 900u);
    governor.Release(501);
    EXPECT_TRUE(IsGranted(governor, 1000)) << "nothing is owed, and the limit itself is no hit";
    EXPECT_FALSE(governor.mbCancel);
    QBase::wstring text(QORJOB_W("of before"));
    Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, 1);
    EXPECT_EQ(governor.Request(cMost, text), cMemoryRefused) << "the sum overflows";
    EXPECT_TRUE(text.empty()) << "no memory for the reason";
    EXPECT_TRUE(governor.mbCancel);
    governor.mLimitBytes = cMost;
    EXPECT_FALSE(IsGranted(governor, cMost - 999));
    EXPECT_TRUE(IsGranted(governor, cMost - 1000)) << "to the last byte";
}

TEST_F(MemGovernor, SaysWhatItRefusesAndHowMuchIsLeft)
{
    JobMemGovernor governor(cJobId);
    governor.mUserGuid = {0x12345678, 0x9ABC, 0xDEF0, {1, 2, 3, 4, 5, 6, 7, 8}};
    governor.mLimitBytes = 100 * cMegabyte;
    QBase::wstring text;
    ASSERT_EQ(governor.Request(99 * cMegabyte + cMegabyte / 2, text), S_OK);
    EXPECT_EQ(governor.Request(cMegabyte, text), cMemoryRefused);
    EXPECT_EQ(text, QORJOB_W("Job 4711 needs more memory than its limit of 100 MB allows."));
    EXPECT_EQ(TakeLog().front(),
              "Error: User {12345678-9ABC-DEF0-0102-030405060708} requests 1.00 MB (1048576 Bytes) for job 4711, but "
              "only 0.50 MB (524288 Bytes) left with the configured memory limit 100 MB.");
    const std::pair<std::uint64_t, const char*> sizes[] = {
        {0, "0.00"}, {5242, "0.00"}, {5243, "0.01"}, {cMegabyte - 1, "1.00"}, {cMost, "17592186044416.00"}};
    for (const auto& [bytes, expected] : sizes)
        EXPECT_STREQ(Megabytes(bytes).GetText(), expected);
}

TEST_F(MemGovernor, ReportsAtTheFinishHowThePeakStandsToTheLimit)
{
    const std::string head = "Job Trace: Job with ID '7' ";
    const std::string setting = " by the setting \"Maximum memory consumption per job,\" which is configured at 1 MB. "
                                "The peak memory consumption of this job is ";
    const std::pair<std::uint64_t, std::string> rows[] = {
        {0, ""},
        {cMegabyte,
         "is finishing. This job is governed" + setting + "1.00 MB (1048576 bytes), which doesn't hit the limit."},
        {cMegabyte + 1,
         "has failed. This job is governed" + setting + "1.00 MB (1048577 bytes), which hits the limit."},
        {3 * cMegabyte, "is finishing. This job is not governed" + setting + "3.00 MB (3145728 bytes)."}};
    for (const auto& [taken, line] : rows)
    {
        JobMemGovernor governor(cJobId);
        EXPECT_TRUE(IsGranted(governor, taken));
        governor.mLimitBytes = cMegabyte;
        governor.mbNotGoverned = taken == 3 * cMegabyte;
        governor.LogFinish(7);
        EXPECT_EQ(TakeLog(), line.empty() ? Texts() : Texts{head + line});
    }
}

TEST_F(CloseCounters, CountAJobOnceByTypeStatusAndKind)
{
    const std::tuple<int, int, int, Counters> rows[] = {
        // The kind -1: the context throws; -2: there is none.
        {RequestReport, JobCompleted, 0, {{2, 1}, {8, 250}}},
        {RequestReport, JobCompleted, -1, {{2, 1}, {8, 250}}},
        {RequestReport, JobCompleted, -2, {{2, 1}, {8, 250}}},
        {RequestBatchChildReport, JobCompleted, 8, {{2, 1}, {8, 250}, {39, 1}, {43, 250}}},
        {RequestDatamartReport, JobStoppedWithError, 7, {{4, 1}, {8, 250}, {42, 250}}},
        {RequestDocument, JobCompleted, 7, {{18, 1}, {50, 250}}},
        {RequestReport, JobExecuting, 7, {{2, 1}, {8, 250}, {38, 1}, {42, 250}}},
        {RequestDocument, JobStopped, 0, {{19, 1}, {50, 250}}},
        {RequestMetaData, JobCompleted, 7, {}},
    };
    for (const auto& [type, status, kind, counters] : rows)
    {
        FakeProcessContext context;
        FakeReportInstance instance(context.mCalls);
        context.mpInstance = &instance;
        instance.mKind = kind;
        Builtin::Settings::SetClock(TimeOf(0));
        const JobPtr job = NewJob(type);
        job->SetProcessContext(kind == -2 ? nullptr : &context);
        SetStatus(*job.Get(), status);
        Builtin::PerfReadings::Reset();
        Builtin::Settings::SetClock(TimeOf(250));
        if (kind == -1)
            context.mOnCall = [](const std::string&) { throw QBase::Message("a stranger's"); };
        for (int time = 0; time < 2; ++time)
        {
            EXPECT_EQ(job->UpdateJobCloseCounters(), S_OK);
            EXPECT_EQ(ReadCounters(), counters) << type << ' ' << status << ' ' << kind;
        }
        context.mOnCall = nullptr;
        EXPECT_EQ(instance.mReferences, 0u);
        EXPECT_EQ(context.mReferences, kind == -2 ? 0u : 1u);
    }
}
