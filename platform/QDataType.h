// The date/time library: moments and lengths of time.
#pragma once

#include "platform/Export.h"
#include "platform/QBase.h"

#include <compare>
#include <cstdint>

namespace QDataType
{

/// A length of time, kept in 100-nanosecond units.
class TimeSpan
{
public:
    TimeSpan() = default;
    explicit TimeSpan(unsigned iMilliseconds) : mTicks(std::int64_t{iMilliseconds} * 10'000) {}

    static TimeSpan FromTicks(std::int64_t iTicks)
    {
        TimeSpan span;
        span.mTicks = iTicks;
        return span;
    }

    /// Whole milliseconds, rounded towards zero.
    std::int64_t GetTotalMilliseconds() const { return mTicks / 10'000; }
    std::int64_t GetTicks() const { return mTicks; }

    friend auto operator<=>(const TimeSpan&, const TimeSpan&) = default;

private:
    std::int64_t mTicks = 0;
};

/// A moment in UTC, kept in 100-nanosecond units since 30 December 1899, 00:00. The moment 0 means that no time is set.
class QORJOB_API DateTime
{
public:
    /// The unset time.
    constexpr DateTime() = default;
    /// Days since 30 December 1899; 0.0 is the unset time.
    explicit DateTime(double iDays);

    /// The platform's clock.
    static DateTime NowUTC() noexcept;

    static constexpr DateTime FromTicks(std::int64_t iTicks)
    {
        DateTime time;
        time.mTicks = iTicks;
        return time;
    }

    constexpr std::int64_t GetTicks() const { return mTicks; }

    int GetYear() const;
    int GetMonth() const;
    int GetDay() const;
    int GetHour() const;
    int GetMinute() const;
    int GetSecond() const;
    int GetMillisecond() const;
    /// Week of the year from 1: the week that holds 1 January is the first, weeks begin on Sunday.
    int GetWeek() const;
    /// 0 is Sunday.
    int GetDayOfWeek() const;

    /// "2026-11-21 14:05:09.078"
    QBase::wstring ToText() const;
    /// The same moment in the system's time zone. A time that isn't set is returned unchanged, and so is one that the
    /// system can't convert.
    DateTime ToLocalTime() const;

    /// The saved form: the 64-bit number above, little-endian.
    static unsigned GetSaveObjSize() { return sizeof(std::int64_t); }
    /// Both return 0, or 1 when `iSize` is not the saved size (nothing is then written or read). The last argument of
    /// each selects nothing in this format; it belongs to the signature that all saved values share.
    unsigned SaveObj(unsigned iSize, signed char* oBuffer, unsigned iOptions) const;
    unsigned LoadObj(unsigned iSize, const signed char* iBuffer, bool ibOptions);

    // NOLINTNEXTLINE(modernize-use-nullptr): the check takes the 0 of a comparison for a pointer
    friend auto operator<=>(const DateTime&, const DateTime&) = default;

    friend TimeSpan operator-(const DateTime& iLeft, const DateTime& iRight)
    {
        return TimeSpan::FromTicks(iLeft.mTicks - iRight.mTicks);
    }

    friend DateTime operator+(const DateTime& iTime, const TimeSpan& iSpan)
    {
        return FromTicks(iTime.mTicks + iSpan.GetTicks());
    }

private:
    std::int64_t mTicks = 0;
};

} // namespace QDataType
