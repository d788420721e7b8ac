// Settings in place of what the system says: the clock, a thread's times, the languages, the locale.
#pragma once

#include "platform/Export.h"
#include "platform/QDataType.h"

#include <cstdint>

namespace Builtin::Settings
{

/// Stops the clock at this moment until it is set again or released.
QORJOB_API void SetClock(QDataType::DateTime iNow) noexcept;
QORJOB_API void ReleaseClock() noexcept;

/// Times of the calling thread only, in 100-nanosecond units.
QORJOB_API void SetThreadTimes(std::uint64_t iKernel, std::uint64_t iUser) noexcept;
/// The calling thread's times can't be read until they are released.
QORJOB_API void FailThreadTimes() noexcept;
QORJOB_API void ReleaseThreadTimes() noexcept;

QORJOB_API void SetProcessLanguageID(unsigned iLanguageId) noexcept;
/// The calling thread's; with 0 it has the process's again.
QORJOB_API void SetThreadLanguageID(unsigned iLanguageId) noexcept;

/// The user's default locale; its low 16 bits are the language.
QORJOB_API void SetUserDefaultLCID(unsigned iLocale) noexcept;

} // namespace Builtin::Settings
