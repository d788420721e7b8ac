// A job's way through units and steps, read from a snapshot, and the table that is shown of it at the end.
#pragma once

#include "client/Request.h"
#include "qorjob.h"

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

/// Times of what goes on still are those of the reading.
struct StepRun
{
    int mId = StepNoMore;
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
};

/// Throws std::runtime_error.
Journey ReadJourney(const QORJobInfo& iInfo);

/// For people; of a job that has ended.
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
