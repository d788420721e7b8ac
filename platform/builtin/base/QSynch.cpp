#include "platform/QSynch.h"

#include "platform/QBase.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/Faults.h"
#include "platform/builtin/base/SystemLocks.h"

#include <new>

namespace QSynch
{

namespace
{

// A job's lock is allocated with the job, beside its other data: it needs no cache line of its own.
class CriticalSectionBody final : public CriticalSection
{
public:
    explicit CriticalSectionBody(int iCategory) : mCategory(iCategory) {}

    Builtin::ReentrantMutex mMutex;
    const int mCategory;
};

class RWLockBody final : public RWLock
{
public:
    explicit RWLockBody(int iCategory) : mCategory(iCategory) {}

    Builtin::SharedMutex mMutex;
    const int mCategory;
};

CriticalSectionBody& BodyOf(CriticalSection* iLock) { return *static_cast<CriticalSectionBody*>(iLock); }

RWLockBody& BodyOf(RWLock* iLock) { return *static_cast<RWLockBody*>(iLock); }

template <class Body>
Body* CreateLock(int iCategory) noexcept
{
    if (Builtin::Faults::IsDue(Builtin::Faults::EnumFault::LockCreation))
        return nullptr;
    void* const memory = QBase::HeapAllocate(sizeof(Body));
    return memory == nullptr ? nullptr : ::new (memory) Body(iCategory);
}

template <class Body>
void DestroyLock(Body& iBody) noexcept
{
    iBody.~Body();
    QBase::HeapFree(&iBody);
}

} // namespace

CriticalSection* CreateCriticalSection(int iCategory) noexcept
{
    Builtin::EventTrace::Note("QSynch::CreateCriticalSection", {iCategory});
    return CreateLock<CriticalSectionBody>(iCategory);
}

void DestroyCriticalSection(CriticalSection* iLock) noexcept
{
    if (iLock == nullptr)
        return;
    Builtin::EventTrace::Note("QSynch::DestroyCriticalSection", {BodyOf(iLock).mCategory});
    DestroyLock(BodyOf(iLock));
}

void CriticalSection::Enter() { BodyOf(this).mMutex.lock(); }

void CriticalSection::Leave() { BodyOf(this).mMutex.unlock(); }

RWLock* CreateRWLock(int iCategory) noexcept
{
    Builtin::EventTrace::Note("QSynch::CreateRWLock", {iCategory});
    return CreateLock<RWLockBody>(iCategory);
}

void DestroyRWLock(RWLock* iLock) noexcept
{
    if (iLock == nullptr)
        return;
    Builtin::EventTrace::Note("QSynch::DestroyRWLock", {BodyOf(iLock).mCategory});
    DestroyLock(BodyOf(iLock));
}

void RWLock::EnterRead() { BodyOf(this).mMutex.lock_shared(); }

void RWLock::LeaveRead() { BodyOf(this).mMutex.unlock_shared(); }

void RWLock::EnterWrite() { BodyOf(this).mMutex.lock(); }

void RWLock::LeaveWrite() { BodyOf(this).mMutex.unlock(); }

} // namespace QSynch
