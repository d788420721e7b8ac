#include "base/KernelLog.h"
#include "context/ICKDXProcessContext.h"
#include "job/QORJobRows.h"

HRESULT QORJob::SetParentId(QSynch::AtomicLong iId) { return Set(mFamily.mParentId, iId); }

/// The context is called under the lock on purpose: who reads the parent's id finds its governor in the context.
HRESULT QORJob::SetParentId(QSynch::AtomicLong iId, std::shared_ptr<JobMemGovernor> iGovernor)
{
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        mFamily.mParentId = iId;
        mpMemGovernor.swap(iGovernor);
        if (mpProcessContext)
            mpProcessContext->put_SharedHandle(mpMemGovernor);
        return S_OK;
    });
}

HRESULT QORJob::GetParentId(QSynch::AtomicLong* oId) const { return CopyId(mFamily.mParentId, oId); }

int QORJob::GetParentId() const { return GetValue(mFamily.mParentId); }

HRESULT QORJob::SetPreJobId(QSynch::AtomicLong iId) { return Set(mPreJobId, iId); }

HRESULT QORJob::GetPreJobId(QSynch::AtomicLong* oId) const { return CopyId(mPreJobId, oId); }

HRESULT QORJob::CopyId(const QSynch::AtomicLong& iField, QSynch::AtomicLong* oId, const char* iOperation) const
{
    return oId == nullptr ? S_OK : Get(iField, oId, iOperation);
}

HRESULT QORJob::SetRunningChildCount(int iCount, int* oOld) { return Set(mFamily.mRunningChildCount, iCount, oOld); }

HRESULT QORJob::GetRunningChildCount(int* oCount) const { return Get(mFamily.mRunningChildCount, oCount); }

HRESULT QORJob::IncrementRunningChildCount(int* oCount) { return ChangeRunningChildCount(1, oCount); }

HRESULT QORJob::DecrementRunningChildCount(int* oCount) { return ChangeRunningChildCount(-1, oCount); }

HRESULT QORJob::ChangeRunningChildCount(int iChange, int* oCount, const char* iOperation)
{
    return Boundary(
        [&] {
            QSynch::CriticalSection::SmartLock lock(mpLock.get());
            mFamily.mRunningChildCount += iChange;
            if (oCount != nullptr)
                *oCount = mFamily.mRunningChildCount;
            return S_OK;
        },
        iOperation);
}

HRESULT QORJob::AddChild(QSynch::AtomicLong iChildId)
{
    LogLine(EnumKernelRouter::JobTrace, "[DEBUG TRACING]QORJob::AddChild: child job %1 is added into document job %2",
            iChildId.Get(), mId.Get());
    return Boundary([&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        if (QORJOB::HasEnded(mStatus))
            return E_FAIL;
        mFamily.mExecutingChildren.Write(GetMemory()).Add(iChildId);
        return S_OK;
    });
}

HRESULT QORJob::RemoveExecutingChild(QSynch::AtomicLong iChildId)
{
    LogLine(EnumKernelRouter::JobTrace,
            "[DEBUG TRACING]QORJob::RemoveExecutingChild: child job %1 is removed from document job %2", iChildId.Get(),
            mId.Get());
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        if (ChildList* executing = mFamily.mExecutingChildren.Get())
            executing->Remove(iChildId);
        return S_OK;
    });
}

HRESULT QORJob::MarkChildComplete(QSynch::AtomicLong iChildId)
{
    LogLine(EnumKernelRouter::JobTrace,
            "[DEBUG TRACING]QORJob::MarkChildComplete: child job %1 of document job %2 is completed", iChildId.Get(),
            mId.Get());
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        mFamily.mFinishedChildren.Write(GetMemory()).Add(iChildId);
        if (ChildList* executing = mFamily.mExecutingChildren.Get())
            executing->Remove(iChildId);
        return S_OK;
    });
}

HRESULT QORJob::GetExecutingChildrenList(QBase::list<QSynch::AtomicLong>& oChildren) const
{
    return CopyIds(mFamily.mExecutingChildren, oChildren);
}

HRESULT QORJob::GetFinishedChildrenList(QBase::list<QSynch::AtomicLong>& oChildren) const
{
    return CopyIds(mFamily.mFinishedChildren, oChildren);
}

HRESULT QORJob::CopyIds(const OnDemand<ChildList>& iIds, IdList& oIds, const char* iOperation) const
{
    return Boundary(
        [&] {
            QSynch::CriticalSection::SmartLock lock(mpLock.get());
            iIds.Read().CopyTo(oIds);
            return S_OK;
        },
        iOperation);
}
