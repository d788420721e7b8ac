#include "monitor/Core.h"

#include "monitor/Query.h"
#include "monitor/Read.h"

#include <algorithm>
#include <exception>
#include <tuple>
#include <unordered_set>
#include <utility>

namespace QORMONITOR
{

namespace
{

/// A look that takes longer isn't waited for, while the last one isn't too old.
constexpr std::chrono::milliseconds cLongLook{2};
constexpr std::chrono::seconds cOldTable{2};
/// Between two looks at least that many times the time that the first one took.
constexpr int cRest = 50;

} // namespace

Core::Core(QORMonitorConfig iConfig)
    : mConfig(std::move(iConfig)), mHistory(mConfig.mMostKept, mConfig.mMostKeptBytes),
      mpTable(std::make_shared<Table>()), mLooker([this] { Run(); })
{
}

Core::~Core()
{
    {
        const std::lock_guard hold(mLookMutex);
        mbEnded = true;
    }
    mAsked.notify_all();
    mLooker.join();
}

void Core::SetSource(std::shared_ptr<const Source> iSource)
{
    {
        const std::unique_lock hold(mSourceMutex);
        mpSource = std::move(iSource);
    }
    const std::lock_guard hold(mLookMutex);
    mLookedAt = {}; // the next one looks
    mCost = {};
}

void Core::AddEnded(const QORJob& iJob, QORMonitorRow iRow)
{
    const std::shared_ptr<JobMemGovernor> governor = iJob.GetMemGovernor();
    iRow.mState = EnumHostState::Ended;
    iRow.mEnded = QORMonitor::Now();
    if (iRow.mUnit == 0)
        ReadPlace(iJob, iRow);
    iRow.mSince = iRow.mEnded;
    mHistory.Add(ReadDetail(iJob, std::move(iRow), mConfig.mLanguages, mConfig.mbDumps),
                 governor != nullptr ? governor->mPeakBytes.load() : 0);
}

// --- Looks. ---

/// The last one, or a new one if it is time for that.
std::shared_ptr<const Table> Core::GetTable()
{
    std::unique_lock hold(mLookMutex);
    const auto age = Clock::now() - mLookedAt;
    const bool bFirst = mLookedAt == Clock::time_point{};
    if (!bFirst && age < cRest * mCost)
        return mpTable;
    const bool bOld = bFirst || age > std::max<Clock::duration>(cOldTable, 2 * cRest * mCost);
    if (mbLooking)
    {
        if (bOld)
            mLooked.wait(hold, [this] { return !mbLooking; });
        return mpTable;
    }
    if (bOld || mCost < cLongLook)
    {
        hold.unlock();
        return Look();
    }
    mbAsked = true;
    mAsked.notify_all();
    return mpTable;
}

/// By one thread at a time; others have the last one meanwhile.
std::shared_ptr<const Table> Core::Look()
{
    const Turn turn(*this);
    if (!turn.IsMine())
        return turn.GetTable();
    const std::uint64_t ended = mHistory.Count();
    const std::shared_lock use(mSourceMutex);
    const auto table = mpSource != nullptr ? mpSource->Look(*turn.GetTable()) : std::make_shared<Table>();
    table->mNow = QORMonitor::Now();
    table->mEndedBefore = ended;
    const std::lock_guard hold(mLookMutex);
    mpTable = table;
    return table;
}

Core::Turn::Turn(Core& ioCore) : mCore(ioCore), mBegin(Clock::now())
{
    const std::lock_guard hold(mCore.mLookMutex);
    mbMine = !std::exchange(mCore.mbLooking, true);
    mpTable = mCore.mpTable;
}

Core::Turn::~Turn()
{
    if (!mbMine)
        return;
    {
        const std::lock_guard hold(mCore.mLookMutex);
        mCore.mbLooking = false;
        mCore.mLookedAt = Clock::now();
        mCore.mCost = mCore.mLookedAt - mBegin;
    }
    mCore.mLooked.notify_all();
}

void Core::Run()
{
    std::unique_lock hold(mLookMutex);
    for (;;)
    {
        mAsked.wait(hold, [this] { return mbAsked || mbEnded; });
        if (mbEnded)
            return;
        mbAsked = false;
        hold.unlock();
        try
        {
            Look();
        }
        catch (const std::exception&)
        {
            // The table stays as it is; once it is old, whoever asks looks himself and gets to know why.
        }
        hold.lock();
    }
}

/// Who has been seen open, and has ended since, counts as ended.
Core::View Core::GetView()
{
    View view;
    view.mpTable = GetTable();
    std::size_t since = 0;
    view.mEnded = mHistory.Get(view.mpTable->mEndedBefore, since);
    std::unordered_set<int> ended;
    for (std::size_t i = 0; i < since; ++i)
        ended.insert(view.mEnded[i]->mRow.mpIdentity->mId);
    view.mRows.reserve(view.mpTable->mOpen.size() + view.mEnded.size());
    const std::vector<Open>& open = view.mpTable->mOpen;
    for (auto each = open.rbegin(); each != open.rend(); ++each) // the newest first: most sorts want them so
        if (ended.empty() || !ended.contains(each->mRow.mpIdentity->mId))
            view.mRows.push_back(&each->mRow);
    view.mOpen = view.mRows.size();
    for (const Ended& job : view.mEnded)
        view.mRows.push_back(&job->mRow);
    return view;
}

QORMonitorPage Core::List(const QORMonitorQuery& iQuery)
{
    View view = GetView();
    QORMonitorPage page;
    page.mNow = QORMonitor::Now();
    page.mOpen = view.mOpen;
    page.mKept = view.mEnded.size();
    page.mUnits = view.mpTable->mUnits;
    page.mCounts = view.mpTable->mCounts;
    page.mOffset = iQuery.mOffset;
    page.mTotal = Select(iQuery, page.mNow, view.mRows);
    page.mRows.reserve(view.mRows.size());
    for (const QORMonitorRow* const row : view.mRows)
        page.mRows.push_back(*row);
    return page;
}

// --- Single jobs. ---

/// The newest of that id; null where there is none.
const Open* Core::FindOpen(const Table& iTable, int iJob)
{
    const auto open = std::find_if(iTable.mOpen.rbegin(), iTable.mOpen.rend(),
                                   [iJob](const Open& iEach) { return iEach.mRow.mpIdentity->mId == iJob; });
    return open == iTable.mOpen.rend() ? nullptr : &*open;
}

QORMonitorDetail Core::Read(const QORJob& iJob, QORMonitorRow iRow) const
{
    QORMonitorDetail job = ReadDetail(iJob, std::move(iRow), mConfig.mLanguages, true);
    job.mRow.mWaiting = job.mRow.mRunning = 0; // nothing is over yet
    return job;
}

/// What was seen open is asked; what wasn't, and isn't kept, may be too new to have been seen.
std::optional<QORMonitorDetail> Core::Find(int iJob)
{
    const std::shared_ptr<const Table> table = GetTable();
    const Open* const open = FindOpen(*table, iJob);
    const std::shared_lock use(mSourceMutex);
    QORMonitorRow row;
    if (open != nullptr && mpSource != nullptr)
        if (const QBase::PtrI<QORJob> job = mpSource->FindJob(*open, row))
            return Read(*job.Get(), std::move(row));
    if (const Ended ended = mHistory.Find(iJob))
        return *ended;
    if (mpSource != nullptr)
        if (const QBase::PtrI<QORJob> job = mpSource->FindJob(iJob, row))
            return Read(*job.Get(), std::move(row));
    return {};
}

QORHostJob Core::FindHandle(int iJob)
{
    const std::shared_ptr<const Table> table = GetTable();
    const Open* const open = FindOpen(*table, iJob);
    QORHostJob handle = open != nullptr ? open->mHandle.Lock() : QORHostJob();
    const std::shared_lock use(mSourceMutex);
    if (!handle && mpSource != nullptr && mHistory.Find(iJob) == nullptr)
        handle = mpSource->FindHandle(iJob);
    return handle && !handle.HasEnded() ? handle : QORHostJob();
}

std::vector<QORMonitorRow> Core::FindChildren(int iJob)
{
    std::vector<QORMonitorRow> children;
    const View view = GetView();
    for (const QORMonitorRow* const row : view.mRows)
        if (row->mpIdentity->mParentId == iJob)
            children.push_back(*row);
    std::sort(children.begin(), children.end(), [](const QORMonitorRow& iLeft, const QORMonitorRow& iRight) {
        return iLeft.mpIdentity->mId < iRight.mpIdentity->mId;
    });
    return children;
}

/// What runs is worth most, and then what is new.
std::vector<QORMonitorDetail> Core::FindWindow(QORMonitorTime iFrom, QORMonitorTime iTo, std::size_t iMost)
{
    std::vector<QORMonitorDetail> jobs;
    const View view = GetView();
    const auto takeOpen = [&](bool ibRunning) {
        const std::shared_lock use(mSourceMutex);
        const std::vector<Open>& open = view.mpTable->mOpen;
        for (auto each = open.rbegin(); each != open.rend() && jobs.size() < iMost && mpSource != nullptr; ++each)
        {
            if ((each->mRow.mState == EnumHostState::Running) != ibRunning || each->mRow.mpIdentity->mCreated > iTo)
                continue;
            QORMonitorRow row;
            row.mpIdentity = each->mRow.mpIdentity;
            if (const QBase::PtrI<QORJob> job = mpSource->FindJob(*each, row))
                jobs.push_back(Read(*job.Get(), std::move(row)));
        }
    };
    takeOpen(true);
    for (auto each = view.mEnded.begin(); each != view.mEnded.end() && jobs.size() < iMost; ++each)
        if ((*each)->mRow.mEnded >= iFrom && (*each)->mRow.mpIdentity->mCreated <= iTo)
            jobs.push_back(**each);
    takeOpen(false);
    std::sort(jobs.begin(), jobs.end(), [](const QORMonitorDetail& iLeft, const QORMonitorDetail& iRight) {
        return std::tie(iLeft.mRow.mpIdentity->mCreated, iLeft.mRow.mpIdentity->mId) <
               std::tie(iRight.mRow.mpIdentity->mCreated, iRight.mRow.mpIdentity->mId);
    });
    return jobs;
}

QORMonitorFigures Core::GetFigures()
{
    QORMonitorFigures figures = mHistory.GetFigures();
    const std::shared_ptr<const Table> table = GetTable();
    figures.mUnits = table->mUnits;
    figures.mCounts = table->mCounts;
    figures.mGovernedBytes = table->mGovernedBytes;
    figures.mOpen = table->mByTypeAndStatus;
    return figures;
}

std::string Core::GetUnitName(int iUnit) const
{
    const std::shared_lock use(mSourceMutex);
    if (mpSource != nullptr)
        for (const QORHostUnit& unit : mpSource->GetUnits())
            if (unit.mId == iUnit)
                return unit.mName;
    return "unit " + std::to_string(iUnit);
}

std::string Core::GetStepName(int iStepId) const
{
    const std::shared_lock use(mSourceMutex);
    return mpSource != nullptr ? mpSource->GetStepName(iStepId) : QBase::WideCharToUTF8(::GetStepName(iStepId));
}

} // namespace QORMONITOR
