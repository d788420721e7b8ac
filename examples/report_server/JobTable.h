// The table of all jobs, printed at the end.
#pragma once

#include "JobRecord.h"

#include <cstddef>
#include <deque>
#include <string>

/// A line a job, children included. Times vary from run to run; the rest of it too once jobs were stopped.
std::string MakeJobTable(const std::deque<JobRecord>& iRecords);

/// "12 jobs: 10 completed, 2 stopped with error"
std::string MakeSummary(const std::deque<JobRecord>& iRecords, std::size_t iBadLines);

/// Whether each request, and each report of a document, has its result.
bool HaveAllCompleted(const std::deque<JobRecord>& iRecords);
