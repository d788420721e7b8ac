#include "base/KernelLog.h"
#include "context/ICKDXProcessContext.h"
#include "job/KernelCounters.h"
#include "job/QORJobRows.h"
#include "platform/QPerfMon.h"
#include "record/QORJobPUInfo.h"
#include "record/QORJobStep.h"

#include <memory>
#include <utility>

namespace
{

int UnitOf(const QORJobPUInfo& iVisit)
{
    int id = -1;
    iVisit.GetId(&id);
    return id;
}

} // namespace

NewestFirst<QORJobPUInfo> QORJob::GetVisits() const { return {mUnits.data(), mUnits.size()}; }

HRESULT QORJob::SetPUEnter(int iPUId, const QBase::WCHAR*, int)
{
    return Boundary([&]() -> HRESULT {
        std::unique_ptr<QORJobPUInfo> visit(new QORJobPUInfo(iPUId));
        if (visit == nullptr)
            return E_OUTOFMEMORY;
        visit->SetEnterTime();
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        mUnits.push_back(visit.get());
        visit.release();
        if (!QORJOB::HasFailed(mStatus)) // a completed job waits again
        {
            mStatus = JobWaiting; // stored directly: without counters and log line
            mStatusTime = QDataType::DateTime::NowUTC();
        }
        return S_OK;
    });
}

HRESULT QORJob::SetPUStart(int iPUId)
{
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        for (QORJobPUInfo* visit : GetVisits())
            if (UnitOf(*visit) == iPUId)
            {
                visit->SetStartTime();
                break;
            }
        if (QORJOB::HasFailed(mStatus))
            return S_OK;
        if (!mbStartedOnce)
        {
            mbStartedOnce = true;
            CountFirstStart();
        }
        mStatus = JobExecuting;
        mStatusTime = QDataType::DateTime::NowUTC();
        return S_OK;
    });
}

void QORJob::CountFirstStart()
{
    if (!IsReportRequest())
        return;
    QPerfMon::PerformanceMonitor* monitor = QPerfMon::GetPerformanceMonitor();
    monitor->Add(CounterReportQueueMilliseconds,
                 (QDataType::DateTime::NowUTC() - mCreationTime).GetTotalMilliseconds());
    if (mActiveCount == 0)
    {
        monitor->Add(CounterReportsExecuting, 1);
        mActiveCount = 1;
    }
}

HRESULT QORJob::SetPUExit(int iPUId, const QBase::WCHAR*)
{
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        // Of several visits the oldest is stamped, which readers of the visits expect.
        for (QORJobPUInfo* visit : mUnits)
            if (UnitOf(*visit) == iPUId)
            {
                visit->SetExitTime();
                break;
            }
        return S_OK;
    });
}

HRESULT QORJob::GetPUId(int* oPUId) const
{
    if (oPUId == nullptr)
        return E_POINTER;
    return Boundary([&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        if (mSteps.GetTodo().empty())
            return E_FAIL;
        if (mSteps.GetCurrent() == nullptr)
            return E_POINTER;
        int id = -1;
        mSteps.GetCurrent()->GetPUId(&id);
        *oPUId = id < 1 && !mUnits.empty() ? UnitOf(*mUnits.back()) : id;
        return S_OK;
    });
}

HRESULT QORJob::SetPriority(int iPriority, int* oOld)
{
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        // The line names the other operation: log readers search for that name.
        if (mPriority != iPriority)
            LogLine(EnumKernelRouter::JobTrace, "QORJob::SetPUPriority: Changing Job:%1 priority to %2 from %3.",
                    mId.Get(), iPriority, mPriority);
        *oOld = std::exchange(mPriority, iPriority);
        return S_OK;
    });
}

HRESULT QORJob::GetPriority(int* oPriority) const { return Get(mPriority, oPriority); }

HRESULT QORJob::SetPUPriority(int iPriority)
{
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        if (mPUPriority != iPriority)
            LogLine(EnumKernelRouter::JobTrace, "QORJob::SetPUPriority: Changing Job:%1 PU priority to %2 from %3.",
                    mId.Get(), iPriority, mPUPriority);
        mPUPriority = iPriority;
        return S_OK;
    });
}

HRESULT QORJob::GetPUPriority(int* oPriority) const { return Get(mPUPriority, oPriority); }

HRESULT QORJob::GetWaitingTime(unsigned* oMilliseconds) const
{
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        return GetWaitingTimeInternal(oMilliseconds);
    });
}

/// Never writes its out value, and gives the low half of an intermediate time for a job without finished steps: callers
/// rely on both.
HRESULT QORJob::GetWaitingTimeInternal(unsigned* oMilliseconds) const QORJOB_NO_THREAD_SAFETY_ANALYSIS
{
    if (oMilliseconds == nullptr)
        return E_POINTER;
    const QDataType::TimeSpan sinceCreation = QDataType::DateTime::NowUTC() - mCreationTime;
    return mSteps.GetFinished().empty() ? static_cast<HRESULT>(sinceCreation.GetTicks() & 0xFFFFFFFF) : S_OK;
}

void QORJob::EnqueuePulse() { mPulseEnqueueTime = GetPulseTimeStamp(); }

/// Without the lock: nobody replaces the context of a job that is being dequeued.
void QORJob::DequeuePulse()
{
    Boundary([&]() QORJOB_NO_THREAD_SAFETY_ANALYSIS {
        const double now = GetPulseTimeStamp();
        LONG value = -1;
        if (mpProcessContext && mpProcessContext->get_LongA(&value) != S_OK)
            return S_OK;
        const auto category =
            static_cast<Tag_EnumKDXPulseCategoryID>(PulseCategoryJobFirst + mCurrentStepForStatistics);
        if (IsRequestStatsEnabled(category))
            PULSE_RecordPulseEvent(value, mId, category, mPulseEnqueueTime, now);
        return S_OK;
    });
}
