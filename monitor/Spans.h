// When a job was queued and when its steps ran, for drawings of time.
#pragma once

#include "monitor/QORMonitorTypes.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

namespace QORMONITOR
{

/// Within the times that are drawn. What goes on still ends with them.
struct Span
{
    QORMonitorTime mStart = 0;
    QORMonitorTime mEnd = 0;
    int mUnit = -1;
    const QORMonitorStep* mpStep = nullptr; ///< null: in the unit's queue
    const char* mpOutcome = "";             ///< of the step
};

/// By their starts. The job has to outlive them.
std::vector<Span> FindSpans(const QORMonitorDetail& iJob, QORMonitorTime iFrom, QORMonitorTime iTo);

/// A span of one of several jobs.
struct JobSpan : Span
{
    const QORMonitorDetail* mpJob = nullptr;
};

/// What each thread of each unit ran, by unit and thread; the spans of one don't overlap.
std::map<std::pair<int, DWORD>, std::vector<JobSpan>> FindWorkers(const std::vector<QORMonitorDetail>& iJobs,
                                                                  QORMonitorTime iFrom, QORMonitorTime iTo);

/// Ends what overlaps with the next one where that begins: clocks are set, and a step that was given up has no end.
template <class AnySpan>
void Part(std::vector<AnySpan>& ioSpans)
{
    std::stable_sort(ioSpans.begin(), ioSpans.end(),
                     [](const Span& iLeft, const Span& iRight) { return iLeft.mStart < iRight.mStart; });
    for (std::size_t i = 1; i < ioSpans.size(); ++i)
        ioSpans[i - 1].mEnd = std::min(ioSpans[i - 1].mEnd, ioSpans[i].mStart);
}

} // namespace QORMONITOR
