#include "job/ChildList.h"

#include <utility>

void ChildList::Add(int iId)
{
    if (mChildren.empty())
    {
        constexpr std::size_t cFirstRoom = 8;
        mChildren.reserve(cFirstRoom);
        mChildren.emplace_back();
    }
    mLastOfId.MakeRoom();
    int place = mFirstFree;
    if (place == cNone)
    {
        place = static_cast<int>(mChildren.size());
        mChildren.emplace_back();
    }
    else
    {
        mFirstFree = At(place).mPreviousOfId;
    }
    // Nothing fails from here on.
    int& lastOfId = mLastOfId.At(static_cast<unsigned>(iId));
    const int last = std::exchange(At(0).mBefore, place);
    At(last).mBehind = place;
    At(place) = {iId, last, 0, std::exchange(lastOfId, place)};
}

void ChildList::Remove(int iId) noexcept
{
    const auto key = static_cast<unsigned>(iId);
    int place = mLastOfId.Find(key);
    if (place == cNone)
        return;
    mLastOfId.Remove(key);
    while (place != cNone)
    {
        Child& child = At(place);
        At(child.mBefore).mBehind = child.mBehind;
        At(child.mBehind).mBefore = child.mBefore;
        const int next = std::exchange(child.mPreviousOfId, mFirstFree);
        mFirstFree = std::exchange(place, next);
    }
}

void ChildList::CopyTo(QBase::list<QSynch::AtomicLong>& oIds) const
{
    QBase::list<QSynch::AtomicLong> ids(oIds.get_allocator());
    for (int place = mChildren.empty() ? 0 : At(0).mBehind; place != 0; place = At(place).mBehind)
        ids.emplace_back(At(place).mId);
    oIds.swap(ids);
}
