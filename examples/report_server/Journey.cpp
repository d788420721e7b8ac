#include "Journey.h"

#include "Errors.h"
#include "Text.h"

#include <algorithm>
#include <utility>

namespace
{

using QDataType::DateTime;

bool IsSet(DateTime iTime) { return iTime != DateTime(0.0); }

double ToMilliseconds(QDataType::TimeSpan iSpan) { return static_cast<double>(iSpan.GetTicks()) / 10'000; }

/// Adds the step to the visit if it ran in it. Until `iEnd` the job was there.
void TakeStep(const QORJobStep& iStep, DateTime iEnd, Visit& ioVisit)
{
    int unit = -1;
    StepRun run;
    Expect(iStep.GetPUId(&unit), "GetPUId");
    Expect(iStep.GetStartTime(&run.mStart), "GetStartTime");
    if (unit != ioVisit.mUnit || !IsSet(run.mStart) || run.mStart < ioVisit.mStart || iEnd < run.mStart)
        return;
    Expect(iStep.GetId(&run.mId), "GetId");
    Expect(iStep.GetFinishTime(&run.mEnd), "GetFinishTime");
    run.mbFinished = IsSet(run.mEnd);
    if (!run.mbFinished)
        run.mEnd = iEnd;
    ioVisit.mSteps.push_back(run);
}

} // namespace

/// When the job left a unit isn't asked: of several visits to a unit the job stamps the oldest. A visit ends when the
/// next one begins.
Journey ReadJourney(const QORJobInfo& iInfo)
{
    Journey journey;
    DateTime end = DateTime::NowUTC();
    for (int i = 0; i < iInfo.mPUCount; ++i)
    {
        const QORJobPUInfo& info = iInfo.mPUInfos[static_cast<std::size_t>(i)];
        Visit visit;
        Expect(info.GetId(&visit.mUnit), "GetId");
        Expect(info.GetEnterTime(&visit.mEnter), "GetEnterTime");
        Expect(info.GetStartTime(&visit.mStart), "GetStartTime");
        if (!IsSet(visit.mStart))
            visit.mStart = end;
        for (int step = iInfo.mFinishedCount; step > 0; --step)
            TakeStep(iInfo.mFinishedSteps[static_cast<std::size_t>(step) - 1], end, visit);
        if (iInfo.mTodoCount > 0)
            TakeStep(iInfo.mTodoSteps.front(), end, visit);
        end = visit.mEnter;
        journey.mVisits.push_back(visit);
    }
    std::reverse(journey.mVisits.begin(), journey.mVisits.end());
    return journey;
}

double Journey::GetWaiting() const
{
    double sum = 0;
    for (const Visit& visit : mVisits)
        sum += ToMilliseconds(visit.mStart - visit.mEnter);
    return sum;
}

double Journey::GetRunning() const
{
    double sum = 0;
    for (const Visit& visit : mVisits)
        for (const StepRun& run : visit.mSteps)
            sum += ToMilliseconds(run.mEnd - run.mStart);
    return sum;
}

const char* StatusText(int iStatus)
{
    constexpr std::pair<int, const char*> cTexts[] = {
        {JobCompleted, "completed"}, {JobCancelled, "cancelled"}, {JobStopped, "stopped"}};
    for (const auto& [status, text] : cTexts)
        if (status == iStatus)
            return text;
    return "stopped with error";
}

JobRow MakeRow(int iJob, const Request& iRequest, int iStatus, const Journey& iJourney, std::vector<std::string> iNotes)
{
    std::vector<std::string> units;
    std::vector<std::string> steps;
    for (const Visit& visit : iJourney.mVisits)
    {
        units.push_back(std::to_string(visit.mUnit));
        for (const StepRun& run : visit.mSteps)
            if (run.mbFinished)
                steps.push_back(std::to_string(run.mId));
            else
                iNotes.push_back("given up at " + std::to_string(run.mId));
    }
    if (iStatus == JobCancelled)
        iNotes.emplace_back("cancelled");
    return {iStatus,
            {std::to_string(iJob), KindOf(iRequest), iRequest.mUser, iRequest.mProject,
             std::to_string(iRequest.mPriority), StatusText(iStatus), Join(units, " "),
             FormatDecimals(iJourney.GetWaiting(), 2), FormatDecimals(iJourney.GetRunning(), 2), Join(steps, " "),
             Join(iNotes, ", ")}};
}

std::string MakeJobTable(const JobRows& iRows)
{
    const std::vector<TextColumn> columns = {{"job", true},
                                             {"kind"},
                                             {"user"},
                                             {"project"},
                                             {"priority", true},
                                             {"status"},
                                             {"units"},
                                             {"waiting ms", true},
                                             {"running ms", true},
                                             {"steps done"},
                                             {"what was done to it"}};
    std::vector<std::vector<std::string>> lines;
    for (const auto& [place, row] : iRows)
        lines.push_back(row.mCells);
    return ToTextTable(columns, std::move(lines));
}

std::string MakeSummary(const JobRows& iRows, std::size_t iBadLines)
{
    std::vector<std::string> parts;
    for (const int status : {JobCompleted, JobStoppedWithError, JobCancelled, JobStopped})
        if (const auto jobs = std::count_if(iRows.begin(), iRows.end(),
                                            [status](const auto& iRow) { return iRow.second.mStatus == status; }))
            parts.push_back(std::to_string(jobs) + " " + StatusText(status));
    std::string text = std::to_string(iRows.size()) + (iRows.size() == 1 ? " job" : " jobs");
    text += (parts.empty() ? "" : ": ") + Join(parts, ", ");
    if (iBadLines != 0)
        text += "; " + std::to_string(iBadLines) + (iBadLines == 1 ? " bad line" : " bad lines") + " in the requests";
    return text + "\n";
}

bool HaveAllCompleted(const JobRows& iRows)
{
    return std::all_of(iRows.begin(), iRows.end(),
                       [](const auto& iRow) { return iRow.second.mStatus == JobCompleted; });
}
