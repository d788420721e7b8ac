// A mutex whose use clang checks, and its scoped hold.
#pragma once

#include "platform/ThreadSafety.h"

#if defined(_WIN32)
#include "platform/Export.h"
#include "platform/Windows.h"
#else
#include <mutex>
#endif

namespace QSynch
{

#if defined(_WIN32)

/// Windows' own lock, which is made and ends without a call. It is free when the process ends, whichever thread held
/// it.
class QORJOB_API SystemMutex
{
public:
    SystemMutex() = default;
    SystemMutex(const SystemMutex&) = delete;
    SystemMutex& operator=(const SystemMutex&) = delete;

    void lock() noexcept;
    void unlock() noexcept;

private:
    SRWLOCK mLock = SRWLOCK_INIT;
};

#else

using SystemMutex = std::mutex;

#endif

/// The system's mutex with the annotations that its own lacks. Not re-entrant.
class QORJOB_CAPABILITY("mutex") Mutex
{
public:
    void Enter() QORJOB_ACQUIRE() { mMutex.lock(); }
    void Leave() QORJOB_RELEASE() { mMutex.unlock(); }

private:
    SystemMutex mMutex;
};

/// Holds a mutex for a scope.
class QORJOB_SCOPED_CAPABILITY MutexHold
{
public:
    explicit MutexHold(Mutex& iMutex) QORJOB_ACQUIRE(iMutex) : mMutex(iMutex) { mMutex.Enter(); }
    ~MutexHold() QORJOB_RELEASE() { mMutex.Leave(); }

    MutexHold(const MutexHold&) = delete;
    MutexHold& operator=(const MutexHold&) = delete;

private:
    Mutex& mMutex;
};

} // namespace QSynch
