#include "platform/builtin/Faults.h"
#include "tests/host/HostTest.h"

#include <cstdlib>
#include <new>
#include <set>

using namespace HostTest;

namespace
{

// The n-th allocation of this thread fails, once: counted down to 0; below it none does, and aside none is counted.
constexpr std::int64_t cAside = -2;
thread_local std::int64_t tAllocationsLeft = -1;
std::atomic<std::int64_t> gBlocks{0};
std::set<std::string> gLines; // that the host has logged

} // namespace

void* operator new(std::size_t iBytes)
{
    void* const memory =
        tAllocationsLeft >= 0 && tAllocationsLeft-- == 0 ? nullptr : std::malloc(iBytes == 0 ? 1 : iBytes);
    if (memory == nullptr)
        throw std::bad_alloc();
    gBlocks += tAllocationsLeft != cAside ? 1 : 0;
    return memory;
}

void operator delete(void* iMemory) noexcept
{
    gBlocks -= iMemory != nullptr && tAllocationsLeft != cAside ? 1 : 0;
    std::free(iMemory);
}

void operator delete(void* iMemory, std::size_t) noexcept { operator delete(iMemory); }

namespace
{

/// A document of two units with a child, a step that is tried again, one that fails, and a cancelled sibling, on this
/// thread alone. What it came to: every job that was taken ends once, and everything is given back.
void RunFamily(const std::function<void()>& iFailFrom)
{
    const Logged logged;
    QORJobData::AddName(QORJOB_W("Text"), 0);
    int accepted = 0;
    int ends = 0;
    {
        const auto count = [&](const QORHostJob& iJob, QORJob&) {
            ++ends;
            EXPECT_TRUE(QORJOB::HasEnded(iJob.GetStatus()));
        };
        // All is there before that isn't the host's.
        const auto document = MakeJob(1, {cFirst, cSecond, StepCloseJob});
        const auto child = MakeJob(2, {cSecond, StepCloseJob}, RequestReport);
        const auto sibling = MakeJob(3, {cFirst, StepCloseJob});
        const std::string reason = "a reason of more than a few letters";
        bool bMade = false;
        const auto make = [&](QORHostRun& ioRun) {
            if (!std::exchange(bMade, true))
                accepted += ioRun.SubmitChild(child, {.mOnEnd = count}) ? 1 : 0;
            if (ioRun.GetAttempt() == 1)
                ioRun.TryAgain({.mDelay = 1ms, .mGrowth = 1e9, .mLongestDelay = 1h}, "once more"); // long if it grew
        };
        const auto work = [](QORHostRun& ioRun) {
            ioRun.TakeMemory(9);
            ioRun.SetText(QORJOB_W("Text"), "a text of more than a few letters");
            if (!ioRun.GetText(QORJOB_W("Text")).empty() && ioRun.GetJob().GetId().Get() == 1)
                throw QORHostError(E_FAIL, {}, "it is busy");
        };
        QORHost host(
            {.mUnits = {{.mId = 1, .mThreads = 0, .mMostAUser = 2}, {.mId = 2, .mThreads = 0}},
             .mSteps = {{.mStepId = cFirst, .mUnit = 1, .mRun = make}, {.mStepId = cSecond, .mUnit = 2, .mRun = work}},
             .mGrace = 1ms,
             .mEndTime = 1ms});
        iFailFrom();
        const QORHostSubmission first = host.Submit(document, {.mOnEnd = count});
        QORHostSubmission second = host.Submit(sibling, {.mOnEnd = count});
        accepted += (first ? 1 : 0) + (second ? 1 : 0);
        EXPECT_TRUE(first || first.mResult == EnumHostSubmit::NoMemory);
        if (second)
            second.mJob.Cancel(reason);
        WaitWhile([&] { return host.RunOne(1) || host.RunOne(2) || host.GetCounts().mOpen > 0; });
    }
    EXPECT_EQ(ends, accepted);
    const std::int64_t left = std::exchange(tAllocationsLeft, cAside);
    for (const std::string& line : logged.Get())
        gLines.insert(line);
    tAllocationsLeft = left;
}

} // namespace

TEST(HostMemory, LosesNothingWhicheverAllocationFails)
{
    RunFamily([] {}); // what is made once, is made
    testing::internal::CaptureStderr();
    bool bFailed = true;
    for (std::int64_t nth = 0; bFailed; ++nth)
    {
        SCOPED_TRACE(nth);
        const std::int64_t blocks = gBlocks;
        RunFamily([=] { tAllocationsLeft = nth; });
        bFailed = tAllocationsLeft < 0;
        tAllocationsLeft = -1;
#ifndef _WIN32 // where the library's blocks are of another heap, and some are freed here
        EXPECT_EQ(gBlocks, blocks);
#else
        static_cast<void>(blocks);
#endif
    }
    [[maybe_unused]] const std::string lost = testing::internal::GetCapturedStderr();
#ifndef _WIN32
    EXPECT_NE(lost.find("Host: a line couldn't be logged: Job %1 failed: %2\n"), std::string::npos);
    for (const char* line : {"Job 1 failed: Create failed with 0x8007000E",
                             "Job 3 is cancelled, but its answer doesn't say so: std::bad_alloc"})
        EXPECT_TRUE(gLines.contains(line)) << line;
#endif
}

#ifndef _WIN32
TEST(HostMemory, KeepsNothingOfJobsThatHaveEnded)
{
    QORHost host({.mUnits = {{.mThreads = 0, .mMostAUser = 1}}});
    std::int64_t blocks = 0;
    for (int id = 1; id <= 3; ++id)
    {
        {
            const auto job = MakeJob(id, {StepCloseJob});
            job->SetUser(QBase::UTF8ToWideChar("user " + std::to_string(id)));
            host.Submit(job, {.mLongestLife = 1h});
            EXPECT_TRUE(host.RunOne(1));
        }
        EXPECT_TRUE(id == 1 || gBlocks == blocks);
        blocks = gBlocks;
    }
}
#endif

TEST(HostMemory, LosesNothingWhicheverBlockTheLibraryCantHave)
{
    using Builtin::Faults::EnumFault;
    for (std::int64_t nth = 1; nth <= 120; ++nth)
    {
        SCOPED_TRACE(nth);
        RunFamily([=] { Builtin::Faults::FailNth(EnumFault::Allocation, nth); });
        Builtin::Faults::FailNth(EnumFault::Allocation, 0);
    }
    for (const std::string failed : {"GetData failed with 0x8007000E", "MarkChildComplete failed with 0x8004308C",
                                     "RenewCurrentStep failed with 0x8007000E", "SetPUEnter failed with 0x8007000E",
                                     "get_BlockStream failed with 0x8007000E", "there is not enough memory"})
        EXPECT_TRUE(gLines.contains("Job 1 failed: " + failed)) << failed;
}
