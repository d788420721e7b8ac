// A mutex whose use clang checks, and its scoped hold.
#pragma once

#include "platform/Export.h"
#include "platform/LockOrder.h"
#include "platform/ThreadSafety.h"

#if defined(_WIN32)
#include "platform/Windows.h"
#else
#include <atomic>
#include <cstdint>
#endif

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#define QORJOB_TELL_SANITIZER(call) call
#else
#define QORJOB_TELL_SANITIZER(call)
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

    void Enter() noexcept;
    void Leave() noexcept;

private:
    SRWLOCK mLock = SRWLOCK_INIT;
};

#else

/// A lock of four bytes, where the standard's has forty: there is one in each of many objects. Taking a free one is
/// one compare-and-exchange; a thread that has to wait sleeps in the system.
class QORJOB_API SystemMutex
{
public:
    SystemMutex() = default;
    SystemMutex(const SystemMutex&) = delete;
    SystemMutex& operator=(const SystemMutex&) = delete;

    [[gnu::always_inline]] void Enter() noexcept
    {
        QORJOB_TELL_SANITIZER(__tsan_mutex_pre_lock(this, 0));
        std::uint32_t state = cFree;
        if (!mState.compare_exchange_strong(state, cHeld, std::memory_order_acquire, std::memory_order_relaxed))
            Wait();
        QORJOB_TELL_SANITIZER(__tsan_mutex_post_lock(this, 0, 0));
    }

    [[gnu::always_inline]] void Leave() noexcept
    {
        QORJOB_TELL_SANITIZER(__tsan_mutex_pre_unlock(this, 0));
        if (mState.exchange(cFree, std::memory_order_release) == cAwaited)
            Wake();
        QORJOB_TELL_SANITIZER(__tsan_mutex_post_unlock(this, 0));
    }

private:
    static constexpr std::uint32_t cFree = 0;
    static constexpr std::uint32_t cHeld = 1;
    static constexpr std::uint32_t cAwaited = 2; // held, and a thread may sleep until it is free

    void Wait() noexcept;
    void Wake() noexcept;

    std::atomic<std::uint32_t> mState{cFree};
};

#endif

/// The system's mutex with a level, and the annotations that its own lacks. Not re-entrant.
template <int iLevel>
class QORJOB_CAPABILITY("mutex") Mutex
{
public:
    static constexpr int cLevel = iLevel;

    void Enter() QORJOB_ACQUIRE() { mMutex.Enter(); }
    void Leave() QORJOB_RELEASE() { mMutex.Leave(); }

private:
    SystemMutex mMutex;
};

/// Holds a mutex for a scope.
template <class Lock>
class QORJOB_SCOPED_CAPABILITY MutexHold
{
public:
    explicit MutexHold(Lock& iMutex) QORJOB_ACQUIRE(iMutex) : mNote(&iMutex, Lock::cLevel), mMutex(iMutex)
    {
        mMutex.Enter();
    }
    ~MutexHold() QORJOB_RELEASE() { mMutex.Leave(); }

    MutexHold(const MutexHold&) = delete;
    MutexHold& operator=(const MutexHold&) = delete;

private:
    LockNote mNote;
    Lock& mMutex;
};

} // namespace QSynch
