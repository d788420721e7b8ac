// What builtin asks of the operating system beside the locks: answered in posix/ and in windows/.
#pragma once

#include "platform/Windows.h"

#include <ctime>

namespace Builtin::System
{

/// The calling thread's id as the system shows it; never 0.
DWORD GetThreadId() noexcept;

/// Kernel and user time of the calling thread; false when the system gives none.
bool GetThreadTimes(FILETIME& oKernel, FILETIME& oUser) noexcept;

/// The time of the system's zone; false when it can't be converted.
bool ToLocalTime(std::time_t iTime, std::tm& oLocal) noexcept;

/// Opens the standard streams that the program was started without, as daemons are: a file that is opened later would
/// take their place, and the program's output would go into it.
void OpenStandardStreams() noexcept;

} // namespace Builtin::System
