// The order in which locks are taken: docs/locking.md. Builds with QORJOB_LOCK_ORDER hold every thread to it.
#pragma once

#include "platform/Export.h"

#include <condition_variable>
#include <mutex>
#include <type_traits>

namespace QSynch
{

/// While a thread holds a lock it may take those of a higher level only; what uses the library has levels below 0.
enum EnumLockLevel : int
{
    LockLevelNone = 0, ///< outside of the order: it may be taken at any time
    LockLevelInitializer = 1,
    LockLevelJob = 2,
    LockLevelContext = 3,
    LockLevelThreadMessages = 4,
    LockLevelShared = 5, ///< of registries, messages and the like: what jobs and contexts share
    LockLevelLogUsers = 6,
    LockLevelRouters = 7,
    LockLevelSinks = 8,
    LockLevelSystem = 9, ///< of arenas, counters and texts
    LockLevelDiagnostics = 10,
};

#if defined(QORJOB_LOCK_ORDER)
inline constexpr bool cbLocksAreWatched = true;
#else
inline constexpr bool cbLocksAreWatched = false;
#endif

/// To be called before the thread waits for a lock that it doesn't hold, and after it has left it. A lock that is out
/// of order ends the program: what is taken, what is held, and the call stacks of both go to the error stream.
QORJOB_API void NoteLockTaken(const void* iLock, int iLevel) noexcept;
QORJOB_API void NoteLockLeft(const void* iLock) noexcept;

/// Notes a lock for a scope, in which the lock itself is taken and left.
class LockNote
{
public:
    LockNote(const void* iLock, int iLevel) noexcept : mpLock(iLock)
    {
        if constexpr (cbLocksAreWatched)
            NoteLockTaken(iLock, iLevel);
    }
    ~LockNote()
    {
        if constexpr (cbLocksAreWatched)
            NoteLockLeft(mpLock);
    }
    LockNote(const LockNote&) = delete;
    LockNote& operator=(const LockNote&) = delete;

private:
    const void* mpLock;
};

template <int iLevel>
class WatchedMutex
{
public:
    // NOLINTBEGIN(readability-identifier-naming): the names that the standard's holds ask for
    void lock()
    {
        NoteLockTaken(this, iLevel);
        mMutex.lock();
    }
    void unlock()
    {
        mMutex.unlock();
        NoteLockLeft(this);
    }
    // NOLINTEND(readability-identifier-naming)

private:
    std::mutex mMutex;
};

/// The standard's mutex with a level, for those who wait for a condition.
template <int iLevel>
using StandardMutex = std::conditional_t<cbLocksAreWatched, WatchedMutex<iLevel>, std::mutex>;
using Condition = std::conditional_t<cbLocksAreWatched, std::condition_variable_any, std::condition_variable>;

} // namespace QSynch
