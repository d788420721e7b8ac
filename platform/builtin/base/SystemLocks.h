// The mutexes behind QSynch: the system's own on Windows, elsewhere the standard library's.
#pragma once

#if defined(_WIN32)
#include "platform/Windows.h"
#else
#include <mutex>
#include <shared_mutex>
#endif

namespace Builtin
{

#if defined(_WIN32)

// MinGW's standard library initialises a lock when it is first used, and two first users of its shared mutex may both
// enter. The system's own locks are initialised when they are made.

class ReentrantMutex
{
public:
    ReentrantMutex() { ::InitializeCriticalSectionEx(&mSection, 0, CRITICAL_SECTION_NO_DEBUG_INFO); }
    ~ReentrantMutex() { ::DeleteCriticalSection(&mSection); }
    ReentrantMutex(const ReentrantMutex&) = delete;
    ReentrantMutex& operator=(const ReentrantMutex&) = delete;

    void lock() { ::EnterCriticalSection(&mSection); }
    void unlock() { ::LeaveCriticalSection(&mSection); }

private:
    CRITICAL_SECTION mSection;
};

class SharedMutex
{
public:
    SharedMutex() = default;
    SharedMutex(const SharedMutex&) = delete;
    SharedMutex& operator=(const SharedMutex&) = delete;

    void lock() { ::AcquireSRWLockExclusive(&mLock); }
    void unlock() { ::ReleaseSRWLockExclusive(&mLock); }
    void lock_shared() { ::AcquireSRWLockShared(&mLock); }
    void unlock_shared() { ::ReleaseSRWLockShared(&mLock); }

private:
    SRWLOCK mLock = SRWLOCK_INIT;
};

#else

using ReentrantMutex = std::recursive_mutex;
using SharedMutex = std::shared_mutex;

#endif

} // namespace Builtin
