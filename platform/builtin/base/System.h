// The services of the operating system that differ between systems; implemented in posix/ and windows/.
#pragma once

#include "platform/Windows.h"

#include <cstdint>
#include <ctime>

namespace Builtin::System
{

/// The calling thread's id as the system shows it; never 0. In posix/ only: on Windows ThreadId.h needs no call.
DWORD GetThreadId() noexcept;

/// Kernel and user time of the calling thread; false when the system can't tell.
bool GetThreadTimes(FILETIME& oKernel, FILETIME& oUser) noexcept;

/// The present time, UTC, since 1970 in 100-nanosecond units: as fine as the system knows it.
std::int64_t GetTime() noexcept;

/// The time in the system's zone; false when it can't be converted.
bool ToLocalTime(std::time_t iTime, std::tm& oLocal) noexcept;

/// Opens the standard streams where the program was started without them, as daemons are: a file that is opened later
/// would get a stream's number, and with it the program's output.
void OpenStandardStreams() noexcept;

/// Who has called whom; empty where the system doesn't know.
struct CallStack
{
    void Capture() noexcept;
    void Print() const noexcept; ///< to the error stream

    void* mCalls[12]{};
    int mCount = 0;
};

} // namespace Builtin::System
