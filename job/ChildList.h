// The ids of a job's children, in the order in which they were added.
#pragma once

#include "platform/QBase.h"
#include "platform/QSynch.h"

#include <memory_resource>

/// An id may be there several times; all of them are removed at once, and no other child is looked at for that. Their
/// places are used again, so that a list in an arena takes memory for as many children as it ever had at a time.
///
/// Threads: one at a time; the job that has it has a lock.
/// Owns:    what it keeps the ids in, which it makes for the first of them: most jobs have no children.
/// Errors:  std::bad_alloc of Add and CopyTo, which then have changed nothing.
/// Locks:   none.
class ChildList
{
public:
    explicit ChildList(std::pmr::memory_resource* iMemory) : mpMemory(iMemory) {}
    ~ChildList();
    ChildList(const ChildList&) = delete;
    ChildList& operator=(const ChildList&) = delete;

    void Add(int iId);
    /// Every occurrence; there may be none.
    void Remove(int iId) noexcept;
    void CopyTo(QBase::list<QSynch::AtomicLong>& oIds) const;

private:
    class Body;

    std::pmr::memory_resource* mpMemory;
    Body* mpBody = nullptr;
};
