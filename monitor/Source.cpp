#include "monitor/Source.h"

#include "monitor/Read.h"

#include <algorithm>
#include <chrono>
#include <unordered_map>
#include <utility>

namespace QORMONITOR
{

namespace
{

/// Takes the identity of each job that was there before out of the old table. Both have the jobs in the same order, and
/// new ones at the end.
template <class IsSame>
std::shared_ptr<const QORMonitorIdentity> TakeIdentity(const Table& iOld, std::size_t& ioPlace, IsSame&& iIsSame)
{
    for (; ioPlace < iOld.mOpen.size(); ++ioPlace)
        if (iIsSame(iOld.mOpen[ioPlace]))
            return iOld.mOpen[ioPlace++].mRow.mpIdentity;
    return nullptr;
}

std::shared_ptr<Table> MakeTable(const std::vector<QORHostUnit>& iUnits)
{
    auto table = std::make_shared<Table>();
    for (const QORHostUnit& unit : iUnits)
        table->mUnits.push_back({.mId = unit.mId, .mName = unit.mName, .mThreads = unit.mThreads});
    return table;
}

void CountInUnit(const QORMonitorRow& iRow, std::vector<QORMonitorUnit>& ioUnits)
{
    const auto unit = std::find_if(ioUnits.begin(), ioUnits.end(),
                                   [&](const QORMonitorUnit& iUnit) { return iUnit.mId == iRow.mUnit; });
    if (unit == ioUnits.end())
        return;
    if (iRow.mState == EnumHostState::Running)
        ++unit->mBusy;
    if (iRow.mState != EnumHostState::Queued)
        return;
    ++unit->mQueued;
    if (unit->mOldest < 0 || iRow.mSince < unit->mOldestSince)
    {
        unit->mOldest = iRow.mpIdentity->mId;
        unit->mOldestSince = iRow.mSince;
    }
}

/// A governor is its first job's; children share it.
std::uint64_t GetGovernedBytes(const QORJob& iJob)
{
    const std::shared_ptr<JobMemGovernor> governor = iJob.GetMemGovernor();
    return governor != nullptr && governor->mJobId.Get() == GetId(iJob) ? governor->mUsedBytes.load() : 0;
}

/// Into the table, and into all that it counts.
void Add(Open iOpen, const QORJob& iJob, Table& ioTable)
{
    CountInUnit(iOpen.mRow, ioTable.mUnits);
    ++ioTable.mByTypeAndStatus[{iOpen.mRow.mpIdentity->mType, iOpen.mRow.mStatus}];
    ioTable.mGovernedBytes += GetGovernedBytes(iJob);
    ioTable.mOpen.push_back(std::move(iOpen));
}

using SteadyClock = std::chrono::steady_clock;

class HostSource final : public Source
{
public:
    explicit HostSource(const QORHost& iHost) : Source(iHost.GetUnits()), mHost(iHost) {}

    std::shared_ptr<Table> Look(const Table& iOld) const override
    {
        auto table = MakeTable(GetUnits());
        const std::vector<QORHostJob> jobs = mHost.GetJobs();
        table->mCounts = mHost.GetCounts();
        table->mOpen.reserve(jobs.size());
        std::size_t old = 0;
        for (const QORHostJob& handle : jobs)
        {
            auto identity = TakeIdentity(iOld, old, [&](const Open& iOpen) { return iOpen.mHandle.IsOf(handle); });
            const QBase::PtrI<QORJob> job = handle.GetJob();
            if (!job || handle.HasEnded())
                continue;
            Open open{QORHostJobReference(handle), nullptr, {}};
            open.mRow.mpIdentity = identity != nullptr ? std::move(identity) : ReadIdentity(*job.Get());
            Fill(handle, open.mRow);
            Add(std::move(open), *job.Get(), *table);
        }
        return table;
    }

    std::vector<Found> FindSeen(const std::vector<const Open*>& iOpen) const override
    {
        std::vector<Found> found;
        for (const Open* const open : iOpen)
        {
            found.push_back(Find(open->mHandle.Lock()));
            found.back().mRow.mpIdentity = open->mRow.mpIdentity;
        }
        return found;
    }

    Found FindNew(int iJob) const override { return Find(mHost.FindNew(iJob)); }

    bool HasEnded(const Open& iOpen) const override
    {
        const QORHostJob handle = iOpen.mHandle.Lock();
        return !handle || handle.HasEnded();
    }

    QORHostJob FindHandle(const Open* iOpen, int iJob) const override
    {
        return iOpen != nullptr ? iOpen->mHandle.Lock() : mHost.FindNew(iJob);
    }

    std::string GetStepName(int iStepId) const override { return mHost.GetStepName(iStepId); }

private:
    Found Find(const QORHostJob& iHandle) const
    {
        Found found;
        if (!iHandle)
            return found;
        found.mpJob = iHandle.GetJob();
        Fill(iHandle, found.mRow);
        found.mRow.mReason = iHandle.GetReason();
        return found;
    }

    void Fill(const QORHostJob& iHandle, QORMonitorRow& oRow) const
    {
        const QORHostLook look = iHandle.GetLook();
        oRow.mState = look.mState;
        oRow.mStatus = look.mStatus;
        oRow.mUnit = look.mUnit;
        oRow.mStep = look.mStepId;
        oRow.mProgress = look.mProgress;
        oRow.mPriority = look.mPriority;
        oRow.mbCommands = true;
        if (look.mSince != SteadyClock::time_point())
            oRow.mSince = mBegin + ToMicroseconds(look.mSince - mSteadyBegin);
    }

    static QORMonitorTime ToMicroseconds(SteadyClock::duration iTime)
    {
        return std::chrono::duration_cast<std::chrono::microseconds>(iTime).count();
    }

    const QORHost& mHost;
    // The same moment of both clocks: a moment of the one is always the same of the other.
    const QORMonitorTime mBegin = QORMonitor::Now();
    const SteadyClock::time_point mSteadyBegin = SteadyClock::now();
};

class ListSource final : public Source
{
public:
    explicit ListSource(QORMonitorSource iSource) : Source(iSource.mUnits), mSource(std::move(iSource)) {}

    std::shared_ptr<Table> Look(const Table& iOld) const override
    {
        auto table = MakeTable(GetUnits());
        std::size_t old = 0;
        for (const QORMonitorOpenJob& job : List())
        {
            auto identity = TakeIdentity(iOld, old, [&](const Open& iOpen) { return Is(iOpen, job); });
            Open open{{}, job.mJob.Get(), {}};
            open.mRow.mpIdentity = identity != nullptr ? std::move(identity) : ReadIdentity(*job.mJob.Get());
            open.mRow.mState = job.mState;
            ReadPlace(*job.mJob.Get(), open.mRow);
            ++table->mCounts.mOpen;
            table->mCounts.mQueued += job.mState == EnumHostState::Queued ? 1 : 0;
            Add(std::move(open), *job.mJob.Get(), *table);
        }
        table->mCounts.mBytes = table->mGovernedBytes;
        return table;
    }

    std::vector<Found> FindSeen(const std::vector<const Open*>& iOpen) const override
    {
        const std::vector<QORMonitorOpenJob> jobs = List();
        std::unordered_map<const QORJob*, const QORMonitorOpenJob*> places;
        for (const QORMonitorOpenJob& job : jobs)
            places[job.mJob.Get()] = &job;
        std::vector<Found> found;
        for (const Open* const open : iOpen)
        {
            const auto place = places.find(open->mpJob);
            found.push_back(place != places.end() && Is(*open, *place->second) ? Read(*place->second) : Found());
            found.back().mRow.mpIdentity = open->mRow.mpIdentity;
        }
        return found;
    }

    Found FindNew(int iJob) const override
    {
        const std::vector<QORMonitorOpenJob> jobs = List();
        const auto job = std::find_if(jobs.rbegin(), jobs.rend(), [iJob](const QORMonitorOpenJob& iEach) {
            return GetId(*iEach.mJob.Get()) == iJob;
        });
        return job != jobs.rend() ? Read(*job) : Found();
    }

    bool HasEnded(const Open&) const override { return false; } // it is on the list, or it isn't

    QORHostJob FindHandle(const Open*, int) const override { return {}; }

    std::string GetStepName(int iStepId) const override
    {
        return mSource.mStepName ? mSource.mStepName(iStepId) : QBase::WideCharToUTF8(::GetStepName(iStepId));
    }

private:
    std::vector<QORMonitorOpenJob> List() const
    {
        std::vector<QORMonitorOpenJob> jobs = mSource.mList();
        std::erase_if(jobs, [](const QORMonitorOpenJob& iJob) { return !iJob.mJob; });
        return jobs;
    }

    static bool Is(const Open& iOpen, const QORMonitorOpenJob& iJob)
    {
        return iOpen.mpJob == iJob.mJob.Get() && iOpen.mRow.mpIdentity->mId == GetId(*iJob.mJob.Get());
    }

    static Found Read(const QORMonitorOpenJob& iJob)
    {
        Found found{iJob.mJob, {}};
        found.mRow.mState = iJob.mState;
        ReadPlace(*iJob.mJob.Get(), found.mRow);
        return found;
    }

    const QORMonitorSource mSource;
};

} // namespace

std::shared_ptr<const Source> MakeSource(const QORHost& iHost) { return std::make_shared<HostSource>(iHost); }

std::shared_ptr<const Source> MakeSource(QORMonitorSource iSource)
{
    return std::make_shared<ListSource>(std::move(iSource));
}

} // namespace QORMONITOR
