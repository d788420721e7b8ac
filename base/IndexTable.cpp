#include "base/IndexTable.h"

#include <cstddef>
#include <vector>

void IndexTable::MakeRoom()
{
    if (4 * (mUsed + 1) <= 3 * mSlots.size())
        return;
    const unsigned shift = mShift - 1;
    std::pmr::vector<Slot> old(std::size_t{1} << (32 - shift), mSlots.get_allocator());
    old.swap(mSlots);
    mShift = shift;
    mUsed = 0;
    for (const Slot& slot : old)
        if (slot.mPlace != cNone)
            Add(slot.mKey, slot.mPlace);
}

void IndexTable::Add(unsigned iKey, int iPlace) noexcept
{
    mSlots[Seek(iKey, [](int) { return false; })] = {iKey, iPlace};
    ++mUsed;
}

int& IndexTable::At(unsigned iKey) noexcept
{
    Slot& slot = mSlots[Seek(iKey, [](int) { return true; })];
    if (slot.mPlace == cNone)
    {
        slot.mKey = iKey;
        ++mUsed;
    }
    return slot.mPlace;
}

void IndexTable::Remove(unsigned iKey) noexcept
{
    std::size_t gap = Seek(iKey, [](int) { return true; });
    --mUsed;
    // Whoever was displaced over the gap moves into it: a search ends at the first free slot.
    for (std::size_t slot = Next(gap); mSlots[slot].mPlace != cNone; slot = Next(slot))
    {
        const std::size_t mask = mSlots.size() - 1;
        const std::size_t displaced = (slot - HomeOf(mSlots[slot].mKey)) & mask;
        if (displaced >= ((slot - gap) & mask))
        {
            mSlots[gap] = mSlots[slot];
            gap = slot;
        }
    }
    mSlots[gap].mPlace = cNone;
}
