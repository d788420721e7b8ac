#include "monitor/Spans.h"

#include "monitor/Forms.h"

#include <initializer_list>

namespace QORMONITOR
{

namespace
{

/// The first of these times that is set and not before the start.
QORMonitorTime ChooseEnd(QORMonitorTime iStart, std::initializer_list<QORMonitorTime> iTimes)
{
    for (const QORMonitorTime time : iTimes)
        if (time != 0)
            return std::max(time, iStart);
    return iStart;
}

class Collector
{
public:
    Collector(QORMonitorTime iFrom, QORMonitorTime iTo) : mFrom(iFrom), mTo(iTo) {}

    void Add(Span iSpan)
    {
        if (iSpan.mStart == 0 || iSpan.mEnd < mFrom || iSpan.mStart > mTo)
            return;
        iSpan.mStart = std::max(iSpan.mStart, mFrom);
        iSpan.mEnd = std::min(iSpan.mEnd, mTo);
        mSpans.push_back(iSpan);
    }

    std::vector<Span> Take()
    {
        Part(mSpans);
        return std::move(mSpans);
    }

private:
    QORMonitorTime mFrom;
    QORMonitorTime mTo;
    std::vector<Span> mSpans;
};

} // namespace

std::vector<Span> FindSpans(const QORMonitorDetail& iJob, QORMonitorTime iFrom, QORMonitorTime iTo)
{
    const QORMonitorTime end = iJob.mRow.mEnded;
    Collector spans(iFrom, iTo);
    for (std::size_t i = 0; i < iJob.mVisits.size(); ++i)
    {
        const QORMonitorVisit& visit = iJob.mVisits[i];
        const QORMonitorTime next = i + 1 < iJob.mVisits.size() ? iJob.mVisits[i + 1].mEnter : 0;
        spans.Add({visit.mEnter, ChooseEnd(visit.mEnter, {visit.mStart, next, end, iTo}), visit.mUnit});
    }
    // What was given up ran until the job went on without it, as far as anybody knows.
    for (std::size_t i = 0; i < iJob.mFinished.size(); ++i)
    {
        const QORMonitorStep& step = iJob.mFinished[i];
        const QORMonitorTime next = i + 1 < iJob.mFinished.size() ? iJob.mFinished[i + 1].mStart : 0;
        spans.Add({step.mStart, ChooseEnd(step.mStart, {step.mFinish, next, end, iTo}), step.mUnit, &step,
                   GetOutcome(iJob.mRow, step, true)});
    }
    for (const QORMonitorStep& step : iJob.mTodo)
        if (const std::string_view outcome = GetOutcome(iJob.mRow, step, false); outcome != "todo")
            spans.Add(
                {step.mStart, ChooseEnd(step.mStart, {step.mFinish, end, iTo}), step.mUnit, &step, outcome.data()});
    return spans.Take();
}

std::map<std::pair<int, DWORD>, std::vector<JobSpan>> FindWorkers(const std::vector<QORMonitorDetail>& iJobs,
                                                                  QORMonitorTime iFrom, QORMonitorTime iTo)
{
    std::map<std::pair<int, DWORD>, std::vector<JobSpan>> workers;
    for (const QORMonitorDetail& job : iJobs)
        for (const Span& span : FindSpans(job, iFrom, iTo))
            if (span.mpStep != nullptr)
                workers[{span.mUnit, span.mpStep->mThread}].push_back({span, &job});
    for (auto& [worker, spans] : workers)
        Part(spans);
    return workers;
}

} // namespace QORMONITOR
