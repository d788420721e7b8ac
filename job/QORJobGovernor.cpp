#include "context/ICKDXProcessContext.h"
#include "context/ICKDXReportInstance.h"
#include "job/QORJobRows.h"
#include "platform/QPerfMon.h"

#include <utility>

bool QORJob::ApplyGovernorOrNot() const { return mbApplyGovernor; }

/// The sense is the other way round from what the name says: 1 switches governing off, and callers pass it so.
HRESULT QORJob::SetGovernedControl(int iControl)
{
    mbApplyGovernor = iControl != 1;
    return S_OK;
}

/// 0 for a job without a report.
int QORJob::GetExecutionKind() const
{
    const auto context = GetValue(mpProcessContext);
    if (!context)
        return 0;
    int kind = 0;
    const auto instance = ReportInstanceOf(InstanceObjectOf(*context.Get()).Get());
    return instance && SUCCEEDED(instance->get_ExecutionKind(&kind)) ? kind : 0;
}

HRESULT QORJob::UpdateJobCloseCounters()
{
    int status = JobReady;
    {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        if (std::exchange(mbCloseCountersUpdated, true))
            return S_OK;
        status = mStatus;
    }
    const bool bFailed = status == JobStoppedWithError || status == JobCancelled || status == JobStopped;
    // The job is counted whatever its context does: a report whose kind can't be had counts as one of no kind.
    int kind = 0;
    Boundary("UpdateJobCloseCounters", [&] {
        if (IsReportRequest())
            kind = GetExecutionKind();
        return S_OK;
    });

    QPerfMon::PerformanceMonitor* monitor = QPerfMon::GetPerformanceMonitor();
    const std::int64_t age = (QDataType::DateTime::NowUTC() - mCreationTime).GetTotalMilliseconds();
    if (IsReportRequest())
    {
        // Two kinds of execution have counters of their own beside those of all reports.
        monitor->Add(bFailed ? 4 : 2, 1);
        if (!bFailed && (kind == 7 || kind == 8))
            monitor->Add(kind == 7 ? 38 : 39, 1);
        monitor->Add(8, age);
        if (kind == 7 || kind == 8)
            monitor->Add(kind == 7 ? 42 : 43, age);
    }
    else if (mRequestType == RequestDocument)
    {
        monitor->Add(bFailed ? 19 : 18, 1);
        monitor->Add(50, age);
    }
    return S_OK;
}
