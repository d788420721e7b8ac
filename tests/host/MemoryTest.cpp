#include "platform/builtin/Faults.h"
#include "tests/host/HostTest.h"

#include <cstdlib>
#include <new>

using namespace HostTest;

namespace
{

// The n-th allocation of this thread fails, once: counted down to 0; below it none does.
thread_local std::int64_t tAllocationsLeft = -1;
std::atomic<std::int64_t> gBlocks{0};

} // namespace

void* operator new(std::size_t iBytes)
{
    void* const memory =
        tAllocationsLeft >= 0 && tAllocationsLeft-- == 0 ? nullptr : std::malloc(iBytes == 0 ? 1 : iBytes);
    if (memory == nullptr)
        throw std::bad_alloc();
    ++gBlocks;
    return memory;
}

void operator delete(void* iMemory) noexcept
{
    if (iMemory != nullptr)
        --gBlocks;
    std::free(iMemory);
}

void operator delete(void* iMemory, std::size_t) noexcept { operator delete(iMemory); }

namespace
{

/// A document of two units with a child, a step that is tried again and a cancelled sibling, on this thread alone. What
/// it came to: every job that was taken ends once, and everything is given back.
void RunFamily(const std::function<void()>& iFailFrom)
{
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
                ioRun.TryAgain({.mDelay = 1ms}, "once more");
        };
        QORHost host(
            {.mUnits = {{.mId = 1, .mThreads = 0, .mMostAUser = 2}, {.mId = 2, .mThreads = 0}},
             .mSteps = {{.mStepId = cFirst, .mUnit = 1, .mRun = make},
                        {.mStepId = cSecond, .mUnit = 2, .mRun = [](QORHostRun& ioRun) { ioRun.TakeMemory(9); }}},
             .mGrace = 1ms,
             .mEndTime = 1ms});
        iFailFrom();
        const QORHostSubmission first = host.Submit(document, {.mOnEnd = count});
        QORHostSubmission second = host.Submit(sibling, {.mOnEnd = count});
        accepted += (first ? 1 : 0) + (second ? 1 : 0);
        EXPECT_TRUE(first || first.mResult == EnumHostSubmit::NoMemory);
        if (second)
            second.mJob.Cancel(reason);
        while (host.RunOne(1) || host.RunOne(2))
            continue;
        if (first && first.mJob.GetState() == EnumHostState::Delayed)
            WaitWhile([&] { return host.GetCounts().mQueued == 0; });
        while (host.RunOne(1) || host.RunOne(2))
            continue;
        EXPECT_EQ(host.GetCounts().mOpen, 0U);
    }
    EXPECT_EQ(ends, accepted);
}

} // namespace

TEST(HostMemory, LosesNothingWhicheverAllocationFails)
{
    RunFamily([] {}); // what is made once, is made
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
}

TEST(HostMemory, LosesNothingWhicheverBlockTheLibraryCantHave)
{
    using Builtin::Faults::EnumFault;
    for (std::int64_t nth = 1; nth <= 120; ++nth)
    {
        SCOPED_TRACE(nth);
        RunFamily([=] { Builtin::Faults::FailNth(EnumFault::Allocation, nth); });
        Builtin::Faults::FailNth(EnumFault::Allocation, 0);
    }
}
