// The ids of a job's children, in the order in which they were added.
#pragma once

#include "base/IndexTable.h"
#include "platform/QBase.h"
#include "platform/QSynch.h"

#include <cstddef>
#include <memory_resource>
#include <vector>

/// An id may be there several times; all of them are removed at once, and no other child is looked at for that. Their
/// places are used again, so that a list in an arena takes memory for as many children as it ever had at a time.
///
/// Threads: one at a time; the job that has it has a lock.
/// Owns:    what it keeps the ids in.
/// Errors:  std::bad_alloc of Add and CopyTo, which then have changed nothing.
/// Locks:   none.
class ChildList
{
public:
    explicit ChildList(std::pmr::memory_resource* iMemory) : mChildren(iMemory), mLastOfId(iMemory) {}

    void Add(int iId);
    /// Every occurrence; there may be none.
    void Remove(int iId) noexcept;
    void CopyTo(QBase::list<QSynch::AtomicLong>& oIds) const;

private:
    static constexpr int cNone = IndexTable::cNone;

    struct Child
    {
        int mId = 0;
        int mBefore = 0;
        int mBehind = 0;
        int mPreviousOfId = cNone; // the one that had the id before it; of a free entry another free one
    };

    Child& At(int iPlace) { return mChildren[static_cast<std::size_t>(iPlace)]; }
    const Child& At(int iPlace) const { return mChildren[static_cast<std::size_t>(iPlace)]; }

    std::pmr::vector<Child> mChildren; // a ring in their order, through the first entry, which is none
    IndexTable mLastOfId;
    int mFirstFree = cNone;
};
