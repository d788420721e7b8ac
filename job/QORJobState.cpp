#include "job/QORJobState.h"

#include "base/Categories.h"
#include "base/ExceptionBoundary.h"
#include "base/KernelLog.h"
#include "context/ICKDXProcessContext.h"
#include "job/JobMemGovernor.h"
#include "platform/QPerfMon.h"
#include "platform/QorUserSession.h"

#include <new>

namespace
{

constexpr unsigned cLockFailed = 0x8004308E;

QSynch::CriticalSectionPtr MakeLock(void* iPlace)
{
    QSynch::CriticalSectionPtr lock(QSynch::CreateCriticalSection(LockCategoryJob, iPlace));
    if (lock == nullptr)
    {
        LogCoded(EnumKernelRouter::Error, cExceptionCaught, "QOR_EXCEPTION_CAUGHT", "QORJob::QORJob",
                 "Call to new() failed for mpLock");
        throw cLockFailed;
    }
    return lock;
}

QBase::Buffer* MakeLocalBuffer(void* iPlace)
{
    QBase::Buffer* buffer = QBase::CreateBuffer(0, 1, 256, false, iPlace);
    if (buffer == nullptr)
        throw std::bad_alloc();
    return buffer;
}

} // namespace

QORJobState::QORJobState(QSynch::AtomicLong iId, int iRequestType, int iPriority, QorUserSession* iSession,
                         QBase::Buffer* iBuffer)
    : mId(iId), mRequestType(iRequestType), mProfileIndex(QPerfMon::GetProfileIndex("Job Execution")),
      mbExternalBuffer(iBuffer != nullptr), mpLocalBuffer(iBuffer), mPriority(iPriority), mPUPriority(iPriority),
      mSteps(GetMemory()), mUnits(GetMemory()), mpUserSession(iSession),
      mpMemGovernor(std::make_shared<JobMemGovernor>(iId))
{
    // The lock first, then a buffer when the caller gave none: what can't be made decides the exception.
    mpLock = MakeLock(mLockPlace);
    if (mbExternalBuffer)
        return;
    mpOwnedBuffer.reset(MakeLocalBuffer(mBufferPlace));
    mpLocalBuffer = mpOwnedBuffer.get();
}

QORJobState::~QORJobState() = default;
