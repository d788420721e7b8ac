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

/// Calls a function when it goes.
template <class Function>
class AtEnd
{
public:
    explicit AtEnd(const Function& iFunction) : mFunction(iFunction) {}
    ~AtEnd() { mFunction(); }
    AtEnd(const AtEnd&) = delete;
    AtEnd& operator=(const AtEnd&) = delete;

private:
    const Function& mFunction;
};

} // namespace

Core::Core(QORMonitorConfig iConfig)
    : mConfig(std::move(iConfig)), mHistory(mConfig.mMostKept, mConfig.mMostKeptBytes), mLooker([this] { Run(); })
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

// --- The source. ---

Core::Use::Use(Core& ioCore) : mCore(ioCore)
{
    const std::lock_guard hold(mCore.mSourceMutex);
    mpSource = mCore.mpSource;
}

Core::Use::~Use()
{
    const std::lock_guard hold(mCore.mSourceMutex); // until the end: who has waited may destroy the core
    mpSource.reset();
    mCore.mLeft.notify_all();
}

/// New users get the new one, so that those of the old one come to an end.
void Core::SetSource(std::shared_ptr<const Source> iSource)
{
    std::unique_lock hold(mSourceMutex);
    const std::shared_ptr<const Source> old = std::exchange(mpSource, std::move(iSource));
    {
        const std::lock_guard look(mLookMutex);
        ++mGeneration;
        mpTable = nullptr;
    }
    mLeft.wait(hold, [&] { return old.use_count() <= 1; });
}

void Core::AddEnded(const QORJob& iJob, QORMonitorRow iRow)
{
    const std::shared_ptr<JobMemGovernor> governor = iJob.GetMemGovernor();
    if (iRow.mUnit == 0)
        ReadPlace(iJob, iRow);
    iRow.mState = EnumHostState::Ended;
    iRow.mSince = iRow.mEnded = QORMonitor::Now();
    mHistory.Add(ReadDetail(iJob, std::move(iRow), mConfig.mLanguages, mConfig.mbDumps),
                 governor != nullptr ? governor->mPeakBytes.load() : 0);
}

// --- Looks. ---

/// The last one's, or that of a new one if it is time for that.
std::shared_ptr<const Table> Core::GetTable()
{
    std::unique_lock hold(mLookMutex);
    for (;;)
    {
        const auto age = Clock::now() - mLookedAt;
        if (mpTable != nullptr && age < cRest * mCost)
            return mpTable;
        const bool bOld = mpTable == nullptr || age > std::max<Clock::duration>(cOldTable, 2 * cRest * mCost);
        if (!bOld && mbLooking)
            return mpTable;
        if (!bOld && mCost >= cLongLook)
        {
            mbAsked = true;
            mAsked.notify_all();
            return mpTable;
        }
        if (!mbLooking)
            return Look(hold);
        mLooked.wait(hold, [this] { return !mbLooking; });
    }
}

/// By one thread at a time. What was seen of a source that has been replaced meanwhile isn't kept.
std::shared_ptr<const Table> Core::Look(std::unique_lock<LookMutex>& ioHold)
{
    mbLooking = true;
    const unsigned generation = mGeneration;
    const std::shared_ptr<const Table> old = mpTable;
    ioHold.unlock();
    const Clock::time_point begin = Clock::now();
    std::shared_ptr<Table> table;
    const auto end = [&] {
        ioHold.lock();
        mbLooking = false;
        mLooked.notify_all();
        if (table == nullptr || generation != mGeneration)
            return;
        mLookedAt = Clock::now();
        mCost = mLookedAt - begin;
        mpTable = table;
    };
    const AtEnd atEnd(end);
    const std::uint64_t ended = mHistory.Count();
    const Use source(*this);
    const std::shared_ptr<Table> seen =
        source ? source->Look(old != nullptr ? *old : Table()) : std::make_shared<Table>();
    seen->mEndedBefore = ended;
    table = seen; // is shown when this ends
    return seen;
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
        if (mbLooking)
            continue;
        try
        {
            Look(hold);
        }
        catch (const std::exception&)
        {
            // The table stays as it is; once it is old, whoever asks looks himself and gets to know why.
        }
    }
}

/// Who has been seen open, and has ended since, counts as ended.
Core::View Core::GetView()
{
    View view;
    view.mpTable = GetTable();
    std::uint64_t since = 0;
    view.mEnded = mHistory.Get(view.mpTable->mEndedBefore, since);
    const bool bAllKept = since <= view.mEnded.size();
    std::unordered_set<int> ended;
    for (std::size_t i = 0; i < std::min<std::size_t>(since, view.mEnded.size()); ++i)
        ended.insert(view.mEnded[i]->mRow.mpIdentity->mId);
    const Use source(*this);
    const std::vector<Open>& open = view.mpTable->mOpen;
    view.mOpen.reserve(open.size());
    for (auto each = open.rbegin(); each != open.rend(); ++each)
        if ((ended.empty() || !ended.contains(each->mRow.mpIdentity->mId)) &&
            (bAllKept || !source || !source->HasEnded(*each)))
            view.mOpen.push_back(&*each);
    return view;
}

std::vector<const QORMonitorRow*> Core::GetRows(const View& iView)
{
    std::vector<const QORMonitorRow*> rows;
    rows.reserve(iView.mOpen.size() + iView.mEnded.size());
    for (const Open* const open : iView.mOpen)
        rows.push_back(&open->mRow);
    for (const Ended& job : iView.mEnded)
        rows.push_back(&job->mRow);
    return rows;
}

QORMonitorPage Core::List(const QORMonitorQuery& iQuery)
{
    const View view = GetView();
    std::vector<const QORMonitorRow*> rows = GetRows(view);
    QORMonitorPage page;
    page.mNow = QORMonitor::Now();
    page.mOpen = view.mOpen.size();
    page.mKept = view.mEnded.size();
    page.mUnits = view.mpTable->mUnits;
    page.mCounts = view.mpTable->mCounts;
    page.mOffset = iQuery.mOffset;
    page.mTotal = Select(iQuery, page.mNow, rows);
    page.mRows.reserve(rows.size());
    for (const QORMonitorRow* const row : rows)
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

/// One that has ended, and isn't kept yet, is about to be.
std::optional<QORMonitorDetail> Core::Find(int iJob)
{
    const std::shared_ptr<const Table> table = GetTable();
    const Open* const open = FindOpen(*table, iJob);
    Found found;
    const Use source(*this);
    if (source && open != nullptr)
        found = source->FindSeen({open}).front();
    if (source && (!found.mpJob || found.mRow.mState == EnumHostState::Ended))
        if (Found newer = source->FindNew(iJob); newer.mpJob)
            found = std::move(newer);
    const bool bEnded = !found.mpJob || found.mRow.mState == EnumHostState::Ended;
    if (bEnded)
        if (const Ended ended = mHistory.Find(iJob))
            return *ended;
    if (!found.mpJob)
        return {};
    if (bEnded)
        found.mRow.mEnded = QORMonitor::Now();
    found.mRow.mpIdentity = nullptr; // as it is now
    return ReadDetail(*found.mpJob.Get(), std::move(found.mRow), mConfig.mLanguages, true);
}

QORHostJob Core::FindHandle(int iJob)
{
    const std::shared_ptr<const Table> table = GetTable();
    const Use source(*this);
    if (!source)
        return {};
    const Open* const open = FindOpen(*table, iJob);
    QORHostJob handle = open != nullptr ? source->FindHandle(open, iJob) : QORHostJob();
    if (!handle || handle.HasEnded())
        handle = source->FindHandle(nullptr, iJob);
    return handle && !handle.HasEnded() ? handle : QORHostJob();
}

std::vector<QORMonitorRow> Core::FindChildren(int iJob, std::size_t iMost)
{
    std::vector<QORMonitorRow> children;
    const View view = GetView();
    std::vector<const QORMonitorRow*> rows = GetRows(view);
    std::erase_if(rows, [iJob](const QORMonitorRow* iRow) { return iRow->mpIdentity->mParentId != iJob; });
    std::sort(rows.begin(), rows.end(), [](const QORMonitorRow* iLeft, const QORMonitorRow* iRight) {
        return iLeft->mpIdentity->mId < iRight->mpIdentity->mId;
    });
    rows.resize(std::min(rows.size(), iMost));
    children.reserve(rows.size());
    for (const QORMonitorRow* const row : rows)
        children.push_back(*row);
    return children;
}

/// What runs is worth most, and then what is new.
std::vector<QORMonitorDetail> Core::FindWindow(QORMonitorTime iFrom, QORMonitorTime iTo, std::size_t iMost)
{
    std::vector<QORMonitorDetail> jobs;
    const View view = GetView();
    const auto takeOpen = [&](bool ibRunning) {
        std::vector<const Open*> wanted;
        for (auto each = view.mOpen.begin(); each != view.mOpen.end() && jobs.size() + wanted.size() < iMost; ++each)
            if (((*each)->mRow.mState == EnumHostState::Running) == ibRunning &&
                (*each)->mRow.mpIdentity->mCreated <= iTo)
                wanted.push_back(*each);
        const Use source(*this);
        if (!source)
            return;
        for (Found& found : source->FindSeen(wanted))
            if (found.mpJob && found.mRow.mState != EnumHostState::Ended)
                jobs.push_back(ReadDetail(*found.mpJob.Get(), std::move(found.mRow), {}, false));
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
    const std::shared_ptr<const Table> table = GetTable();
    QORMonitorFigures figures = mHistory.GetFigures();
    figures.mUnits = table->mUnits;
    figures.mCounts = table->mCounts;
    figures.mGovernedBytes = table->mGovernedBytes;
    figures.mOpen = table->mByTypeAndStatus;
    return figures;
}

std::string Core::GetUnitName(int iUnit)
{
    if (const Use source(*this); source)
        for (const QORHostUnit& unit : source->GetUnits())
            if (unit.mId == iUnit)
                return unit.mName;
    return "unit " + std::to_string(iUnit);
}

std::string Core::GetStepName(int iStepId)
{
    const Use source(*this);
    return source ? source->GetStepName(iStepId) : QBase::WideCharToUTF8(::GetStepName(iStepId));
}

} // namespace QORMONITOR
