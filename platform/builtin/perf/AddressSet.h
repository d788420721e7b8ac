// A set of addresses with a lock of its own, for the live objects of a category.
#pragma once

#include "platform/LockOrder.h"
#include "platform/ThreadSafety.h"
#include "platform/builtin/base/SystemLocks.h"
#include "platform/builtin/perf/Shards.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <thread>
#include <utility>

namespace Builtin
{

/// For the few instructions that a set takes: a third of a mutex's time when nobody waits.
class QORJOB_CAPABILITY("spin lock") SpinLock
{
public:
    void Enter() noexcept QORJOB_ACQUIRE()
    {
        while (mbHeld.exchange(true, std::memory_order_acquire))
        {
            for (int looks = 0; mbHeld.load(std::memory_order_relaxed); ++looks)
            {
                if (IsProcessEnding())
                    return;
                if (looks > cLooksBeforeYield)
                    std::this_thread::yield();
            }
        }
    }

    void Leave() noexcept QORJOB_RELEASE() { mbHeld.store(false, std::memory_order_release); }

private:
    static constexpr int cLooksBeforeYield = 64;

    std::atomic<bool> mbHeld{false};
};

class QORJOB_SCOPED_CAPABILITY SpinHold
{
public:
    explicit SpinHold(SpinLock& iLock) noexcept QORJOB_ACQUIRE(iLock)
        : mNote(&iLock, QSynch::LockLevelSystem), mLock(iLock)
    {
        mLock.Enter();
    }
    ~SpinHold() QORJOB_RELEASE() { mLock.Leave(); }

    SpinHold(const SpinHold&) = delete;
    SpinHold& operator=(const SpinHold&) = delete;

private:
    QSynch::LockNote mNote;
    SpinLock& mLock;
};

inline constexpr unsigned cSetBits = 6;
inline constexpr std::size_t cSetCount = std::size_t{1} << cSetBits;

inline std::uint64_t Mix(const void* iObject)
{
    return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(iObject)) * 0x9E3779B97F4A7C15u;
}

/// A set of addresses: open addressing, at most half full, in a table that grows and is never given back. A standard
/// set behind a mutex makes two threads that make and end jobs one tenth slower.
class alignas(cLineBytes) AddressSet
{
public:
    void Insert(const void* iObject) noexcept
    {
        const SpinHold hold(mLock);
        if (2 * (mCount + 1) > mCapacity)
            Grow();
        // Without memory it fills up, but for the one free slot that ends every search.
        if (mCount + 1 >= mCapacity)
            return;
        if (std::exchange(mpSlots[FindSlot(iObject)], iObject) == nullptr)
            ++mCount;
    }

    void Erase(const void* iObject) noexcept
    {
        const SpinHold hold(mLock);
        if (mCount == 0)
            return;
        std::size_t hole = FindSlot(iObject);
        if (mpSlots[hole] == nullptr)
            return;
        // Those behind move up, unless that puts them before their home: no search meets a gap.
        for (std::size_t next = Next(hole); mpSlots[next] != nullptr; next = Next(next))
        {
            const std::size_t fromHome = (next - GetHome(mpSlots[next])) & (mCapacity - 1);
            const std::size_t fromHole = (next - hole) & (mCapacity - 1);
            if (fromHome < fromHole)
                continue;
            mpSlots[hole] = mpSlots[next];
            hole = next;
        }
        mpSlots[hole] = nullptr;
        --mCount;
    }

    std::size_t GetCount()
    {
        const SpinHold hold(mLock);
        return mCount;
    }

private:
    static constexpr std::size_t cFirstCapacity = 16;

    // The top bits have chosen the set already.
    std::size_t GetHome(const void* iObject) const QORJOB_REQUIRES(mLock)
    {
        return static_cast<std::size_t>(Mix(iObject) << cSetBits >> 32) & (mCapacity - 1);
    }

    std::size_t Next(std::size_t iSlot) const QORJOB_REQUIRES(mLock) { return (iSlot + 1) & (mCapacity - 1); }

    /// The object's slot, or the free one where it belongs.
    std::size_t FindSlot(const void* iObject) const QORJOB_REQUIRES(mLock)
    {
        std::size_t slot = GetHome(iObject);
        while (mpSlots[slot] != nullptr && mpSlots[slot] != iObject)
            slot = Next(slot);
        return slot;
    }

    void Grow() noexcept QORJOB_REQUIRES(mLock)
    {
        const std::size_t oldCapacity = mCapacity;
        const std::size_t capacity = oldCapacity == 0 ? cFirstCapacity : 2 * oldCapacity;
        const void** const slots = new (std::nothrow) const void*[capacity]();
        if (slots == nullptr)
            return;
        const void** const old = std::exchange(mpSlots, slots);
        mCapacity = capacity;
        for (std::size_t slot = 0; slot < oldCapacity; ++slot)
        {
            if (old[slot] != nullptr)
                mpSlots[FindSlot(old[slot])] = old[slot];
        }
        delete[] old;
    }

    SpinLock mLock;
    std::size_t mCount QORJOB_GUARDED_BY(mLock) = 0;
    std::size_t mCapacity QORJOB_GUARDED_BY(mLock) = 0; // a power of two
    const void** mpSlots QORJOB_GUARDED_BY(mLock) = nullptr;
};

} // namespace Builtin
