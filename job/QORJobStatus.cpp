#include "job/QORJobRows.h"
#include "platform/QPerfMon.h"
#include "task/KernelLog.h"

HRESULT QORJob::SetStatus(int iStatus, int* oOld)
{
    return Boundary("SetStatus", [&]() -> HRESULT {
        int old = JobReady;
        bool bRefused = false;
        {
            QSynch::CriticalSection::SmartLock lock(mpLock);
            old = mStatus;
            bRefused = iStatus == 13 && old != 8;
            if (!bRefused)
                StoreStatus(iStatus);
        }
        if (!bRefused)
        {
            if (iStatus == JobStoppedWithError && old != JobStoppedWithError)
                CountFailure();
            LogLine(EnumKernelRouter::JobTrace, "QORJob::SetStatus: Setting Job:%1 status to %2.", mId.Get(), iStatus);
        }
        if (oOld != nullptr)
            *oOld = old;
        return bRefused ? S_FALSE : S_OK;
    });
}

void QORJob::StoreStatus(int iStatus)
{
    mStatus = iStatus;
    mStatusTime = QDataType::DateTime::NowUTC();
    if (iStatus == JobCompleted || iStatus == JobStoppedWithError || iStatus == JobStopped)
    {
        if (IsReportRequest())
            TakeBackActiveCount();
        mFinishTime = QDataType::DateTime::NowUTC();
    }
}

/// Once in a job's life: what its first start in a processing unit has counted.
void QORJob::TakeBackActiveCount()
{
    if (mActiveCount != 1)
        return;
    QPerfMon::GetPerformanceMonitor()->Add(1, -1);
    --mActiveCount;
}

void QORJob::CountFailure() const
{
    if (mRequestType == RequestMetaData)
        QPerfMon::GetPerformanceMonitor()->Add(11, 1);
    else if (mRequestType == RequestElement)
        QPerfMon::GetPerformanceMonitor()->Add(13, 1);
}

HRESULT QORJob::GetStatus(int* oStatus) const { return Get("GetStatus", mStatus, oStatus); }

HRESULT QORJob::SetRunning(bool ibRunning, bool* obWasRunning)
{
    const HRESULT code = Set("SetRunning", mbRunning, ibRunning, obWasRunning);
    if (code == S_OK)
        LogLine(EnumKernelRouter::JobTrace,
                ibRunning ? "QORJob::SetRunning: Job:%1 set to running."
                          : "QORJob::SetRunning: Job:%1 set to not running.",
                mId.Get());
    return code;
}

HRESULT QORJob::IsRunning(bool* obRunning) const { return Get("IsRunning", mbRunning, obRunning); }

HRESULT QORJob::SetIAmDead(bool ibDead, bool* obWasDead, QORJobProcessingStep iStepId)
{
    if (obWasDead == nullptr)
        return E_POINTER;
    return Boundary("SetIAmDead", [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        *obWasDead = mbIAmDead;
        mbIAmDead = ibDead;
        mDeadStepId = iStepId;
        return S_OK;
    });
}

HRESULT QORJob::GetIAmDead(bool* obDead, QORJobProcessingStep* oStepId) const
{
    if (obDead == nullptr || oStepId == nullptr)
        return E_POINTER;
    return Boundary("GetIAmDead", [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        *obDead = mbIAmDead;
        *oStepId = static_cast<QORJobProcessingStep>(mDeadStepId);
        return S_OK;
    });
}

bool QORJob::IsStepPausing() const { return GetValue(mStatus) == JobPausing; }
