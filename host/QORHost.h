// A kernel for servers: units with queues and threads that drive jobs from step to step.
#pragma once

#include "host/QORHostJob.h"
#include "host/QORHostRun.h"
#include "host/QORHostTypes.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

/// How many jobs and threads there are at the moment.
struct QORHostCounts
{
    std::size_t mOpen = 0;           ///< jobs, children included
    std::size_t mQueued = 0;         ///< of these
    std::uint64_t mBytes = 0;        ///< of these, as for QORHostConfig::mMostBytes
    std::size_t mLateThreads = 0;    ///< of steps that were given up and haven't come back
    std::size_t mMissingThreads = 0; ///< that couldn't be started; it is tried again
};

/// A job belongs to the host from Submit until it has ended: only its steps and callbacks, and the handle's commands,
/// may change its steps and status meanwhile. docs/kernel.md tells what the host does with it, and why.
///
/// Threads: any. The host has those of its units and one that watches times and signals.
/// Owns:    its threads, and a reference to each open job.
/// Errors:  what a job can't do is the job's error. The constructor throws std::invalid_argument for units and steps
///          that don't fit together, and std::system_error or what QORHostConfig::mStartThread throws for threads that
///          don't start. Logs to the routers Error, Warning and Info of the component "Host".
/// Locks:   a job's record first; then one of a unit's queue, the timers' or the host's own, never two of them; then
///          the job's. Of the server's code only the job's process context, and what that calls, is called under
///          them. What is registered with a stop token is called by whoever tells the step to stop: if it blocks, so
///          does the watch over all times.
class QORHost
{
public:
    explicit QORHost(QORHostConfig iConfig);
    /// Stop, with QORHostConfig::mEndTime. A thread that is still in a step then is left behind and logged, so what
    /// such a step uses has to outlive it.
    ~QORHost();
    QORHost(const QORHost&) = delete;
    QORHost& operator=(const QORHost&) = delete;

    /// The job's id, buffer, context, priority and steps are the server's; ids that are used again are only confusing.
    /// A job that isn't accepted is as it was. Throws std::invalid_argument for null.
    QORHostSubmission Submit(QBase::PtrI<QORJob> iJob, QORHostSubmit iOptions = {});

    /// Those that are open, in the order in which they were submitted.
    std::vector<QORHostJob> GetJobs() const;
    /// The newest of that id, among so many that were submitted last; empty where there is none.
    QORHostJob FindNew(int iJob, std::size_t iAmong = 10'000) const;
    QORHostCounts GetCounts() const;
    std::vector<QORHostUnit> GetUnits() const;
    /// For people; of a unit that there isn't, its number.
    std::string GetUnitName(int iUnit) const;
    std::string GetStepName(int iStepId) const;

    // --- On threads of the server's own, for units with or without threads ---

    /// Takes one job from the unit's queue and runs what the unit can of it. False when the queue is empty.
    bool RunOne(int iUnit);
    /// Runs jobs as they come, until Drain or Stop was begun and all jobs of the host have ended, or the host is
    /// destroyed.
    void RunUntilClosed(int iUnit);
    /// Runs jobs until that one has ended (true), or the time is over; 0: until it has ended.
    bool RunUntil(int iUnit, const QORHostJob& iJob, std::chrono::milliseconds iLimit = {});

    // --- The end ---

    /// Takes no new jobs, resumes those that are paused, and waits until all have ended, with their callbacks. False
    /// when that takes longer; it may be called again. Jobs of a unit without threads end if somebody runs them
    /// meanwhile.
    bool Drain(std::chrono::milliseconds iLimit);
    /// Takes no new jobs. What is queued or rests closes, as stopped; what runs is told to stop and then closes, and
    /// after the limit it is given up. The names of the steps that were left running, for people.
    std::vector<std::string> Stop(std::chrono::milliseconds iLimit);
    /// The beginning of Drain and of Stop, for signal handlers: they only leave a note, which is read within a tenth of
    /// a second.
    void RequestDrain() noexcept;
    void RequestStop() noexcept;
    /// Until one of the four was called; 0: without limit. False when that takes longer.
    bool WaitForClose(std::chrono::milliseconds iLimit = {}) const;
    bool IsClosing() const;

private:
    std::shared_ptr<QORHOST::Core> mpCore;
};
