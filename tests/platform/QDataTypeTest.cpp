#include "platform/QDataType.h"

#include "platform/builtin/Settings.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstring>

using QDataType::DateTime;

namespace
{
constexpr std::int64_t cSecond = 10'000'000;
constexpr std::int64_t cDay = 24 * 3600 * cSecond;
} // namespace

TEST(DateTimes, ReadAsACalendar)
{
    const struct
    {
        std::int64_t mTicks;
        int mYear, mMonth, mDay, mHour, mMinute, mSecond, mMillisecond, mDayOfWeek, mWeek;
    } rows[] = {
        {0, 1899, 12, 30, 0, 0, 0, 0, 6, 52},
        {-1, 1899, 12, 29, 23, 59, 59, 999, 5, 52},
        {-cDay, 1899, 12, 29, 0, 0, 0, 0, 5, 52},
        {cDay - 1, 1899, 12, 30, 23, 59, 59, 999, 6, 52},
        {cDay, 1899, 12, 31, 0, 0, 0, 0, 0, 53},   // a Sunday begins a week
        {2 * cDay, 1900, 1, 1, 0, 0, 0, 0, 1, 1},  // and 1 January another first one
        {61 * cDay, 1900, 3, 1, 0, 0, 0, 0, 4, 9}, // 1900 had no 29 February
        {25569 * cDay, 1970, 1, 1, 0, 0, 0, 0, 4, 1},
        {36585 * cDay, 2000, 2, 29, 0, 0, 0, 0, 2, 10},
        {42004 * cDay, 2014, 12, 31, 0, 0, 0, 0, 3, 53},
        {44562 * cDay, 2022, 1, 1, 0, 0, 0, 0, 6, 1}, // a first week of one day
        {44563 * cDay, 2022, 1, 2, 0, 0, 0, 0, 0, 2},
        {46347 * cDay + (14 * 3600 + 5 * 60 + 9) * cSecond + 78 * 10'000 + 9'999, 2026, 11, 21, 14, 5, 9, 78, 6, 47},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mTicks);
        const DateTime time = DateTime::FromTicks(row.mTicks);
        EXPECT_EQ(time.GetYear(), row.mYear);
        EXPECT_EQ(time.GetMonth(), row.mMonth);
        EXPECT_EQ(time.GetDay(), row.mDay);
        EXPECT_EQ(time.GetHour(), row.mHour);
        EXPECT_EQ(time.GetMinute(), row.mMinute);
        EXPECT_EQ(time.GetSecond(), row.mSecond);
        EXPECT_EQ(time.GetMillisecond(), row.mMillisecond);
        EXPECT_EQ(time.GetDayOfWeek(), row.mDayOfWeek);
        EXPECT_EQ(time.GetWeek(), row.mWeek);
    }
}

TEST(DateTimes, AreMadeFromDays)
{
    EXPECT_EQ(DateTime(0.0).GetTicks(), 0);
    EXPECT_EQ(DateTime(1.5).GetTicks(), cDay + cDay / 2);
    EXPECT_EQ(DateTime(-0.25).GetTicks(), -cDay / 4);
}

TEST(DateTimes, AreSavedAsALittleEndianNumber)
{
    const DateTime time = DateTime::FromTicks(0x0102030405060788);
    signed char saved[8];
    ASSERT_EQ(DateTime::GetSaveObjSize(), sizeof(saved));
    EXPECT_EQ(time.SaveObj(8, saved, 0), 0u);
    EXPECT_EQ(std::memcmp(saved, "\x88\x07\x06\x05\x04\x03\x02\x01", 8), 0);

    DateTime loaded(0.0);
    EXPECT_EQ(loaded.LoadObj(8, saved, false), 0u);
    EXPECT_EQ(loaded, time);
    EXPECT_EQ(DateTime::FromTicks(-5).SaveObj(8, saved, 0), 0u);
    EXPECT_EQ(loaded.LoadObj(8, saved, true), 0u);
    EXPECT_EQ(loaded.GetTicks(), -5);
}

TEST(DateTimes, OfAnotherSizeAreNeitherSavedNorLoaded)
{
    signed char saved[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
    DateTime time = DateTime::FromTicks(5);
    for (const unsigned size : {0u, 7u, 9u})
    {
        EXPECT_EQ(time.SaveObj(size, saved, 0), 1u);
        EXPECT_EQ(saved[0], 1);
        EXPECT_EQ(time.LoadObj(size, saved, false), 1u);
        EXPECT_EQ(time.GetTicks(), 5);
    }
}

TEST(Clock, StandsWhereItIsSetUntilItIsReleased)
{
    Settings::SetClock(DateTime(40000.0));
    EXPECT_EQ(DateTime::NowUTC(), DateTime(40000.0));
    Settings::SetClock(DateTime(0.0));
    EXPECT_EQ(DateTime::NowUTC().GetTicks(), 0);

    Settings::ReleaseClock();
    const auto system = [] {
        const std::chrono::duration<double, std::ratio<86400>> days =
            std::chrono::system_clock::now().time_since_epoch();
        return days.count() + 25569;
    };
    const double secondInDays = 1.0 / 86400;
    EXPECT_GE(DateTime::NowUTC(), DateTime(system() - secondInDays));
    EXPECT_LE(DateTime::NowUTC(), DateTime(system() + secondInDays));
}
