// A job's way through units and steps, read from a snapshot, and what is shown of it at the end: a
// table, and a trace.
#pragma once

#include "Files.h"
#include "client/Request.h"
#include "qorjob.h"

#include <cstddef>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// Times of what goes on still are those of the reading.
struct StepRun
{
    int mId = StepNoMore;
    DWORD mThread = 0;
    QDataType::DateTime mStart;
    QDataType::DateTime mEnd;
    bool mbFinished = true; ///< else it runs, or was given up
};

struct Visit
{
    int mUnit = -1;
    QDataType::DateTime mEnter;
    QDataType::DateTime mStart; ///< until then it is queued
    std::vector<StepRun> mSteps;
};

struct Journey
{
    double GetWaiting() const; ///< milliseconds in queues
    double GetRunning() const; ///< milliseconds in steps

    std::vector<Visit> mVisits; ///< the last one is the newest
    int mStep = StepNoMore;     ///< that runs or will run next; of a job that has none left, the last one
};

/// Throws std::runtime_error.
Journey ReadJourney(const QORJobInfo& iInfo);

/// For people.
const char* StatusText(int iStatus);

/// What is kept of a job that has ended.
struct JobRow
{
    int mStatus = JobStoppedWithError;
    std::vector<std::string> mCells;
};

/// By the request's job, and the place among its children: 0 for itself.
using JobPlace = std::pair<int, int>;
using JobRows = std::map<JobPlace, JobRow>;

/// `iNotes`: what was done to the job. What became of it is added.
JobRow MakeRow(int iJob, const Request& iRequest, int iStatus, const Journey& iJourney,
               std::vector<std::string> iNotes);

/// Times vary from run to run; the rest of it too once jobs were stopped.
std::string MakeJobTable(const JobRows& iRows);

/// "12 jobs: 10 completed, 2 stopped with error"
std::string MakeSummary(const JobRows& iRows, std::size_t iBadLines);

/// Whether each request, and each report of a document, has its result.
bool HaveAllCompleted(const JobRows& iRows);

/// The trace of which worker ran which step of which job, for a viewer of Chrome trace events. A processing unit is a
/// process of the trace, and each of its workers a track. A job's stay with the worker is a span, and the steps that
/// ran meanwhile are spans inside it. How long the job was queued before stands in its arguments.
///
/// Threads: any.
/// Owns:    nothing: the file outlives it.
/// Errors:  as OutputFile.
class Trace
{
public:
    explicit Trace(OutputFile& ioFile) : mFile(ioFile) { mFile.Write("["); }
    ~Trace() { mFile.Write("\n]\n"); }
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;

    void Add(int iJob, const Journey& iJourney);

private:
    using Track = std::pair<int, DWORD>;

    std::string NameTrack(const Track& iTrack);

    const QDataType::DateTime mOrigin = QDataType::DateTime::NowUTC();
    OutputFile& mFile;
    std::mutex mMutex;       // guards what follows
    std::set<Track> mTracks; // that have their names
};
