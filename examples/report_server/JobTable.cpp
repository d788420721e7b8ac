#include "JobTable.h"

#include "Text.h"
#include "TextTable.h"

#include <algorithm>
#include <chrono>
#include <vector>

namespace
{

using Milliseconds = std::chrono::duration<double, std::milli>;

const char* StatusText(int iStatus)
{
    switch (iStatus)
    {
    case JobCompleted:
        return "completed";
    case JobCancelled:
        return "cancelled";
    case JobStopped:
        return "stopped";
    default:
        return "stopped with error";
    }
}

/// The units in the order of the visits, with the times in their queues and in their hands.
struct Journey
{
    std::string mUnits;
    Milliseconds mWaiting{};
    Milliseconds mRunning{};
};

Journey Travel(const std::vector<UnitVisit>& iVisits)
{
    constexpr Moment cUnset{};
    Journey journey;
    for (const UnitVisit& visit : iVisits)
    {
        journey.mUnits += (journey.mUnits.empty() ? "" : " ") + std::to_string(static_cast<int>(visit.mUnit));
        if (visit.mStart != cUnset)
            journey.mWaiting += visit.mStart - visit.mEnter;
        if (visit.mExit != cUnset)
            journey.mRunning += visit.mExit - visit.mStart;
    }
    return journey;
}

/// Each document's children behind it.
std::vector<const JobRecord*> WithChildren(const std::deque<JobRecord>& iRecords)
{
    std::vector<const JobRecord*> jobs;
    for (const JobRecord& record : iRecords)
    {
        jobs.push_back(&record);
        for (const JobRecord& child : record.mChildren)
            jobs.push_back(&child);
    }
    return jobs;
}

std::string StepText(const std::vector<int>& iSteps)
{
    std::string text;
    for (const int step : iSteps)
        text += (text.empty() ? "" : " ") + std::to_string(step);
    return text;
}

} // namespace

std::string MakeJobTable(const std::deque<JobRecord>& iRecords)
{
    const std::vector<TextColumn> columns = {
        {"job", true},
        {"kind", false},
        {"user", false},
        {"project", false},
        {"priority", true},
        {"status", false},
        {"units", false},
        {"waiting ms", true},
        {"running ms", true},
        {"steps done", false},
        {"what was done to it", false},
    };
    std::vector<std::vector<std::string>> lines;
    for (const JobRecord* record : WithChildren(iRecords))
    {
        const Journey journey = Travel(record->mVisits);
        const Request& request = record->mRequest;
        lines.push_back({std::to_string(record->mId), ToText(request.mKind), request.mUser, request.mProject,
                         std::to_string(request.mPriority), StatusText(record->mFinalStatus), journey.mUnits,
                         FormatDecimals(journey.mWaiting.count(), 2), FormatDecimals(journey.mRunning.count(), 2),
                         StepText(record->mStepsDone), Join(record->mNotes, ", ")});
    }
    return ToTextTable(columns, lines);
}

std::string MakeSummary(const std::deque<JobRecord>& iRecords, std::size_t iBadLines)
{
    const std::vector<const JobRecord*> all = WithChildren(iRecords);
    std::string text = std::to_string(all.size()) + (all.size() == 1 ? " job" : " jobs");
    const char* separator = ": ";
    for (const int status : {JobCompleted, JobStoppedWithError, JobCancelled, JobStopped})
    {
        const auto jobs = std::count_if(all.begin(), all.end(),
                                        [status](const JobRecord* iRecord) { return iRecord->mFinalStatus == status; });
        if (jobs != 0)
        {
            text += separator + std::to_string(jobs) + " " + StatusText(status);
            separator = ", ";
        }
    }
    if (iBadLines != 0)
        text += "; " + std::to_string(iBadLines) + (iBadLines == 1 ? " bad line" : " bad lines") + " in the requests";
    return text + "\n";
}

bool HaveAllCompleted(const std::deque<JobRecord>& iRecords)
{
    const std::vector<const JobRecord*> all = WithChildren(iRecords);
    return std::all_of(all.begin(), all.end(),
                       [](const JobRecord* iRecord) { return iRecord->mFinalStatus == JobCompleted; });
}
