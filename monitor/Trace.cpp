#include "monitor/Forms.h"
#include "monitor/Spans.h"

#include <nlohmann/json.hpp>

namespace QORMONITOR
{

namespace
{

using Json = nlohmann::ordered_json;

constexpr int cJobsProcess = 1; // the units' follow

/// Where a viewer draws: a thread of a process. No two of them have the same number for their thread.
struct Track
{
    int mProcess = 0;
    int mThread = 0;
};

using WorkerTracks = std::map<std::pair<int, DWORD>, Track>;

class TraceText
{
public:
    TraceText(const Names& iNames, QORMonitorTime iFrom) : mNames(iNames), mFrom(iFrom) {}

    void NameProcess(int iProcess, const std::string& iName)
    {
        Add({{"ph", "M"}, {"name", "process_name"}, {"pid", iProcess}, {"args", {{"name", iName}}}});
    }

    Track MakeTrack(int iProcess, const std::string& iName)
    {
        const Track track{iProcess, ++mTracks};
        Add({{"ph", "M"},
             {"name", "thread_name"},
             {"pid", track.mProcess},
             {"tid", track.mThread},
             {"args", {{"name", iName}}}});
        return track;
    }

    void AddSpan(Track iTrack, const std::string& iName, const Span& iSpan, const QORMonitorRow& iJob)
    {
        const QORMonitorIdentity& identity = *iJob.mpIdentity;
        Json arguments = {{"job", identity.mId},
                          {"user", ToLine(identity.mUser)},
                          {"kind", GetTypeName(identity.mType)},
                          {"status", GetStatusName(iJob.mStatus)}};
        if (iSpan.mpStep != nullptr)
        {
            arguments["step"] = iSpan.mpStep->mId;
            arguments["outcome"] = iSpan.mpOutcome;
        }
        Add({{"ph", "X"},
             {"name", iName},
             {"pid", iTrack.mProcess},
             {"tid", iTrack.mThread},
             {"ts", iSpan.mStart - mFrom},
             {"dur", iSpan.mEnd - iSpan.mStart},
             {"args", std::move(arguments)}});
    }

    /// An arrow along spans that begin at these times.
    void AddFlow(const char* iKind, const std::vector<std::pair<Track, QORMonitorTime>>& iPoints)
    {
        if (iPoints.size() < 2)
            return;
        ++mFlows;
        for (std::size_t i = 0; i < iPoints.size(); ++i)
        {
            const auto& [track, time] = iPoints[i];
            const bool bLast = i + 1 == iPoints.size();
            Json event = {{"ph", i == 0  ? "s"
                                 : bLast ? "f"
                                         : "t"},
                          {"name", iKind},
                          {"cat", iKind},
                          {"id", mFlows},
                          {"pid", track.mProcess},
                          {"tid", track.mThread},
                          {"ts", time - mFrom}};
            if (bLast)
                event["bp"] = "e"; // to the span that it lies in, not to the next one
            Add(event);
        }
    }

    std::string Take() { return R"({"traceEvents":[)" + mEvents + "\n],\"displayTimeUnit\":\"ms\"}\n"; }
    const Names& GetNames() const { return mNames; }

private:
    void Add(const Json& iEvent)
    {
        mEvents += mEvents.empty() ? "\n" : ",\n";
        mEvents += iEvent.dump(-1, ' ', false, Json::error_handler_t::replace);
    }

    const Names& mNames;
    QORMonitorTime mFrom;
    std::string mEvents;
    int mTracks = 0;
    int mFlows = 0;
};

WorkerTracks AddWorkers(TraceText& ioText, const std::vector<QORMonitorDetail>& iJobs, QORMonitorTime iFrom,
                        QORMonitorTime iTo)
{
    WorkerTracks tracks;
    std::map<int, int> processes;
    std::map<int, int> workers;
    for (const auto& [worker, spans] : FindWorkers(iJobs, iFrom, iTo))
    {
        const int unit = worker.first;
        const auto [process, bNew] = processes.try_emplace(unit, cJobsProcess + 1 + static_cast<int>(processes.size()));
        if (bNew)
            ioText.NameProcess(process->second, "workers of " + ioText.GetNames().GetUnit(unit));
        const Track track = ioText.MakeTrack(process->second, "worker " + std::to_string(++workers[unit]));
        tracks[worker] = track;
        for (const JobSpan& span : spans)
            ioText.AddSpan(track, ioText.GetNames().GetStep(span.mpStep->mId), span, span.mpJob->mRow);
    }
    return tracks;
}

/// Where the job begins to run in each unit.
std::vector<std::pair<Track, QORMonitorTime>> FindMoves(const std::vector<Span>& iSpans, const WorkerTracks& iTracks)
{
    std::vector<std::pair<Track, QORMonitorTime>> moves;
    int unit = -1;
    for (const Span& span : iSpans)
        if (span.mpStep != nullptr && span.mUnit != unit)
        {
            unit = span.mUnit;
            moves.emplace_back(iTracks.at({unit, span.mpStep->mThread}), span.mStart);
        }
    return moves;
}

} // namespace

std::string MakeTrace(const Names& iNames, const std::vector<QORMonitorDetail>& iJobs, QORMonitorTime iFrom,
                      QORMonitorTime iTo)
{
    TraceText text(iNames, iFrom);
    const WorkerTracks workers = AddWorkers(text, iJobs, iFrom, iTo);
    text.NameProcess(cJobsProcess, "jobs");
    std::map<int, Track> tracks; // of the newest job with that id so far
    for (const QORMonitorDetail& job : iJobs)
    {
        const QORMonitorRow& row = job.mRow;
        const QORMonitorIdentity& identity = *row.mpIdentity;
        const std::string name = "job " + std::to_string(identity.mId);
        const Track track = text.MakeTrack(cJobsProcess, name);
        const std::vector<Span> spans = FindSpans(job, iFrom, iTo);
        const auto within = [&](QORMonitorTime iTime) { return std::max(iFrom, std::min(iTime, iTo)); };
        Span life{within(identity.mCreated), within(row.mEnded == 0 ? iTo : row.mEnded)};
        for (const Span& span : spans) // whose clock may have been set meanwhile
        {
            life.mStart = std::min(life.mStart, span.mStart);
            life.mEnd = std::max(life.mEnd, span.mEnd);
        }
        life.mEnd = std::max(life.mStart, life.mEnd);
        text.AddSpan(track, name, life, row);
        for (const Span& span : spans)
            text.AddSpan(track,
                         span.mpStep == nullptr ? "queued: " + iNames.GetUnit(span.mUnit)
                                                : iNames.GetStep(span.mpStep->mId),
                         span, row);
        text.AddFlow("job", FindMoves(spans, workers));
        if (const auto parent = tracks.find(identity.mParentId); parent != tracks.end())
            text.AddFlow("child", {{parent->second, life.mStart}, {track, life.mStart}});
        tracks[identity.mId] = track;
    }
    return text.Take();
}

} // namespace QORMONITOR
