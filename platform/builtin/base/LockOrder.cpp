#include "platform/LockOrder.h"

#if defined(QORJOB_LOCK_ORDER)

#include "platform/builtin/base/System.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace QSynch
{

namespace
{

/// More than any thread holds at once. They stay few and short: a library that is loaded late finds little room for the
/// values of threads.
constexpr int cMaxHeld = 8;

struct Held
{
    const void* mpLock = nullptr;
    int mLevel = 0;
    Builtin::System::CallStack mTakenAt;
};

struct HeldLocks
{
    Held mLocks[cMaxHeld];
    int mCount = 0;
};

constinit thread_local HeldLocks tHeld;

[[noreturn]] void End(const Held& iHeld, const Held& iTaken) noexcept
{
    std::fprintf(
        stderr,
        "qorjob: locks out of order: a thread takes the lock %p of level %d, while it holds the lock %p of level "
        "%d.\nIt takes the one at\n",
        iTaken.mpLock, iTaken.mLevel, iHeld.mpLock, iHeld.mLevel);
    iTaken.mTakenAt.Print();
    std::fputs("and has taken the other at\n", stderr);
    iHeld.mTakenAt.Print();
    std::abort();
}

} // namespace

void NoteLockTaken(const void* iLock, int iLevel) noexcept
{
    HeldLocks& held = tHeld;
    if (iLevel == LockLevelNone || held.mCount == cMaxHeld)
        return;
    Held& taken = held.mLocks[held.mCount];
    taken.mpLock = iLock;
    taken.mLevel = iLevel;
    taken.mTakenAt.Capture();
    for (int i = 0; i < held.mCount; ++i)
    {
        if (held.mLocks[i].mLevel >= iLevel)
            End(held.mLocks[i], taken);
    }
    ++held.mCount;
}

void NoteLockLeft(const void* iLock) noexcept
{
    HeldLocks& held = tHeld;
    Held* const end = held.mLocks + held.mCount;
    Held* const left = std::find_if(held.mLocks, end, [&](const Held& iHeld) { return iHeld.mpLock == iLock; });
    if (left == end)
        return;
    std::move(left + 1, end, left);
    --held.mCount;
}

} // namespace QSynch

#else

void QSynch::NoteLockTaken(const void* /*iLock*/, int /*iLevel*/) noexcept {}

void QSynch::NoteLockLeft(const void* /*iLock*/) noexcept {}

#endif
