#include "platform/QPerfMon.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/PerfReadings.h"
#include "platform/builtin/perf/CacheLines.h"

#include <atomic>
#include <cstddef>
#include <mutex>
#include <new>
#include <thread>
#include <utility>

namespace
{

constexpr int cCategoryCount = 32;

bool IsKnownCategory(int iCategory) { return iCategory >= 0 && iCategory < cCategoryCount; }

struct alignas(Builtin::cLineBytes) CountShard
{
    std::atomic<std::int64_t> mCounts[cCategoryCount];
};

constinit CountShard gCountShards[Builtin::cShardCount]{};

void AddToCount(int iCategory, std::int64_t iDelta) noexcept
{
    if (IsKnownCategory(iCategory))
        gCountShards[Builtin::GetThreadShard()].mCounts[iCategory].fetch_add(iDelta, std::memory_order_relaxed);
}

/// For the few instructions that a set needs: a third of what a mutex costs when nobody waits.
class SpinLock
{
public:
    void lock() noexcept // NOLINT(readability-identifier-naming): std::lock_guard asks for the names
    {
        while (mbHeld.exchange(true, std::memory_order_acquire))
        {
            for (int looks = 0; mbHeld.load(std::memory_order_relaxed); ++looks)
            {
                if (looks > cLooksBeforeYield)
                    std::this_thread::yield();
            }
        }
    }

    void unlock() noexcept { mbHeld.store(false, std::memory_order_release); } // NOLINT(readability-identifier-naming)

private:
    static constexpr int cLooksBeforeYield = 64;

    std::atomic<bool> mbHeld{false};
};

constexpr unsigned cSetBits = 6;
constexpr std::size_t cSetCount = std::size_t{1} << cSetBits;

std::uint64_t Mix(const void* iObject)
{
    return static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(iObject)) * 0x9E3779B97F4A7C15u;
}

/// A set of addresses: open addressing, at most half full, in a table that grows and is never given back.
class alignas(Builtin::cLineBytes) AddressSet
{
public:
    void Insert(const void* iObject) noexcept
    {
        const std::lock_guard hold(mLock);
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
        const std::lock_guard hold(mLock);
        if (mCount == 0)
            return;
        std::size_t hole = FindSlot(iObject);
        if (mpSlots[hole] == nullptr)
            return;
        // Those behind move up, each if it doesn't thereby come to stand before its home: no search meets a gap.
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
        const std::lock_guard hold(mLock);
        return mCount;
    }

private:
    static constexpr std::size_t cFirstCapacity = 16;

    // The top bits have chosen the set already.
    std::size_t GetHome(const void* iObject) const
    {
        return static_cast<std::size_t>(Mix(iObject) << cSetBits >> 32) & (mCapacity - 1);
    }

    std::size_t Next(std::size_t iSlot) const { return (iSlot + 1) & (mCapacity - 1); }

    /// The object's slot, or the free one where it belongs.
    std::size_t FindSlot(const void* iObject) const
    {
        std::size_t slot = GetHome(iObject);
        while (mpSlots[slot] != nullptr && mpSlots[slot] != iObject)
            slot = Next(slot);
        return slot;
    }

    void Grow() noexcept
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
    std::size_t mCount = 0;
    std::size_t mCapacity = 0; // a power of two
    const void** mpSlots = nullptr;
};

constinit AddressSet gLiveObjects[cCategoryCount][cSetCount]{};

AddressSet& GetSet(int iCategory, const void* iObject)
{
    return gLiveObjects[iCategory][Mix(iObject) >> (64 - cSetBits)];
}

class InstanceCount final : public QORObjectInstanceCount
{
public:
    void IncreaseObjectInstanceCount(int iCategory) noexcept override
    {
        Builtin::EventTrace::Note("QORObjectInstanceCount::IncreaseObjectInstanceCount", {iCategory});
        AddToCount(iCategory, 1);
    }

    void DecreaseObjectInstanceCount(int iCategory) noexcept override
    {
        Builtin::EventTrace::Note("QORObjectInstanceCount::DecreaseObjectInstanceCount", {iCategory});
        AddToCount(iCategory, -1);
    }

    void CreateObjectInstance(int iCategory, const void* iObject) noexcept override
    {
        Builtin::EventTrace::Note("QORObjectInstanceCount::CreateObjectInstance", {iCategory});
        if (IsKnownCategory(iCategory) && iObject != nullptr)
            GetSet(iCategory, iObject).Insert(iObject);
    }

    void DeleteObjectInstance(int iCategory, const void* iObject) noexcept override
    {
        Builtin::EventTrace::Note("QORObjectInstanceCount::DeleteObjectInstance", {iCategory});
        if (IsKnownCategory(iCategory) && iObject != nullptr)
            GetSet(iCategory, iObject).Erase(iObject);
    }
};

constinit InstanceCount gInstanceCount;

} // namespace

QORObjectInstanceCount* QORObjectInstanceCount::GetObjectInstanceCount() noexcept { return &gInstanceCount; }

std::int64_t Builtin::PerfReadings::GetInstanceCount(int iCategory)
{
    std::int64_t sum = 0;
    if (IsKnownCategory(iCategory))
    {
        for (const CountShard& shard : gCountShards)
            sum += shard.mCounts[iCategory].load(std::memory_order_relaxed);
    }
    return sum;
}

std::int64_t Builtin::PerfReadings::GetLiveInstances(int iCategory)
{
    std::size_t sum = 0;
    if (IsKnownCategory(iCategory))
    {
        for (AddressSet& set : gLiveObjects[iCategory])
            sum += set.GetCount();
    }
    return static_cast<std::int64_t>(sum);
}
