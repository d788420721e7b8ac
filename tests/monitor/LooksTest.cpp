// Looks at a program's own jobs, which the test can change between two of them.
#include "monitor/History.h"
#include "monitor/ListQuery.h"
#include "monitor/QORMonitor.h"
#include "monitor/Query.h"
#include "monitor/Read.h"
#include "tests/host/HostTest.h"
#include "tests/monitor/MonitorValues.h"
#include "tests/support/Threads.h"

#include <array>
#include <atomic>
#include <stdexcept>

using namespace HostTest;
using MonitorValues::IdsOf;
using QORMONITOR::History;

namespace
{

/// Jobs that are listed, and how often they were.
class Listed : public testing::Test
{
protected:
    void Add(int iId, EnumHostState iState = EnumHostState::Running)
    {
        mJobs.push_back({MakeJob(iId, {cFirst, StepCloseJob}), iState});
        mJobs.back().mJob->SetUser(QBase::UTF8ToWideChar("user " + std::to_string(iId)));
    }

    void Watch(std::chrono::milliseconds iTime = 0ms)
    {
        mMonitor.Watch({.mList = [=, this] {
            ++mLooks;
            const auto end = std::chrono::steady_clock::now() + iTime;
            while (std::chrono::steady_clock::now() < end)
                continue;
            if (mbFails)
                throw std::runtime_error("no list");
            return mJobs;
        }});
    }

    std::vector<QORMonitorOpenJob> mJobs;
    std::atomic<int> mLooks = 0;
    std::atomic<bool> mbFails = false;
    QORMonitor mMonitor;
};

QORMonitorDetail MakeEnded(int iId)
{
    auto identity = std::make_shared<QORMonitorIdentity>();
    identity->mId = iId;
    identity->mDescription = std::string(1'000, 'x');
    QORMonitorDetail job;
    job.mRow.mpIdentity = identity;
    job.mRow.mState = EnumHostState::Ended;
    return job;
}

} // namespace

TEST_F(Listed, AreLookedAtNoMoreThanAFiftiethOfTheTime)
{
    Add(1);
    Watch(5ms);
    const auto begin = std::chrono::steady_clock::now();
    RunOnThreads(4, [&](int) {
        for (int i = 0; i < 5; ++i)
            mMonitor.List({});
    });
    const bool bQuick = std::chrono::steady_clock::now() - begin < 200ms;
    EXPECT_TRUE(!bQuick || mLooks == 1) << mLooks;
    // A look that takes long isn't waited for, but it comes.
    WaitWhile([&] {
        mMonitor.List({});
        return mLooks < 2;
    });
    // If it fails, what has been seen stays until it is old.
    mbFails = true;
    const auto seen = std::chrono::steady_clock::now();
    try
    {
        WaitWhile([&] {
            mMonitor.List({});
            return mLooks < 4;
        });
    }
    catch (const std::runtime_error&)
    {
        EXPECT_GT(std::chrono::steady_clock::now() - seen, 1s);
    }
}

TEST_F(Listed, AreOthersAsSoonAsTheSourceIsAnother)
{
    Add(1);
    Watch(5ms);
    EXPECT_EQ(mMonitor.List({}).mOpen, 1U);
    mMonitor.Forget();
    EXPECT_EQ(mMonitor.List({}).mOpen, 0U);
    EXPECT_FALSE(mMonitor.Find(1));
    Watch(5ms);
    EXPECT_EQ(mMonitor.List({}).mOpen, 1U);
}

TEST_F(Listed, AreNotKeptByALookThatAForgottenSourceHasBegun)
{
    Add(1);
    std::thread forgetting;
    const auto list = [&] {
        forgetting = std::thread([&] { mMonitor.Forget(); });
        WaitWhile([&] { return mMonitor.GetUnitName(4) == "four"; });
        return mJobs;
    };
    mMonitor.Watch({.mList = list, .mUnits = {{.mId = 4, .mName = "four"}}});
    EXPECT_EQ(mMonitor.List({}).mOpen, 1U);
    forgetting.join();
    EXPECT_EQ(mMonitor.List({}).mOpen, 0U);
}

TEST_F(Listed, KeepTheirIdentitiesWhileOthersComeAndGo)
{
    Add(1);
    Add(2);
    Add(3);
    mJobs.push_back({}); // none
    Watch();
    EXPECT_EQ(mMonitor.List({}).mOpen, 3U);
    mJobs.erase(mJobs.begin() + 1);
    Add(4, EnumHostState::Queued);
    std::vector<QORMonitorRow> rows;
    WaitWhile([&] {
        rows = mMonitor.List({.mSort = EnumMonitorSort::Id}).mRows;
        return rows.back().mpIdentity->mId != 4;
    });
    EXPECT_EQ(IdsOf(rows), (std::vector<int>{1, 3, 4}));
    for (const QORMonitorRow& row : rows)
    {
        EXPECT_EQ(row.mpIdentity->mUser, "user " + std::to_string(row.mpIdentity->mId));
        EXPECT_FALSE(row.mbCommands);
    }
}

TEST_F(Listed, AreFoundBeforeTheNextLook)
{
    Add(1);
    Watch(5ms);
    EXPECT_EQ(mMonitor.List({}).mOpen, 1U);
    Add(2);
    EXPECT_TRUE(mMonitor.Find(2));
    EXPECT_FALSE(mMonitor.Find(3));
    mMonitor.AddEnded(*mJobs.front().mJob.Get());
    const QBase::PtrI<QORJob> old = mJobs.front().mJob; // its place in memory isn't the next one's
    mJobs.erase(mJobs.begin());
    Add(1);
    const auto newest = mMonitor.Find(1);
    ASSERT_TRUE(newest);
    EXPECT_EQ(newest->mRow.mState, EnumHostState::Running) << "the one that has the number now";
    const int before = mLooks;
    EXPECT_EQ(mMonitor.FindWindow(1, QORMonitor::Now(), 10).size(), 1U) << "the list is as old as the look";
    EXPECT_LE(mLooks - before, 3) << "and isn't made for each job";
}

TEST_F(Listed, FailWithTheirSource)
{
    Add(1);
    Watch();
    mbFails = true;
    for (int i = 0; i < 2; ++i)
        EXPECT_THROW(mMonitor.List({}), std::runtime_error);
    mbFails = false;
    EXPECT_EQ(mMonitor.List({}).mOpen, 1U);
}

TEST_F(Listed, AreForgottenWhileOthersLook)
{
    for (int id = 0; id < 200; ++id)
        Add(id);
    std::atomic<bool> bStop = false;
    std::vector<std::thread> lookers;
    for (int i = 0; i < 3; ++i)
        lookers.emplace_back([&] {
            while (!bStop)
                mMonitor.FindWindow(1, QORMonitor::Now(), 200);
        });
    for (int i = 0; i < 20; ++i)
    {
        Watch();
        EXPECT_EQ(mMonitor.List({}).mOpen, 200U);
        mMonitor.Forget();
        const int looks = mLooks;
        EXPECT_EQ(mMonitor.List({}).mOpen, 0U);
        EXPECT_EQ(mLooks, looks) << "nobody calls the source any more";
    }
    bStop = true;
    for (std::thread& looker : lookers)
        looker.join();
}

TEST_F(Listed, TellWhatGovernorsHaveGranted)
{
    Add(1);
    const QBase::PtrI<QORJob> child = MakeJob(2, {StepCloseJob});
    child->SetParentId(1, mJobs.front().mJob->GetMemGovernor());
    mJobs.push_back({child, EnumHostState::Queued});
    QBase::wstring refusal;
    ASSERT_EQ(mJobs.front().mJob->GetMemGovernor()->Request(3 << 20, refusal), S_OK);
    Watch();
    EXPECT_EQ(mMonitor.GetFigures().mGovernedBytes, std::uint64_t{3 << 20}) << "once, though a child has it, too";
    using Counts = std::map<std::pair<int, int>, std::uint64_t>;
    EXPECT_EQ(mMonitor.GetFigures().mOpen, (Counts{{{RequestDocument, JobReady}, 2}}));
    const QORHostCounts counts = mMonitor.GetFigures().mCounts;
    EXPECT_EQ((std::array<std::uint64_t, 3>{counts.mOpen, counts.mQueued, counts.mBytes}),
              (std::array<std::uint64_t, 3>{2, 1, 3 << 20}));
    mJobs.front().mJob->GetMemGovernor()->Release(1 << 20);
    mMonitor.AddEnded(*mJobs.front().mJob.Get());
    EXPECT_EQ(mMonitor.GetFigures().mGovernedPeak, std::uint64_t{3 << 20});
}

TEST(MonitorHistory, CountsRunsWaitsAndWhatWasGivenUp)
{
    constexpr QORMonitorTime cOneSecond = 1'000'000;
    QORMonitorDetail job = MakeEnded(1);
    job.mVisits = {{1, 10 * cOneSecond, 12 * cOneSecond, 20 * cOneSecond},
                   {2, 20 * cOneSecond, 23 * cOneSecond, 30 * cOneSecond},
                   {1, 30 * cOneSecond, 34 * cOneSecond, 40 * cOneSecond},
                   {5, 40 * cOneSecond, 45 * cOneSecond, 50 * cOneSecond},
                   {6, 50 * cOneSecond, 0, 0}};
    job.mFinished = {{3, 1, 7, 12 * cOneSecond, 20 * cOneSecond},
                     {4, 2, 8, 30 * cOneSecond, 0},
                     {5, -1, 0, 0, 0},
                     {6, 1, 7, 34 * cOneSecond, 39 * cOneSecond}};
    job.mTodo = {{2, 5, 7, 46 * cOneSecond, 0}, {8, -1, 0, 0, 0}};
    History history(10, 1 << 20);
    history.Add(job, 5);
    history.Add(MakeEnded(2), 4);
    const QORMonitorFigures figures = history.GetFigures();
    const auto sums = [](const std::map<std::pair<int, int>, QORMonitorHistogram>& iHistograms) {
        std::map<std::pair<int, int>, double> all;
        for (const auto& [key, histogram] : iHistograms)
            all[key] = histogram.mSum;
        return all;
    };
    using Sums = std::map<std::pair<int, int>, double>;
    EXPECT_EQ(sums(figures.mStepSeconds), (Sums{{{1, 3}, 8}, {{1, 6}, 5}}));
    EXPECT_EQ(sums(figures.mWaitSeconds), (Sums{{{1, 3}, 2}, {{2, 4}, 3}, {{1, 6}, 4}, {{5, 2}, 5}}));
    EXPECT_EQ(figures.mGivenUp, (std::map<std::pair<int, int>, std::uint64_t>{{{2, 4}, 1}, {{5, 2}, 1}}));
    EXPECT_EQ(figures.mGovernedPeak, 5U);
}

TEST(MonitorHistory, KeepsTheNewestOfANumberAndCountsItsBytes)
{
    History history(2, 1 << 20);
    history.Add(MakeEnded(1), 0);
    const std::uint64_t one = history.GetFigures().mKeptBytes;
    EXPECT_GT(one, 1'000U);
    history.Add(MakeEnded(1), 0);
    history.Add(MakeEnded(2), 0); // the first one goes
    EXPECT_TRUE(history.Find(1));
    EXPECT_EQ(history.GetFigures().mKeptBytes, 2 * one);
    history.Add(MakeEnded(3), 0);
    EXPECT_FALSE(history.Find(1));
    std::uint64_t since = 0;
    EXPECT_EQ(history.Get(1, since).front()->mRow.mpIdentity->mId, 3);
    EXPECT_EQ(since, 3U) << "one of which isn't kept";

    History small(10, one); // exactly
    for (int id = 0; id < 5; ++id)
        small.Add(MakeEnded(id), 0);
    EXPECT_EQ(small.GetFigures().mKept, 1U);
    EXPECT_TRUE(small.Find(4));
}

TEST(MonitorHistory, CountsWhateverAJobHas)
{
    constexpr std::size_t cMuch = 10'000;
    const std::string text(cMuch, 'x');
    using Change = void (*)(QORMonitorIdentity&, QORMonitorDetail&, const std::string&);
    for (const Change change : std::initializer_list<Change>{
             [](auto&oWho, auto&, auto&iText) { oWho.mUser = iText; },
             [](auto&oWho, auto&, auto&iText) { oWho.mLogin = iText; },
             [](auto&oWho, auto&, auto&iText) { oWho.mProject = iText; },
             [](auto&oWho, auto&, auto&iText) { oWho.mDescription = iText; },
             [](auto&, auto&oJob, auto&iText) { oJob.mRow.mReason = iText; },
             [](auto&, auto&oJob, auto&iText) { oJob.mDump = iText; },
             [](auto&, auto&oJob, auto&iText) { oJob.mErrors[1] = iText; },
             [](auto&, auto&oJob, auto&) { oJob.mVisits.resize(cMuch / sizeof(QORMonitorVisit) + 1); },
             [](auto&, auto&oJob, auto&) { oJob.mItems.resize(cMuch / sizeof(QORMonitorItem) + 1); },
             [](auto&, auto&oJob, auto&) { oJob.mTodo.resize(cMuch / sizeof(QORMonitorStep) + 1); },
             [](auto&, auto&oJob, auto&) { oJob.mFinished.resize(cMuch / sizeof(QORMonitorStep) + 1); }})
    {
        const auto identity = std::make_shared<QORMonitorIdentity>();
        QORMonitorDetail job;
        job.mRow.mpIdentity = identity;
        const std::size_t before = QORMONITOR::SizeOf(job);
        change(*identity, job, text);
        EXPECT_NEAR(static_cast<double>(QORMONITOR::SizeOf(job) - before), cMuch, 5'000);
    }
}

TEST(MonitorQuery, SortsByTimes)
{
    auto identity = std::make_shared<QORMonitorIdentity>();
    std::vector<QORMonitorRow> rows(3);
    for (QORMonitorRow& row : rows)
        row.mpIdentity = identity;
    const double waits[] = {2, 3, 1};
    const double runs[] = {3, 1, 2};
    const EnumHostState states[] = {EnumHostState::Queued, EnumHostState::Delayed, EnumHostState::Running};
    for (std::size_t i = 0; i < 3; ++i)
    {
        rows[i].mWaiting = waits[i];
        rows[i].mRunning = runs[i];
        rows[i].mState = states[i];
        rows[i].mSince = static_cast<QORMonitorTime>(10 * runs[i]);
        rows[i].mStep = static_cast<int>(waits[i]);
        rows[i].mStatus = static_cast<int>(runs[i]);
    }
    const auto order = [&](EnumMonitorSort iSort) {
        std::vector<const QORMonitorRow*> all;
        for (const QORMonitorRow& row : rows)
            all.push_back(&row);
        EXPECT_EQ(QORMONITOR::Select({.mSort = iSort}, 100, all), 3U);
        std::string text;
        for (const QORMonitorRow* const row : all)
            text += std::to_string(row - rows.data());
        return text;
    };
    EXPECT_EQ(order(EnumMonitorSort::Waiting), "201");
    EXPECT_EQ(order(EnumMonitorSort::Running), "120");
    EXPECT_EQ(order(EnumMonitorSort::Since), "021") << "the one that came last";
    EXPECT_EQ(order(EnumMonitorSort::Step), "201");
    EXPECT_EQ(order(EnumMonitorSort::Status), "120");
    EXPECT_EQ(order(EnumMonitorSort::Urgency), "210");
    identity->mCreated = 1;
    std::vector<const QORMonitorRow*> all{rows.data()};
    EXPECT_EQ(QORMONITOR::Select({.mOlder = 1ms}, 1'000, all), 0U);
    all = {rows.data()};
    EXPECT_EQ(QORMONITOR::Select({.mOlder = 1ms}, 1'001, all), 1U);
}

TEST(MonitorQuery, IsReadPartByPart)
{
    QORWebRequest request;
    ASSERT_TRUE(request.SetTarget("/jobs?user=a&search=b&status=1&unit=2&type=3&state=ended&older=5&open=0&ended=0&"
                                  "sort=since&order=desc&offset=6&limit=7"));
    const QORMonitorQuery query = QORMONITOR::ReadListQuery(request);
    EXPECT_EQ(query.mUser + query.mSearch, "ab");
    EXPECT_EQ((std::array{query.mStatus, query.mUnit, query.mType, query.mState}),
              (std::array{1, 2, 3, static_cast<int>(EnumHostState::Ended)}));
    EXPECT_EQ(query.mOlder, 5s);
    EXPECT_FALSE(query.mbOpen || query.mbEnded);
    EXPECT_EQ(query.mSort, EnumMonitorSort::Since);
    EXPECT_TRUE(query.mbDescending);
    EXPECT_EQ(query.mOffset, 6u);
    EXPECT_EQ(query.mLimit, 7u);
    const auto read = [](const char* iName, const char* iValue) {
        return QORMONITOR::ReadListQuery({.mQuery = {{iName, iValue}}});
    };
    int state = 0;
    for (const char* word : {"queued", "running", "paused", "waiting", "delayed", "ended"})
        EXPECT_EQ(read("state", word).mState, state++);
    int sort = 0;
    for (const char* word :
         {"urgency", "id", "user", "status", "unit", "step", "priority", "created", "since", "running", "waiting"})
        EXPECT_EQ(static_cast<int>(read("sort", word).mSort), sort++);
    for (const char* name : {"status", "unit", "type", "older", "offset"})
        EXPECT_NO_THROW(read(name, "0")) << name;
    EXPECT_EQ(read("search", std::string(200, 'x').c_str()).mSearch.size(), 200u);
    EXPECT_EQ(read("limit", "1").mLimit + read("limit", "500").mLimit, 501u);
    EXPECT_FALSE(read("open", "0").mbOpen);
    EXPECT_FALSE(read("ended", "0").mbEnded);
}

/// In a time that grows with the text.
TEST(MonitorQuery, FindsATextThatAlmostRepeatsItself)
{
    auto identity = std::make_shared<QORMonitorIdentity>();
    QORMonitorRow row;
    row.mpIdentity = identity;
    const auto finds = [&](const std::string& iText, const std::string& iSearch) {
        identity->mDescription = iText;
        std::vector<const QORMonitorRow*> rows{&row};
        return QORMONITOR::Select({.mSearch = iSearch}, 0, rows) == 1;
    };
    EXPECT_TRUE(finds("abaABABc", "ababc"));
    EXPECT_TRUE(finds("aaz", "AZ"));
    EXPECT_FALSE(finds("ababab", "abac"));
    EXPECT_FALSE(finds("ab", "abc"));
    const std::string almost(1'000'000, 'a');
    EXPECT_TRUE(finds(almost + "b", std::string(100'000, 'a') + "b"));
    EXPECT_FALSE(finds(almost, std::string(100'000, 'a') + "b"));
}
