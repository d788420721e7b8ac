#include "job/ChildList.h"

#include "base/IndexTable.h"

#include <cstddef>
#include <utility>
#include <vector>

namespace
{

constexpr int cNone = IndexTable::cNone;

} // namespace

/// A ring of the children in their order, through an entry that is none: the first.
class ChildList::Body
{
public:
    explicit Body(std::pmr::memory_resource* iMemory) : mChildren(iMemory), mLastOfId(iMemory)
    {
        constexpr std::size_t cFirstRoom = 8;
        mChildren.reserve(cFirstRoom);
        mChildren.emplace_back();
    }

    void Add(int iId)
    {
        mLastOfId.MakeRoom();
        int place = mFirstFree;
        if (place == cNone)
        {
            place = static_cast<int>(mChildren.size());
            mChildren.emplace_back();
        }
        else
        {
            mFirstFree = At(place).mNextOfId;
        }
        // Nothing fails from here on.
        int& lastOfId = mLastOfId.At(static_cast<unsigned>(iId));
        const int last = std::exchange(At(0).mBefore, place);
        At(last).mBehind = place;
        At(place) = {iId, last, 0, std::exchange(lastOfId, place)};
    }

    void Remove(int iId) noexcept
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
            const int next = std::exchange(child.mNextOfId, mFirstFree);
            mFirstFree = std::exchange(place, next);
        }
    }

    void CopyTo(QBase::list<QSynch::AtomicLong>& oIds)
    {
        for (int place = At(0).mBehind; place != 0; place = At(place).mBehind)
            oIds.emplace_back(At(place).mId);
    }

private:
    struct Child
    {
        int mId = 0;
        int mBefore = 0;
        int mBehind = 0;
        int mNextOfId = cNone; // the one before it that has the same id; of a free entry the next free one
    };

    Child& At(int iPlace) { return mChildren[static_cast<std::size_t>(iPlace)]; }

    std::pmr::vector<Child> mChildren;
    IndexTable mLastOfId;
    int mFirstFree = cNone;
};

ChildList::~ChildList()
{
    if (mpBody != nullptr)
        std::pmr::polymorphic_allocator<Body>(mpMemory).delete_object(mpBody);
}

void ChildList::Add(int iId)
{
    if (mpBody == nullptr)
        mpBody = std::pmr::polymorphic_allocator<Body>(mpMemory).new_object<Body>(mpMemory);
    mpBody->Add(iId);
}

void ChildList::Remove(int iId) noexcept
{
    if (mpBody != nullptr)
        mpBody->Remove(iId);
}

void ChildList::CopyTo(QBase::list<QSynch::AtomicLong>& oIds) const
{
    QBase::list<QSynch::AtomicLong> ids(oIds.get_allocator());
    if (mpBody != nullptr)
        mpBody->CopyTo(ids);
    oIds.swap(ids);
}
