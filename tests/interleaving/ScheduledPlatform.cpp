// The platform's locks, waits and noted calls under the scheduler, in place of the library's own: a program that
// defines all that one of the archive's files defines is linked without that file.
#include "platform/Mutex.h"
#include "platform/QBase.h"
#include "platform/QSynch.h"
#include "platform/builtin/EventTrace.h"
#include "tests/interleaving/Scheduler.h"

#include <new>

/// What the initialiser's guard calls while it spins.
extern "C" int sched_yield() noexcept
{
    Scheduler::Spin();
    return 0;
}

namespace QSynch
{

namespace
{

template <class Base>
struct Scheduled final : Base
{
    explicit Scheduled(int iCategory, bool ibOnHeap = true)
        : mLock{.mCategory = static_cast<short>(iCategory)}, mbOnHeap(ibOnHeap)
    {
    }

    ScheduledLock mLock;
    const bool mbOnHeap;
};

static_assert(sizeof(Scheduled<CriticalSection>) <= cCriticalSectionBytes);

template <class Base>
ScheduledLock& LockOf(Base* iLock)
{
    return static_cast<Scheduled<Base>*>(iLock)->mLock;
}

template <class Base>
void Destroy(Base* iLock)
{
    if (iLock != nullptr && static_cast<Scheduled<Base>*>(iLock)->mbOnHeap)
        QBase::HeapFree(iLock);
}

} // namespace

CriticalSection* CreateCriticalSection(int iCategory, void* iPlace) noexcept
{
    void* const memory = iPlace != nullptr ? iPlace : QBase::HeapAllocate(sizeof(Scheduled<CriticalSection>));
    return ::new (memory) Scheduled<CriticalSection>(iCategory, iPlace == nullptr);
}

void DestroyCriticalSection(CriticalSection* iLock) noexcept { Destroy(iLock); }

void CriticalSection::Enter() { Scheduler::Enter(LockOf(this), false); }

void CriticalSection::Leave() { Scheduler::Leave(LockOf(this), false); }

RWLock* CreateRWLock(int iCategory) noexcept
{
    Builtin::EventTrace::Note("CreateRWLock");
    return ::new (QBase::HeapAllocate(sizeof(Scheduled<RWLock>))) Scheduled<RWLock>(iCategory);
}

void DestroyRWLock(RWLock* iLock) noexcept { Destroy(iLock); }

void RWLock::EnterRead() { Scheduler::Enter(LockOf(this), true); }

void RWLock::LeaveRead() { Scheduler::Leave(LockOf(this), true); }

void RWLock::EnterWrite() { Scheduler::Enter(LockOf(this), false); }

void RWLock::LeaveWrite() { Scheduler::Leave(LockOf(this), false); }

/// A mutex is no point of its own; but who holds one may be parted, and others then come here.
void SystemMutex::Wait() noexcept
{
    while (mState.exchange(cAwaited, std::memory_order_acquire) != cFree)
        Scheduler::Spin();
}

void SystemMutex::Wake() noexcept {} // who waits looks by itself

} // namespace QSynch

namespace Builtin::EventTrace::Detail
{

constinit std::atomic<bool> gbRecording{true};

void Record(const char* iOperation, std::initializer_list<std::int64_t>) { Scheduler::MeetNoted(iOperation); }

} // namespace Builtin::EventTrace::Detail
