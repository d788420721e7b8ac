#include "platform/ThreadTimes.h"

#include "platform/builtin/Settings.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>

namespace
{

std::uint64_t ReadTotal()
{
    FILETIME kernel{};
    FILETIME user{};
    EXPECT_NE(GetCurrentThreadTimes(&kernel, &user), 0);
    return ToUint64(kernel) + ToUint64(user);
}

} // namespace

TEST(ThreadTimes, GrowWhileTheThreadWorks)
{
    const std::uint64_t before = ReadTotal();
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (ReadTotal() == before && std::chrono::steady_clock::now() < limit)
    {
    }
    // Less than the limit in the same unit, so that the unit is right.
    EXPECT_GT(ReadTotal(), before);
    EXPECT_LT(ReadTotal() - before, 20u * 10'000'000);
}

TEST(ThreadTimes, OfASleepingThreadDoNotCountAnothersWork)
{
    const std::uint64_t before = ReadTotal();
    RunOnThreads(1, [](int) {
        const std::uint64_t start = ReadTotal();
        while (ReadTotal() < start + 500'000) // 50 ms of work
        {
        }
    });
    EXPECT_LT(ReadTotal() - before, 500'000u);
}

TEST(ThreadTimes, AreSetForOneThreadUntilTheyAreReleased)
{
    Settings::SetThreadTimes(0x1'0000'0002, 0x3'0000'0004);
    FILETIME kernel{};
    FILETIME user{};
    EXPECT_EQ(GetCurrentThreadTimes(&kernel, &user), 1);
    EXPECT_EQ(kernel.dwHighDateTime, 1u);
    EXPECT_EQ(kernel.dwLowDateTime, 2u);
    EXPECT_EQ(ToUint64(user), 0x3'0000'0004u);
    RunOnThreads(1, [](int) { EXPECT_LT(ReadTotal(), 0x1'0000'0000u); });

    Settings::FailThreadTimes();
    EXPECT_EQ(GetCurrentThreadTimes(&kernel, &user), 0);
    RunOnThreads(1, [](int) { ReadTotal(); });
    Settings::ReleaseThreadTimes();
    EXPECT_LT(ReadTotal(), 0x1'0000'0000u);
}

TEST(ThreadTimes, NeedBothPlaces)
{
    FILETIME time{};
    EXPECT_EQ(GetCurrentThreadTimes(nullptr, &time), 0);
    EXPECT_EQ(GetCurrentThreadTimes(&time, nullptr), 0);
}
