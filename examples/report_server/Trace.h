// The trace of which worker ran which step of which job, for a viewer of Chrome trace events.
#pragma once

#include "OutputFile.h"
#include "qorjob.h"

#include <mutex>
#include <set>
#include <string>
#include <utility>

/// A processing unit is a process of the trace, and each of its workers a track. A job's stay in the worker's hands is
/// a span, and the steps that ran meanwhile are spans inside it. How long the job was queued before stands in its
/// arguments.
///
/// Threads: any.
/// Owns:    its file.
/// Errors:  as OutputFile; a visit that can't be added is a loss, and nothing else.
/// Locks:   its own, under which nothing of a job is called.
class Trace
{
public:
    explicit Trace(const std::filesystem::path& iPath);

    /// For a job that has just left a unit, by the worker that had it, or by who took it away from that worker.
    void AddVisit(const QORJob& iJob);
    bool Close();

private:
    using Track = std::pair<int, DWORD>;

    void Add(const QORJob& iJob);
    void Write(const std::string& iEvents, const Track& iTrack);
    std::string NameTrack(const Track& iTrack);

    const QDataType::DateTime mOrigin = QDataType::DateTime::NowUTC();
    OutputFile mFile;
    std::mutex mMutex;       // guards what follows; and a visit's events stay together
    std::set<Track> mTracks; // that have their names
};
