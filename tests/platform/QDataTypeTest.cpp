#include "platform/QDataType.h"

#include "platform/ThreadTimes.h"
#include "platform/builtin/Settings.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>
#include <utility>

using QDataType::DateTime;

namespace
{
constexpr std::int64_t cSecond = 10'000'000;
constexpr std::int64_t cDay = 24 * 3600 * cSecond;
constexpr std::int64_t cLowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t cHighest = std::numeric_limits<std::int64_t>::max();

void SetZone(const char* iZone)
{
#if defined(_WIN32)
    _putenv_s("TZ", iZone);
    _tzset();
#else
    setenv("TZ", iZone, 1);
    tzset();
#endif
}

} // namespace

TEST(DateTimes, ReadAsACalendar)
{
    const std::pair<std::int64_t, std::array<int, 9>> rows[] = {
        // year, month, day, hour, minute, second, millisecond, day of the week, week
        {0, {1899, 12, 30, 0, 0, 0, 0, 6, 52}},
        {-1, {1899, 12, 29, 23, 59, 59, 999, 5, 52}},
        {cDay, {1899, 12, 31, 0, 0, 0, 0, 0, 53}},      // a Sunday begins a week
        {2 * cDay, {1900, 1, 1, 0, 0, 0, 0, 1, 1}},     // and 1 January another first one
        {44562 * cDay, {2022, 1, 1, 0, 0, 0, 0, 6, 1}}, // a first week of one day
        {46347 * cDay + (14 * 3600 + 5 * 60 + 9) * cSecond + 78 * 10'000 + 9'999, {2026, 11, 21, 14, 5, 9, 78, 6, 47}},
    };
    for (const auto& [ticks, expected] : rows)
    {
        const DateTime time = DateTime::FromTicks(ticks);
        const std::array<int, 9> read{time.GetYear(),        time.GetMonth(),     time.GetDay(),
                                      time.GetHour(),        time.GetMinute(),    time.GetSecond(),
                                      time.GetMillisecond(), time.GetDayOfWeek(), time.GetWeek()};
        EXPECT_EQ(read, expected) << ticks;
    }
}

TEST(DateTimes, AreShownAsTextAndByTheLocalClock)
{
    const DateTime time = DateTime::FromTicks(46347 * cDay + 78 * 10'000 + 9'999);
    EXPECT_EQ(time.ToText(), QORJOB_W("2026-11-21 00:00:00.078"));
    EXPECT_EQ(DateTime::FromTicks(cLowest).ToText(), QORJOB_W("-27328-04-16 21:11:54.522"));
    const auto expectShift = [](const char* iZone, std::int64_t iHours) {
        SetZone(iZone);
#if defined(_WIN32)
        const std::int64_t days[] = {46347};
#else
        const std::int64_t days[] = {46347, -600 * 365, 600 * 365}; // before 1677 and behind 2262, too
#endif
        for (const std::int64_t day : days)
        {
            const std::int64_t ticks = day * cDay + (18 * 3600 + 23 * 60 + 45) * cSecond + 6;
            EXPECT_EQ(DateTime::FromTicks(ticks).ToLocalTime().GetTicks(), ticks + iHours * 3600 * cSecond);
        }
        for (const std::int64_t same : {std::int64_t{0}, iHours < 0 ? cLowest : cHighest}) // no time, no room
            EXPECT_EQ(DateTime::FromTicks(same).ToLocalTime().GetTicks(), same);
    };
    expectShift("EST5", -5);
    expectShift("EST-5", 5);
    SetZone("");
}

TEST(DateTimes, AreSavedAsALittleEndianNumber)
{
    const DateTime time = DateTime::FromTicks(0x0102030405060788);
    signed char saved[9] = {1};
    EXPECT_EQ(time.SaveObj(7, saved, 0), 1u);
    EXPECT_EQ(saved[0], 1) << "another size was written";
    EXPECT_EQ(time.SaveObj(8, saved, 0), 0u);
    EXPECT_EQ(std::memcmp(saved, "\x88\x07\x06\x05\x04\x03\x02\x01", 8), 0);

    DateTime loaded(0.0);
    EXPECT_EQ(loaded.LoadObj(9, saved, false), 1u);
    EXPECT_EQ(loaded.LoadObj(8, saved, false), 0u);
    EXPECT_EQ(loaded, time);
}

TEST(Clock, IsTheSystems)
{
    const std::chrono::duration<double, std::ratio<86400>> days = std::chrono::system_clock::now().time_since_epoch();
    const auto late = DateTime::NowUTC().GetTicks() - DateTime(days.count() + 25569).GetTicks();
    EXPECT_TRUE(-cSecond < late && late < cSecond) << late;
}

TEST(ThreadTimes, GrowWithTheWorkOfTheirOwnThreadOnly)
{
    const auto read = [] {
        FILETIME kernel{};
        FILETIME user{};
        EXPECT_NE(GetCurrentThreadTimes(&kernel, &user), 0);
        return ToUint64(kernel) + ToUint64(user);
    };
    FILETIME times{};
    EXPECT_EQ(GetCurrentThreadTimes(nullptr, &times), 0);
    EXPECT_EQ(GetCurrentThreadTimes(&times, nullptr), 0);
    const std::uint64_t before = read();
    RunOnThreads(1, [&](int) {
        for (const std::uint64_t start = read(); read() < start + 500'000;) // 50 ms of work
        {
        }
    });
    EXPECT_LT(read() - before, 500'000u);
    Builtin::Settings::FailThreadTimes();
    EXPECT_EQ(GetCurrentThreadTimes(&times, &times), 0);
    Builtin::Settings::ReleaseThreadTimes();
}
