// A hash table of places in another container.
#pragma once

#include <cstddef>
#include <memory_resource>
#include <vector>

/// Gives the place of a key, a number from 0 on. It is one array without nodes: a lookup mostly reads one slot, and an
/// arena gives memory to it only when it doubles.
///
/// Threads: one at a time, or several that only look up.
/// Owns:    its slots.
/// Errors:  std::bad_alloc of MakeRoom, which then has changed nothing; the rest can't fail.
/// Locks:   none.
class IndexTable
{
public:
    static constexpr int cNone = -1;

    explicit IndexTable(std::pmr::memory_resource* iMemory) : mSlots(iMemory) {}
    IndexTable(const IndexTable&) = delete;
    IndexTable& operator=(const IndexTable&) = delete;

    /// The place of the key, cNone without one.
    int Find(unsigned iKey) const
    {
        return Find(iKey, [](int) { return true; });
    }
    /// Of several places that a key was added with, one for which `iIsIt` is true.
    template <class IsIt>
    int Find(unsigned iKey, IsIt iIsIt) const
    {
        return mSlots.empty() ? cNone : mSlots[Seek(iKey, iIsIt)].mPlace;
    }

    /// For one more key. Add and At need it before them.
    void MakeRoom();
    /// One more place, whether the key has one or not.
    void Add(unsigned iKey, int iPlace) noexcept;
    /// The place of the key, to be changed. A new key has cNone, and the caller sets it at once.
    int& At(unsigned iKey) noexcept;
    /// Takes out a key that is there once.
    void Remove(unsigned iKey) noexcept;

private:
    struct Slot
    {
        unsigned mKey = 0;
        int mPlace = cNone;
    };

    /// The keys are often counted up: multiplied by the golden ratio they spread evenly.
    std::size_t HomeOf(unsigned iKey) const { return (iKey * 0x9E3779B9U) >> mShift; }
    std::size_t Next(std::size_t iSlot) const { return (iSlot + 1) & (mSlots.size() - 1); }

    /// The key's slot, or the free one where the search for it ended: one is always free.
    template <class IsIt>
    std::size_t Seek(unsigned iKey, IsIt iIsIt) const
    {
        std::size_t slot = HomeOf(iKey);
        while (mSlots[slot].mPlace != cNone && !(mSlots[slot].mKey == iKey && iIsIt(mSlots[slot].mPlace)))
            slot = Next(slot);
        return slot;
    }

    std::pmr::vector<Slot> mSlots; // 2 to the power of 32 - mShift; none at first
    std::size_t mUsed = 0;
    unsigned mShift = 30;
};
