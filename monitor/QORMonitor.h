// What people look at: the live jobs of a host, those that have ended lately, and figures of all.
#pragma once

#include "monitor/QORMonitorTypes.h"
#include "qorhost.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace QORMONITOR
{
class Core;
} // namespace QORMONITOR

struct QORMonitorConfig
{
    std::size_t mMostKept = 10'000;                      ///< ended jobs
    std::uint64_t mMostKeptBytes = 64 * 1'024 * 1'024;   ///< the same; those that ended first go first
    std::vector<unsigned> mLanguages = {0x0409, 0x0407}; ///< in which errors are kept
    bool mbDumps = true; ///< of ended jobs; costs some ten microseconds at each job's end
};

/// An open job of a program that runs its jobs itself.
struct QORMonitorOpenJob
{
    QBase::PtrI<QORJob> mJob;
    EnumHostState mState = EnumHostState::Running;
};

/// How the monitor sees the jobs of a program without a QORHost. The functions are called by any thread, also by
/// several at a time. Only the first is needed.
struct QORMonitorSource
{
    std::function<std::vector<QORMonitorOpenJob>()> mList; ///< in the same order each time, new jobs at the end
    std::vector<QORHostUnit> mUnits = {};
    std::function<std::string(int iStepId)> mStepName = {}; ///< the library's where there is none
};

/// Shows jobs as they were at its last look. A look takes a lock of each open job for a moment; the next one comes when
/// somebody asks, but never before 50 times the time has passed that the last one took. So lists and figures, however
/// many ask for them, cost the jobs less than a fiftieth of one thread. Find reads one job, and FindWindow as many as
/// it may, at each call.
///
/// Threads: any. One is its own, and looks where a look takes long.
/// Owns:    what it keeps of ended jobs. The host, or whatever the source calls, has to live until Forget.
/// Errors:  std::bad_alloc, and what the source's functions throw, which is to be a std::exception.
/// Locks:   its own, for moments. None is held while jobs are read; but Forget and Watch wait for those who read, so
/// that
///          the source's functions must ask nothing of the monitor.
class QORMonitor
{
public:
    explicit QORMonitor(QORMonitorConfig iConfig = {});
    ~QORMonitor();
    QORMonitor(const QORMonitor&) = delete;
    QORMonitor& operator=(const QORMonitor&) = delete;

    /// For QORHostConfig::mOnEnd: the monitor has to outlive the host.
    std::function<void(const QORHostJob& iHandle, QORJob& ioJob)> GetOnEnd();
    void Watch(QORHost& iHost);
    void Watch(QORMonitorSource iSource);
    /// No look begins any more, and none goes on, when it returns. Ended jobs and figures stay.
    void Forget();
    /// For programs without a host: at each job's end, when it isn't listed any more and its steps aren't gone yet.
    void AddEnded(QORJob& iJob);

    QORMonitorPage List(const QORMonitorQuery& iQuery) const;
    /// The newest of that id; read at the moment if it is open. Nothing when there is none.
    std::optional<QORMonitorDetail> Find(int iJob) const;
    /// Open and ended ones whose parent has that id, by their ids; at most `iMost`.
    std::vector<QORMonitorRow> FindChildren(int iJob, std::size_t iMost = 500) const;
    /// Those that lived at some time between these, by their creation; at most `iMost`, the newest ones.
    std::vector<QORMonitorDetail> FindWindow(QORMonitorTime iFrom, QORMonitorTime iTo, std::size_t iMost) const;
    QORMonitorFigures GetFigures() const;
    /// The handle of an open job of the host; empty where there is none.
    QORHostJob FindHandle(int iJob) const;

    std::string GetUnitName(int iUnit) const;
    std::string GetStepName(int iStepId) const;
    const std::vector<unsigned>& GetLanguages() const;

    static QORMonitorTime Now();
    static QORMonitorTime ToTime(QDataType::DateTime iTime);

private:
    std::shared_ptr<QORMONITOR::Core> mpCore;
};
