// A task's share of its job's memory, asked of the governor.
#pragma once

#include "Rows.h"
#include "qorjob.h"

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

/// The job's governor has refused what a task asked for. The text is the governor's.
class MemoryRefusal : public std::runtime_error
{
public:
    MemoryRefusal(const std::string& iText, int iJobId, unsigned iLimitMegabytes)
        : std::runtime_error(iText), mJobId(iJobId), mLimitMegabytes(iLimitMegabytes)
    {
    }

    // The arguments of cMemoryRefused.
    int GetJobId() const { return mJobId; }
    unsigned GetLimitMegabytes() const { return mLimitMegabytes; }

private:
    int mJobId;
    unsigned mLimitMegabytes;
};

/// Asks before something is taken, and gives all of it back at its end.
///
/// Threads: one.
/// Owns:    a share of the job's governor, which a document's job has in common with its children.
/// Errors:  throws MemoryRefusal; JobCallError when it can't be said why.
class JobMemory
{
public:
    explicit JobMemory(const QORJob& iJob);
    ~JobMemory();
    JobMemory(const JobMemory&) = delete;
    JobMemory& operator=(const JobMemory&) = delete;

    void Take(std::uint64_t iBytes);
    /// Takes the memory of rows; not to be used any more when this is gone.
    RowGate GetGate();

private:
    std::shared_ptr<JobMemGovernor> mpGovernor; // null for a job that isn't governed
    std::uint64_t mTaken = 0;
};
