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

// A job's lock is made with the job, among what else is its own: it needs no cache line to itself.
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

// The bodies lock a system's mutex, which carries no annotations: the analysis can't follow them.

void CriticalSection::Enter() QORJOB_NO_THREAD_SAFETY_ANALYSIS { BodyOf(this).mMutex.lock(); }

void CriticalSection::Leave() QORJOB_NO_THREAD_SAFETY_ANALYSIS { BodyOf(this).mMutex.unlock(); }

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

void RWLock::EnterRead() QORJOB_NO_THREAD_SAFETY_ANALYSIS { BodyOf(this).mMutex.lock_shared(); }

void RWLock::LeaveRead() QORJOB_NO_THREAD_SAFETY_ANALYSIS { BodyOf(this).mMutex.unlock_shared(); }

void RWLock::EnterWrite() QORJOB_NO_THREAD_SAFETY_ANALYSIS { BodyOf(this).mMutex.lock(); }

void RWLock::LeaveWrite() QORJOB_NO_THREAD_SAFETY_ANALYSIS { BodyOf(this).mMutex.unlock(); }

} // namespace QSynch
