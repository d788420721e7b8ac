// The values that Settings has set, for the platform's libraries.
#pragma once

#include "platform/QDataType.h"

#include <cstdint>
#include <optional>

namespace Builtin::SetValues
{

/// Empty while the clock isn't set.
std::optional<QDataType::DateTime> GetClock() noexcept;

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
