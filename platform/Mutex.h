// A mutex whose use clang checks, and its scoped hold.
#pragma once

#include "platform/ThreadSafety.h"

#include <mutex>

namespace QSynch
{

/// std::mutex with the annotations that the standard library's own lacks. Not re-entrant.
class QORJOB_CAPABILITY("mutex") Mutex
{
public:
    void Enter() QORJOB_ACQUIRE() { mMutex.lock(); }
    void Leave() QORJOB_RELEASE() { mMutex.unlock(); }

private:
    std::mutex mMutex;
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
