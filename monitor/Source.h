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

/// A job that is read: null where it isn't there any more.
struct Found
{
    QBase::PtrI<QORJob> mpJob;
    QORMonitorRow mRow; ///< as it stands now; the identity only if it was seen before
};

/// Threads: any.
/// Owns:    nothing of what it shows.
/// Errors:  std::bad_alloc, and what another program's functions throw.
/// Locks:   none.
class Source
{
public:
    virtual ~Source() = default;

    /// `iOld` has what is known already of the jobs that are still there.
    virtual std::shared_ptr<Table> Look(const Table& iOld) const = 0;
    /// In their order.
    virtual std::vector<Found> FindSeen(const std::vector<const Open*>& iOpen) const = 0;
    /// One that may be too new to have been seen.
    virtual Found FindNew(int iJob) const = 0;
    virtual bool HasEnded(const Open& iOpen) const = 0;
    /// Null for `iOpen`: one that may be too new to have been seen. Empty where there is none.
    virtual QORHostJob FindHandle(const Open* iOpen, int iJob) const = 0;
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
