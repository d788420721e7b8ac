// What is left of jobs that have ended: the last of them, and figures of all.
#pragma once

#include "monitor/Mutexes.h"
#include "monitor/QORMonitor.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace QORMONITOR
{

using Ended = std::shared_ptr<const QORMonitorDetail>;

/// Threads: any.
/// Owns:    what it keeps.
/// Errors:  std::bad_alloc: the job is counted then, but not kept.
/// Locks:   its own, with none taken under it.
class History
{
public:
    History(std::size_t iMost, std::uint64_t iMostBytes) : mMost(iMost), mMostBytes(iMostBytes) {}

    void Add(QORMonitorDetail iJob, std::uint64_t iGovernedPeak);

    /// The last to end first. `oNew`: how many came after so many, some of which may not be kept any more.
    std::vector<Ended> Get(std::uint64_t iCount, std::uint64_t& oNew) const;
    /// The newest of that id; null when it isn't kept.
    Ended Find(int iJob) const;
    /// How many were added so far.
    std::uint64_t Count() const;
    /// Of ended jobs.
    QORMonitorFigures GetFigures() const;

private:
    struct Kept
    {
        Ended mpJob;
        std::size_t mSize = 0;
    };

    void CountFigures(const QORMonitorDetail& iJob);

    const std::size_t mMost;
    const std::uint64_t mMostBytes;

    mutable OwnMutex mMutex; // guards what follows
    std::list<Kept> mKept;   // the last one at the end
    std::unordered_map<int, Ended> mById;
    std::uint64_t mCount = 0;
    QORMonitorFigures mFigures;
};

} // namespace QORMONITOR
