// Where the monitor sees open jobs: a host, or a program that lists its own.
#pragma once

#include "monitor/QORMonitor.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace QORMONITOR
{

/// An open job, as a look has seen it. Neither of the two keeps it, or what is left of it at its end.
struct Open
{
    QORHostJobReference mHandle;   ///< of a host's job
    const QORJob* mpJob = nullptr; ///< of another program's: to be compared only
    QORMonitorRow mRow;
};

/// What one look has seen. It doesn't change.
struct Table
{
    QORMonitorTime mNow = 0;
    std::uint64_t mEndedBefore = 0; ///< how many jobs had ended when the look began
    std::vector<Open> mOpen;        ///< in the source's order
    std::map<std::pair<int, int>, std::uint64_t> mByTypeAndStatus;
    std::vector<QORMonitorUnit> mUnits;
    QORHostCounts mCounts;
    std::uint64_t mGovernedBytes = 0;
};

/// Threads: any.
/// Owns:    nothing of what it shows.
/// Errors:  std::bad_alloc.
/// Locks:   none.
class Source
{
public:
    virtual ~Source() = default;

    /// `iOld` has what is known already of the jobs that are still there.
    virtual std::shared_ptr<Table> Look(const Table& iOld) const = 0;
    /// Empty where there is none.
    virtual QORHostJob FindHandle(int iJob) const = 0;
    /// The open job, and how it stands; null where there is none.
    virtual QBase::PtrI<QORJob> FindJob(const Open& iOpen, QORMonitorRow& oRow) const = 0;
    virtual QBase::PtrI<QORJob> FindJob(int iJob, QORMonitorRow& oRow) const = 0;
    virtual std::string GetStepName(int iStepId) const = 0;

    const std::vector<QORHostUnit>& GetUnits() const { return mUnits; }

protected:
    explicit Source(std::vector<QORHostUnit> iUnits) : mUnits(std::move(iUnits)) {}

private:
    const std::vector<QORHostUnit> mUnits;
};

std::shared_ptr<const Source> MakeSource(const QORHost& iHost);
std::shared_ptr<const Source> MakeSource(QORMonitorSource iSource);

} // namespace QORMONITOR
