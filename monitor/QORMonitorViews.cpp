#include "monitor/QORMonitorViews.h"

#include "monitor/Forms.h"

#include <utility>

namespace QORMONITOR
{

namespace
{

constexpr std::size_t cMostDrawn = 2'000;  // jobs in a timeline
constexpr std::size_t cMostTraced = 5'000; // in a trace

Names GetNames(const QORMonitor& iMonitor)
{
    return {[&iMonitor](int iUnit) { return iMonitor.GetUnitName(iUnit); },
            [&iMonitor](int iStepId) { return iMonitor.GetStepName(iStepId); }};
}

Family FindFamily(const QORMonitor& iMonitor, const QORMonitorDetail& iJob)
{
    const QORMonitorIdentity& identity = *iJob.mRow.mpIdentity;
    Family family{{}, iMonitor.FindChildren(identity.mId)};
    if (identity.mParentId != -1)
        if (auto parent = iMonitor.Find(identity.mParentId))
            family.mParent = std::move(parent->mRow);
    return family;
}

} // namespace

std::string MakeListJson(const QORMonitor& iMonitor, const QORMonitorPage& iPage)
{
    return MakeListJson(GetNames(iMonitor), iPage);
}

std::string MakeJobJson(const QORMonitor& iMonitor, const QORMonitorDetail& iJob, unsigned iLanguage)
{
    return MakeJobJson(GetNames(iMonitor), iJob, FindFamily(iMonitor, iJob), iLanguage);
}

std::string MakeTimelineJson(const QORMonitor& iMonitor, QORMonitorTime iFrom, QORMonitorTime iTo)
{
    return MakeTimelineJson(GetNames(iMonitor), iMonitor.FindWindow(iFrom, iTo, cMostDrawn), iFrom, iTo);
}

std::string MakeMetrics(const QORMonitor& iMonitor)
{
    return MakeMetrics(GetNames(iMonitor), iMonitor.GetFigures(), QORMonitor::Now());
}

std::string MakeTrace(const QORMonitor& iMonitor, QORMonitorTime iFrom, QORMonitorTime iTo)
{
    return MakeTrace(GetNames(iMonitor), iMonitor.FindWindow(iFrom, iTo, cMostTraced), iFrom, iTo);
}

std::string MakeReadableDump(const QORMonitor& iMonitor, const QORMonitorDetail& iJob, unsigned iLanguage)
{
    return MakeReadableDump(GetNames(iMonitor), iJob, FindFamily(iMonitor, iJob), iLanguage);
}

std::string MakeTable(const QORMonitor& iMonitor, const QORMonitorPage& iPage, std::size_t iColumns, std::size_t iLines)
{
    return MakeTable(GetNames(iMonitor), iPage, iColumns, iLines);
}

} // namespace QORMONITOR
