#include "base/KernelLog.h"
#include "context/ICKDXProcessContext.h"
#include "job/QORJobRows.h"

HRESULT QORJob::SetParentId(QSynch::AtomicLong iId) { return Set("SetParentId", mFamily.mParentId, iId); }

/// The context is called under the lock on purpose: whoever sees the parent finds its governor in the context.
HRESULT QORJob::SetParentId(QSynch::AtomicLong iId, std::shared_ptr<JobMemGovernor> iGovernor)
{
    return Boundary("SetParentId", [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        mFamily.mParentId = iId;
        mpMemGovernor.swap(iGovernor);
        if (mpProcessContext)
            mpProcessContext->put_SharedHandle(mpMemGovernor);
        return S_OK;
    });
}

HRESULT QORJob::GetParentId(QSynch::AtomicLong* oId) const { return CopyId("GetParentId", mFamily.mParentId, oId); }

int QORJob::GetParentId() const { return GetValue(mFamily.mParentId); }

HRESULT QORJob::SetPreJobId(QSynch::AtomicLong iId) { return Set("SetPreJobId", mPreJobId, iId); }

HRESULT QORJob::GetPreJobId(QSynch::AtomicLong* oId) const { return CopyId("GetPreJobId", mPreJobId, oId); }

HRESULT QORJob::CopyId(const char* iOperation, const QSynch::AtomicLong& iField, QSynch::AtomicLong* oId) const
{
    return oId == nullptr ? S_OK : Get(iOperation, iField, oId);
}

HRESULT QORJob::SetRunningChildCount(int iCount, int* oOld)
{
    return Set("SetRunningChildCount", mFamily.mRunningChildCount, iCount, oOld);
}

HRESULT QORJob::GetRunningChildCount(int* oCount) const
{
    return Get("GetRunningChildCount", mFamily.mRunningChildCount, oCount);
}

HRESULT QORJob::IncrementRunningChildCount(int* oCount)
{
    return ChangeRunningChildCount("IncrementRunningChildCount", 1, oCount);
}

HRESULT QORJob::DecrementRunningChildCount(int* oCount)
{
    return ChangeRunningChildCount("DecrementRunningChildCount", -1, oCount);
}

HRESULT QORJob::ChangeRunningChildCount(const char* iOperation, int iChange, int* oCount)
{
    return Boundary(iOperation, [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        mFamily.mRunningChildCount += iChange;
        if (oCount != nullptr)
            *oCount = mFamily.mRunningChildCount;
        return S_OK;
    });
}

HRESULT QORJob::AddChild(QSynch::AtomicLong iChildId)
{
    LogLine(EnumKernelRouter::JobTrace, "[DEBUG TRACING]QORJob::AddChild: child job %1 is added into document job %2",
            iChildId.Get(), mId.Get());
    return Boundary("AddChild", [&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        if (mStatus >= JobCompleted && mStatus <= JobStopped)
            return E_FAIL;
        mFamily.mExecutingChildren.push_back(iChildId);
        return S_OK;
    });
}

HRESULT QORJob::RemoveExecutingChild(QSynch::AtomicLong iChildId)
{
    LogLine(EnumKernelRouter::JobTrace,
            "[DEBUG TRACING]QORJob::RemoveExecutingChild: child job %1 is removed from document job %2", iChildId.Get(),
            mId.Get());
    return Boundary("RemoveExecutingChild", [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        mFamily.mExecutingChildren.remove(iChildId);
        return S_OK;
    });
}

HRESULT QORJob::MarkChildComplete(QSynch::AtomicLong iChildId)
{
    LogLine(EnumKernelRouter::JobTrace,
            "[DEBUG TRACING]QORJob::MarkChildComplete: child job %1 of document job %2 is completed", iChildId.Get(),
            mId.Get());
    return Boundary("MarkChildComplete", [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        mFamily.mFinishedChildren.push_back(iChildId);
        mFamily.mExecutingChildren.remove(iChildId);
        return S_OK;
    });
}

HRESULT QORJob::GetExecutingChildrenList(QBase::list<QSynch::AtomicLong>& oChildren) const
{
    return CopyIds("GetExecutingChildrenList", mFamily.mExecutingChildren, oChildren);
}

HRESULT QORJob::GetFinishedChildrenList(QBase::list<QSynch::AtomicLong>& oChildren) const
{
    return CopyIds("GetFinishedChildrenList", mFamily.mFinishedChildren, oChildren);
}

HRESULT QORJob::CopyIds(const char* iOperation, const IdList& iIds, IdList& oIds) const
{
    return Boundary(iOperation, [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        oIds = iIds;
        return S_OK;
    });
}
