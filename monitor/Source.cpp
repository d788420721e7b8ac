#include "monitor/Source.h"

#include "monitor/Read.h"

#include <algorithm>
#include <chrono>
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

    QORHostJob FindHandle(int iJob) const override
    {
        const std::vector<QORHostJob> jobs = mHost.GetJobs();
        const auto job =
            std::find_if(jobs.rbegin(), jobs.rend(), [iJob](const QORHostJob& iEach) { return iEach.GetId() == iJob; });
        return job == jobs.rend() ? QORHostJob() : *job;
    }

    QBase::PtrI<QORJob> FindJob(const Open& iOpen, QORMonitorRow& oRow) const override
    {
        return GetJob(iOpen.mHandle.Lock(), oRow);
    }

    QBase::PtrI<QORJob> FindJob(int iJob, QORMonitorRow& oRow) const override { return GetJob(FindHandle(iJob), oRow); }

    std::string GetStepName(int iStepId) const override { return mHost.GetStepName(iStepId); }

private:
    static QBase::PtrI<QORJob> GetJob(const QORHostJob& iHandle, QORMonitorRow& oRow)
    {
        if (!iHandle)
            return {};
        Fill(iHandle, oRow);
        oRow.mReason = iHandle.GetReason();
        return iHandle.GetJob();
    }

    static void Fill(const QORHostJob& iHandle, QORMonitorRow& oRow)
    {
        const QORHostLook look = iHandle.GetLook();
        const auto age = std::chrono::steady_clock::now() - look.mSince;
        oRow.mState = look.mState;
        oRow.mStatus = look.mStatus;
        oRow.mUnit = look.mUnit;
        oRow.mStep = look.mStepId;
        oRow.mProgress = look.mProgress;
        oRow.mPriority = look.mPriority;
        oRow.mSince = QORMonitor::Now() - std::chrono::duration_cast<std::chrono::microseconds>(age).count();
    }

    const QORHost& mHost;
};

class ListSource final : public Source
{
public:
    explicit ListSource(QORMonitorSource iSource) : Source(iSource.mUnits), mSource(std::move(iSource)) {}

    std::shared_ptr<Table> Look(const Table& iOld) const override
    {
        auto table = MakeTable(GetUnits());
        const std::vector<QORMonitorOpenJob> jobs = mSource.mList();
        std::size_t old = 0;
        for (const QORMonitorOpenJob& job : jobs)
        {
            const int id = GetId(*job.mJob.Get());
            auto identity = TakeIdentity(iOld, old, [&](const Open& iOpen) {
                return iOpen.mpJob == job.mJob.Get() && iOpen.mRow.mpIdentity->mId == id;
            });
            Open open{{}, job.mJob.Get(), {}};
            open.mRow.mpIdentity = identity != nullptr ? std::move(identity) : ReadIdentity(*job.mJob.Get());
            open.mRow.mState = job.mState;
            ReadPlace(*job.mJob.Get(), open.mRow);
            table->mCounts.mQueued += job.mState == EnumHostState::Queued ? 1 : 0;
            Add(std::move(open), *job.mJob.Get(), *table);
        }
        table->mCounts.mOpen = jobs.size();
        table->mCounts.mBytes = table->mGovernedBytes;
        return table;
    }

    QORHostJob FindHandle(int) const override { return {}; }

    QBase::PtrI<QORJob> FindJob(const Open& iOpen, QORMonitorRow& oRow) const override
    {
        return FindJob(iOpen.mRow.mpIdentity->mId, oRow);
    }

    QBase::PtrI<QORJob> FindJob(int iJob, QORMonitorRow& oRow) const override
    {
        const std::vector<QORMonitorOpenJob> jobs = mSource.mList();
        const auto job = std::find_if(jobs.rbegin(), jobs.rend(), [iJob](const QORMonitorOpenJob& iEach) {
            return GetId(*iEach.mJob.Get()) == iJob;
        });
        if (job == jobs.rend())
            return {};
        oRow.mState = job->mState;
        ReadPlace(*job->mJob.Get(), oRow);
        return job->mJob;
    }

    std::string GetStepName(int iStepId) const override
    {
        return mSource.mStepName ? mSource.mStepName(iStepId) : QBase::WideCharToUTF8(::GetStepName(iStepId));
    }

private:
    const QORMonitorSource mSource;
};

} // namespace

std::shared_ptr<const Source> MakeSource(const QORHost& iHost) { return std::make_shared<HostSource>(iHost); }

std::shared_ptr<const Source> MakeSource(QORMonitorSource iSource)
{
    return std::make_shared<ListSource>(std::move(iSource));
}

} // namespace QORMONITOR
