// The readers/writer lock behind QSynch: the system's own on Windows, elsewhere the standard library's.
#pragma once

#if defined(_WIN32)
#include "platform/Windows.h"
#else
#include <shared_mutex>
#endif

namespace Builtin
{

#if defined(_WIN32)

// MinGW's standard library initialises a lock when it is first used, never frees it, and two first users of its shared
// mutex may both enter. The system's own locks are initialised when they are made.
//
// A process that ends kills its other threads, whatever they hold, before its libraries end. Waiting for one of those
// would never end, or the system would end the process at once with a code of its own. One thread is left then, so that
// all locks count as free, those that spin too.

extern "C" __declspec(dllimport) BOOLEAN NTAPI RtlDllShutdownInProgress();

inline bool IsProcessEnding() noexcept { return RtlDllShutdownInProgress() != 0; }

template <class Lock>
void UnlessEnding(void(WINAPI* iOperation)(Lock*), Lock& ioLock)
{
    if (!IsProcessEnding())
        iOperation(&ioLock);
}

class SharedMutex
{
public:
    SharedMutex() = default;
    SharedMutex(const SharedMutex&) = delete;
    SharedMutex& operator=(const SharedMutex&) = delete;

    void lock() { UnlessEnding(::AcquireSRWLockExclusive, mLock); }
    void unlock() { UnlessEnding(::ReleaseSRWLockExclusive, mLock); }
    void lock_shared() { UnlessEnding(::AcquireSRWLockShared, mLock); }
    void unlock_shared() { UnlessEnding(::ReleaseSRWLockShared, mLock); }

private:
    SRWLOCK mLock = SRWLOCK_INIT;
};

#else

// Elsewhere the other threads go on until the last.
inline bool IsProcessEnding() noexcept { return false; }

using SharedMutex = std::shared_mutex;

#endif

} // namespace Builtin
