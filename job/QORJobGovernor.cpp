#include "context/ICKDXProcessContext.h"
#include "context/ICKDXReportInstance.h"
#include "job/KernelCounters.h"
#include "job/QORJobRows.h"
#include "platform/QPerfMon.h"

#include <utility>

bool QORJob::ApplyGovernorOrNot() const { return mbApplyGovernor; }

/// The opposite of what the name says: 1 switches governing off. Callers rely on it.
HRESULT QORJob::SetGovernedControl(int iControl)
{
    mbApplyGovernor = iControl != 1;
    return S_OK;
}

/// ExecutionKindNone for a job without a report.
int QORJob::GetExecutionKind() const
{
    const auto context = GetValue(mpProcessContext);
    if (!context)
        return ExecutionKindNone;
    int kind = ExecutionKindNone;
    const auto instance = ReportInstanceOf(InstanceObjectOf(*context.Get()).Get());
    return instance && SUCCEEDED(instance->get_ExecutionKind(&kind)) ? kind : ExecutionKindNone;
}

HRESULT QORJob::UpdateJobCloseCounters()
{
    int status = JobReady;
    {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        if (std::exchange(mbCloseCountersUpdated, true))
            return S_OK;
        status = mStatus;
    }
    const bool bFailed = QORJOB::HasFailed(status);
    // The job is counted even when its context throws: a report whose kind isn't known counts as one of no kind.
    int kind = ExecutionKindNone;
    Boundary([&] {
        if (IsReportRequest())
            kind = GetExecutionKind();
        return S_OK;
    });

    QPerfMon::PerformanceMonitor* monitor = QPerfMon::GetPerformanceMonitor();
    const std::int64_t age = (QDataType::DateTime::NowUTC() - mCreationTime).GetTotalMilliseconds();
    if (IsReportRequest())
    {
        monitor->Add(bFailed ? CounterReportsFailed : CounterReportsCompleted, 1);
        if (!bFailed && kind == ExecutionKind7)
            monitor->Add(CounterKind7Completed, 1);
        if (!bFailed && kind == ExecutionKind8)
            monitor->Add(CounterKind8Completed, 1);
        monitor->Add(CounterReportMilliseconds, age);
        if (kind == ExecutionKind7)
            monitor->Add(CounterKind7Milliseconds, age);
        if (kind == ExecutionKind8)
            monitor->Add(CounterKind8Milliseconds, age);
    }
    else if (mRequestType == RequestDocument)
    {
        monitor->Add(bFailed ? CounterDocumentsFailed : CounterDocumentsCompleted, 1);
        monitor->Add(CounterDocumentMilliseconds, age);
    }
    return S_OK;
}
