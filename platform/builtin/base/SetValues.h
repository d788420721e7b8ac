// The values that Settings holds, as the platform's libraries ask for them.
#pragma once

#include "platform/QDataType.h"

#include <cstdint>
#include <optional>

namespace Builtin::SetValues
{

/// Empty while the system's clock counts.
std::optional<QDataType::DateTime> GetClock() noexcept;

enum class EnumThreadTimes
{
    Released, ///< the system's count
    Set,
    Failing,
};

/// Of the calling thread, in 100-nanosecond units. Without Set they mean nothing.
EnumThreadTimes GetThreadTimes(std::uint64_t& oKernel, std::uint64_t& oUser) noexcept;

unsigned GetProcessLanguageID() noexcept;
/// The calling thread's; 0: it has that of the process.
unsigned GetThreadLanguageID() noexcept;

unsigned GetUserDefaultLCID() noexcept;

} // namespace Builtin::SetValues
