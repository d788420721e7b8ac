#include "platform/QDataType.h"

#include "platform/builtin/EventTrace.h"
#include "platform/builtin/base/SetValues.h"
#include "platform/builtin/base/System.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <limits>
#include <optional>
#include <ratio>

namespace QDataType
{

namespace
{

using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;

constexpr std::chrono::sys_days cEpoch{std::chrono::year{1899} / 12 / 30};

std::chrono::sys_days DayOf(std::int64_t iTicks)
{
    return cEpoch + std::chrono::floor<std::chrono::days>(Ticks(iTicks));
}

std::chrono::year_month_day DateOf(std::int64_t iTicks) { return DayOf(iTicks); }

std::chrono::hh_mm_ss<Ticks> TimeOfDayOf(std::int64_t iTicks)
{
    // By the remainder: the lowest times have no midnight before them that can be represented.
    constexpr std::int64_t cDay = std::chrono::duration_cast<Ticks>(std::chrono::days(1)).count();
    return std::chrono::hh_mm_ss<Ticks>(Ticks((iTicks % cDay + cDay) % cDay));
}

} // namespace

DateTime::DateTime(double iDays)
    : mTicks(std::llround(iDays * static_cast<double>(std::chrono::duration_cast<Ticks>(std::chrono::days(1)).count())))
{
}

DateTime DateTime::NowUTC() noexcept
{
    Builtin::EventTrace::Note("QDataType::DateTime::NowUTC");
    if (const std::optional<DateTime> set = Builtin::SetValues::GetClock())
        return *set;
    constexpr Ticks c1970 = std::chrono::sys_days{} - cEpoch;
    return FromTicks(c1970.count() + Builtin::System::GetTime());
}

int DateTime::GetYear() const { return static_cast<int>(DateOf(mTicks).year()); }

int DateTime::GetMonth() const { return static_cast<int>(static_cast<unsigned>(DateOf(mTicks).month())); }

int DateTime::GetDay() const { return static_cast<int>(static_cast<unsigned>(DateOf(mTicks).day())); }

int DateTime::GetHour() const { return static_cast<int>(TimeOfDayOf(mTicks).hours().count()); }

int DateTime::GetMinute() const { return static_cast<int>(TimeOfDayOf(mTicks).minutes().count()); }

int DateTime::GetSecond() const { return static_cast<int>(TimeOfDayOf(mTicks).seconds().count()); }

int DateTime::GetMillisecond() const
{
    const Ticks fraction = TimeOfDayOf(mTicks).subseconds();
    return static_cast<int>(std::chrono::floor<std::chrono::milliseconds>(fraction).count());
}

int DateTime::GetWeek() const
{
    const std::chrono::sys_days newYear{DateOf(mTicks).year() / 1 / 1};
    const auto dayOfYear = static_cast<int>((DayOf(mTicks) - newYear).count());
    const auto firstDayOfWeek = static_cast<int>(std::chrono::weekday(newYear).c_encoding());
    return (dayOfYear + firstDayOfWeek) / 7 + 1;
}

int DateTime::GetDayOfWeek() const { return static_cast<int>(std::chrono::weekday(DayOf(mTicks)).c_encoding()); }

QBase::wstring DateTime::ToText() const
{
    char text[64];
    const int length = std::snprintf(text, sizeof(text), "%04d-%02d-%02d %02d:%02d:%02d.%03d", GetYear(), GetMonth(),
                                     GetDay(), GetHour(), GetMinute(), GetSecond(), GetMillisecond());
    return {text, text + length};
}

DateTime DateTime::ToLocalTime() const
{
    namespace chrono = std::chrono;
    if (mTicks == 0)
        return *this;
    // In seconds: the system clock's own unit covers 1677 to 2262 only.
    const chrono::sys_seconds moment = cEpoch + chrono::floor<chrono::seconds>(Ticks(mTicks));
    const auto unixTime = static_cast<std::time_t>(moment.time_since_epoch().count());
    std::tm local{};
    if (unixTime != moment.time_since_epoch().count() || !Builtin::System::ToLocalTime(unixTime, local))
        return *this; // what 32 bits can't hold, for one
    const chrono::sys_days day{chrono::year{local.tm_year + 1900} / (local.tm_mon + 1) / local.tm_mday};
    const chrono::sys_seconds shown =
        day + chrono::hours(local.tm_hour) + chrono::minutes(local.tm_min) + chrono::seconds(local.tm_sec);
    const std::int64_t shift = Ticks(shown - moment).count();
    using Limits = std::numeric_limits<std::int64_t>;
    const bool bFits = shift < 0 ? mTicks >= Limits::min() - shift : mTicks <= Limits::max() - shift;
    return bFits ? FromTicks(mTicks + shift) : *this;
}

unsigned DateTime::SaveObj(unsigned iSize, signed char* oBuffer, unsigned) const
{
    if (iSize != GetSaveObjSize())
        return 1;
    const auto bits = static_cast<std::uint64_t>(mTicks);
    for (unsigned i = 0; i < iSize; ++i)
        oBuffer[i] = static_cast<signed char>(bits >> (8 * i) & 0xFF);
    return 0;
}

unsigned DateTime::LoadObj(unsigned iSize, const signed char* iBuffer, bool)
{
    if (iSize != GetSaveObjSize())
        return 1;
    std::uint64_t bits = 0;
    for (unsigned i = 0; i < iSize; ++i)
        bits |= std::uint64_t{static_cast<unsigned char>(iBuffer[i])} << (8 * i);
    mTicks = static_cast<std::int64_t>(bits);
    return 0;
}

} // namespace QDataType
