#include "Trace.h"

#include "JobCalls.h"
#include "ProcessingUnit.h"
#include "record/QORJobInfo.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <optional>
#include <vector>

namespace
{

using QDataType::DateTime;

/// One that ran in the visit. A step that was stopped on the way has no finish.
struct Step
{
    int mId = StepNoMore;
    DWORD mThread = 0;
    DateTime mStart{0.0};
    DateTime mFinish{0.0};
};

std::string Quote(const std::string& iText)
{
    std::string quoted = "\"";
    for (const char c : iText)
        quoted += c == '"' || c == '\\' ? std::string{'\\', c} : std::string(1, c);
    return quoted + '"';
}

/// In microseconds: the library's clock counts tenths of them.
std::string ToMicroseconds(QDataType::TimeSpan iSpan)
{
    const std::int64_t ticks = iSpan.GetTicks();
    return std::to_string(ticks / 10) + "." + std::to_string(ticks % 10);
}

/// None for a step that ran elsewhere, or hasn't begun.
std::optional<Step> ReadStep(const QORJobStep& iStep, int iUnit, DateTime iVisitStart)
{
    Step step;
    int unit = -1;
    Expect(iStep.GetPUId(&unit), "GetPUId");
    Expect(iStep.GetStartTime(&step.mStart), "GetStartTime");
    if (unit != iUnit || step.mStart < iVisitStart)
        return {};
    Expect(iStep.GetId(&step.mId), "GetId");
    Expect(iStep.GetThreadId(&step.mThread), "GetThreadId");
    Expect(iStep.GetFinishTime(&step.mFinish), "GetFinishTime");
    return step;
}

std::vector<Step> StepsOf(const QORJobInfo& iInfo, int iUnit, DateTime iVisitStart)
{
    std::vector<Step> steps;
    const auto take = [&](const QORJobStep& iStep) {
        if (const auto step = ReadStep(iStep, iUnit, iVisitStart))
            steps.push_back(*step);
    };
    std::for_each_n(iInfo.mFinishedSteps.begin(), iInfo.mFinishedCount, take);
    std::for_each_n(iInfo.mTodoSteps.begin(), iInfo.mTodoCount, take);
    return steps;
}

} // namespace

Trace::Trace(const std::filesystem::path& iPath) : mFile(iPath) { mFile.Write("["); }

void Trace::AddVisit(const QORJob& iJob)
{
    try
    {
        Add(iJob);
    }
    catch (const std::exception& error)
    {
        mFile.NoteLoss(error.what());
    }
}

void Trace::Add(const QORJob& iJob)
{
    // The exit isn't read: of several visits to a unit the job stamps the oldest.
    const DateTime exit = DateTime::NowUTC();
    QORJobInfo info;
    Expect(iJob.GetJobInfo(&info), "GetJobInfo");
    if (info.mPUCount == 0)
        throw JobCallError("a job that has been in no unit can't leave one");
    const QORJobPUInfo& visit = info.mPUInfos.front();
    int unit = -1;
    DateTime enter(0.0);
    DateTime start(0.0);
    Expect(visit.GetId(&unit), "GetId");
    Expect(visit.GetEnterTime(&enter), "GetEnterTime");
    Expect(visit.GetStartTime(&start), "GetStartTime");

    const std::vector<Step> steps = StepsOf(info, unit, start);
    const Track track{unit, steps.empty() ? QBase::GetCurrentThreadID() : steps.front().mThread};
    const std::string job = std::to_string(info.mJobId.Get());
    const auto toSpan = [&](const std::string& iName, DateTime iFrom, DateTime iTo, const std::string& iArguments) {
        return ",\n{\"ph\":\"X\",\"name\":" + Quote(iName) + ",\"pid\":" + std::to_string(track.first) +
               ",\"tid\":" + std::to_string(track.second) + ",\"ts\":" + ToMicroseconds(iFrom - mOrigin) +
               ",\"dur\":" + ToMicroseconds(iTo - iFrom) + ",\"args\":{\"job\":" + job + iArguments + "}}";
    };
    std::string events = toSpan("job " + job, start, exit, ",\"queued us\":" + ToMicroseconds(start - enter));
    for (const Step& step : steps)
    {
        const bool bFinished = step.mFinish != DateTime(0.0);
        events += toSpan(StepNameOf(step.mId), step.mStart, bFinished ? step.mFinish : exit,
                         ",\"step\":" + std::to_string(step.mId) + ",\"finished\":" + (bFinished ? "true" : "false"));
    }
    Write(events, track);
}

void Trace::Write(const std::string& iEvents, const Track& iTrack)
{
    const std::lock_guard hold(mMutex);
    const bool bFirst = mTracks.empty();
    const std::string text = NameTrack(iTrack) + iEvents;
    mFile.Write(bFirst ? text.substr(1) : text); // no comma before the first event
}

/// Empty when it has its name.
std::string Trace::NameTrack(const Track& iTrack)
{
    const auto toName = [&](const char* iOf, const std::string& iName) {
        return std::string(",\n{\"ph\":\"M\",\"name\":\"") + iOf + "\",\"pid\":" + std::to_string(iTrack.first) +
               ",\"tid\":" + std::to_string(iTrack.second) + ",\"args\":{\"name\":" + Quote(iName) + "}}";
    };
    const auto ofUnit = std::count_if(mTracks.begin(), mTracks.end(),
                                      [&](const Track& iOther) { return iOther.first == iTrack.first; });
    if (!mTracks.insert(iTrack).second)
        return {};
    const std::string thread = toName("thread_name", "worker " + std::to_string(ofUnit + 1));
    return ofUnit == 0 ? toName("process_name", ToText(static_cast<EnumUnit>(iTrack.first))) + thread : thread;
}

bool Trace::Close()
{
    mFile.Write("\n]\n");
    return mFile.Close();
}
