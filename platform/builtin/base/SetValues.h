// The values that Settings has set, for the platform's libraries.
#pragma once

#include "platform/QDataType.h"

#include <atomic>
#include <cstdint>
#include <limits>
#include <optional>

namespace Builtin::SetValues
{

// A value that is never set stands for the released clock, so that one read is enough.
inline constexpr std::int64_t cClockReleased = std::numeric_limits<std::int64_t>::min();
extern constinit std::atomic<std::int64_t> gClock;

/// Empty while the clock isn't set.
inline std::optional<QDataType::DateTime> GetClock() noexcept
{
    const std::int64_t ticks = gClock.load(std::memory_order_relaxed);
    if (ticks == cClockReleased)
        return {};
    return QDataType::DateTime::FromTicks(ticks);
}

enum class EnumThreadTimes
{
    Released, ///< the system's times apply
    Set,
    Failing,
};

/// Of the calling thread, in 100-nanosecond units. The times are meant for Set only.
EnumThreadTimes GetThreadTimes(std::uint64_t& oKernel, std::uint64_t& oUser) noexcept;

unsigned GetProcessLanguageID() noexcept;
/// The calling thread's; 0: it has the process's.
unsigned GetThreadLanguageID() noexcept;

unsigned GetUserDefaultLCID() noexcept;

} // namespace Builtin::SetValues
