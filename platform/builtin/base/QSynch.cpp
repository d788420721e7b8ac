#include "platform/QSynch.h"

#include "platform/LockOrder.h"
#include "platform/Mutex.h"
#include "platform/QBase.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/Faults.h"
#include "platform/builtin/base/SystemLocks.h"
#include "platform/builtin/base/ThreadId.h"

#include <atomic>
#include <cstdint>
#include <new>

namespace QSynch
{

namespace
{

/// What docs/locking.md says of the library's categories. Others have no place in the order.
constexpr int GetLevel(int iCategory)
{
    switch (iCategory)
    {
    case 4:
        return LockLevelJob;
    case 300:
        return LockLevelContext;
    case -3:
        return LockLevelThreadMessages;
    case 26:
    case 27:
        return LockLevelShared; // a dependency manager's, a registry's
    default:
        return LockLevelNone;
    }
}

void NoteTaken(const void* iLock, int iCategory) noexcept
{
    if constexpr (cbLocksAreWatched)
        NoteLockTaken(iLock, GetLevel(iCategory));
}

void NoteLeft(const void* iLock) noexcept
{
    if constexpr (cbLocksAreWatched)
        NoteLockLeft(iLock);
}

/// The thread that holds the lock is known by its mark, so that to take it once more is a look at a number.
class CriticalSectionBody final : public CriticalSection
{
public:
    CriticalSectionBody(int iCategory, bool ibOnHeap) : mCategory(static_cast<short>(iCategory)), mbOnHeap(ibOnHeap) {}

    int GetCategory() const noexcept { return mCategory; }
    bool IsOnHeap() const noexcept { return mbOnHeap; }

    void Lock() noexcept
    {
        const std::uintptr_t self = Builtin::GetThreadMark();
        // Relaxed: whatever another thread writes here meanwhile, it isn't this one's mark.
        if (mOwner.load(std::memory_order_relaxed) == self)
        {
            ++mFurtherEntries;
            return;
        }
        NoteTaken(this, mCategory);
        mMutex.Enter();
        mOwner.store(self, std::memory_order_relaxed);
    }

    void Unlock() noexcept
    {
        if (mFurtherEntries > 0)
        {
            --mFurtherEntries;
            return;
        }
        mOwner.store(0, std::memory_order_relaxed);
        mMutex.Leave();
        NoteLeft(this);
    }

private:
    std::atomic<std::uintptr_t> mOwner{0};
    SystemMutex mMutex;
    int mFurtherEntries = 0; // the owner's
    const short mCategory;
    const bool mbOnHeap;
};

static_assert(sizeof(CriticalSectionBody) <= cCriticalSectionBytes &&
              alignof(CriticalSectionBody) <= cCriticalSectionAlignment);

class RWLockBody final : public RWLock
{
public:
    explicit RWLockBody(int iCategory) : mCategory(iCategory) {}

    Builtin::SharedMutex mMutex;
    const int mCategory;
};

CriticalSectionBody& BodyOf(CriticalSection* iLock) { return *static_cast<CriticalSectionBody*>(iLock); }

RWLockBody& BodyOf(RWLock* iLock) { return *static_cast<RWLockBody*>(iLock); }

bool CanBeMade() { return !Builtin::Faults::IsDue(Builtin::Faults::EnumFault::LockCreation); }

} // namespace

CriticalSection* CreateCriticalSection(int iCategory, void* iPlace) noexcept
{
    Builtin::EventTrace::Note("QSynch::CreateCriticalSection", {iCategory});
    if (!CanBeMade())
        return nullptr;
    void* const memory = iPlace != nullptr ? iPlace : QBase::HeapAllocate(sizeof(CriticalSectionBody));
    return memory == nullptr ? nullptr : ::new (memory) CriticalSectionBody(iCategory, iPlace == nullptr);
}

void DestroyCriticalSection(CriticalSection* iLock) noexcept
{
    if (iLock == nullptr)
        return;
    CriticalSectionBody& body = BodyOf(iLock);
    Builtin::EventTrace::Note("QSynch::DestroyCriticalSection", {body.GetCategory()});
    const bool bOnHeap = body.IsOnHeap();
    body.~CriticalSectionBody();
    if (bOnHeap)
        QBase::HeapFree(&body);
}

void CriticalSection::Enter() { BodyOf(this).Lock(); }

void CriticalSection::Leave() { BodyOf(this).Unlock(); }

RWLock* CreateRWLock(int iCategory) noexcept
{
    Builtin::EventTrace::Note("QSynch::CreateRWLock", {iCategory});
    if (!CanBeMade())
        return nullptr;
    void* const memory = QBase::HeapAllocate(sizeof(RWLockBody));
    return memory == nullptr ? nullptr : ::new (memory) RWLockBody(iCategory);
}

void DestroyRWLock(RWLock* iLock) noexcept
{
    if (iLock == nullptr)
        return;
    RWLockBody& body = BodyOf(iLock);
    Builtin::EventTrace::Note("QSynch::DestroyRWLock", {body.mCategory});
    body.~RWLockBody();
    QBase::HeapFree(&body);
}

void RWLock::EnterRead()
{
    NoteTaken(this, BodyOf(this).mCategory);
    BodyOf(this).mMutex.lock_shared();
}

void RWLock::LeaveRead()
{
    BodyOf(this).mMutex.unlock_shared();
    NoteLeft(this);
}

void RWLock::EnterWrite()
{
    NoteTaken(this, BodyOf(this).mCategory);
    BodyOf(this).mMutex.lock();
}

void RWLock::LeaveWrite()
{
    BodyOf(this).mMutex.unlock();
    NoteLeft(this);
}

} // namespace QSynch
