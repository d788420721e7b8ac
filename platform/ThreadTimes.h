// The processor time that the calling thread has used.
#pragma once

#include "platform/Export.h"
#include "platform/Windows.h"

/// Kernel and user time of the calling thread, in 100-nanosecond units. 0 is failure: an out-pointer is null or the
/// system gives no times.
QORJOB_API int GetCurrentThreadTimes(FILETIME* oKernel, FILETIME* oUser) noexcept;
