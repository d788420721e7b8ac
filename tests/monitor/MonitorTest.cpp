#include "monitor/QORMonitor.h"
#include "tests/host/HostTest.h"
#include "tests/monitor/MonitorValues.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <numeric>
#include <optional>
#include <set>

using namespace HostTest;
using MonitorValues::IdsOf;

namespace
{

constexpr int cLoad = 1;
constexpr int cWork = 2;

/// A host whose jobs stay in their second step until the gate opens, one at a time.
class Monitored : public testing::Test
{
protected:
    Monitored() { Watch({}); }
    ~Monitored() override { mGate.Open(); }

    void Watch(QORMonitorConfig iConfig)
    {
        mHost.reset();
        mMonitor.emplace(std::move(iConfig));
        mHost.emplace(QORHostConfig{
            .mUnits = {{.mId = cLoad, .mName = "loading", .mThreads = 2}, {.mId = cWork, .mName = "work"}},
            .mSteps =
                {{.mStepId = cFirst, .mUnit = cLoad, .mRun = [](QORHostRun&) {}, .mName = "begin"},
                 {.mStepId = cSecond,
                  .mUnit = cWork,
                  .mRun =
                      [this](QORHostRun& ioRun) {
                          static_cast<void>(ioRun.Report(40));
                          mGate.Wait();
                          ioRun.CheckStop();
                      }},
                 {.mStepId = StepAnalyticalProcessing,
                  .mUnit = cLoad,
                  .mRun =
                      [](QORHostRun&) {
                          throw QORHostError(static_cast<HRESULT>(0x80043095), {"work", "3", "no\nluck"}, "no luck");
                      }}},
            .mOnEnd = mMonitor->GetOnEnd()});
        mMonitor->Watch(*mHost);
    }

    QBase::PtrI<QORJob> Make(int iId, const QBase::WCHAR* iUser, std::initializer_list<QORJobProcessingStep> iSteps,
                             int iType = RequestReport, int iPriority = 5)
    {
        QBase::PtrI<QORJob> job = MakeJob(iId, iSteps, iType, iPriority);
        job->SetUser(iUser);
        job->SetUserLogin(QORJOB_W("login"));
        job->SetProjectName(QORJOB_W("Project"));
        job->SetDescription(QORJOB_W("Sales by <region>"));
        return job;
    }

    QORHostJob Submit(int iId, const QBase::WCHAR* iUser, std::initializer_list<QORJobProcessingStep> iSteps,
                      int iType = RequestReport, int iPriority = 5)
    {
        return mHost->Submit(Make(iId, iUser, iSteps, iType, iPriority)).mJob;
    }

    /// One that runs, two that wait behind it, one that has completed, and one that has failed.
    void SubmitFive()
    {
        const QORHostJob failed = Submit(3, QORJOB_W("carla"), {StepAnalyticalProcessing, StepCloseJob});
        ASSERT_TRUE(failed.WaitFor(cLong));
        ASSERT_TRUE(Submit(2, QORJOB_W("bela"), {cFirst, StepCloseJob}, RequestSQL).WaitFor(cLong));
        mRunning = Submit(7, QORJOB_W("anna"), {cFirst, cSecond, StepCloseJob}, RequestDocument, 9);
        WaitWhile([&] { return mRunning.GetProgress() != 40; });
        mFirst = Submit(5, QORJOB_W("bela"), {cSecond, StepCloseJob}, RequestElement, 4);
        mLast = Submit(6, QORJOB_W("Anna"), {cSecond, StepCloseJob}, RequestElement, 3);
    }

    std::vector<int> List(const QORMonitorQuery& iQuery) { return IdsOf(mMonitor->List(iQuery).mRows); }

    Gate mGate;
    std::optional<QORMonitor> mMonitor;
    std::optional<QORHost> mHost;
    QORHostJob mRunning;
    QORHostJob mFirst;
    QORHostJob mLast;
};

} // namespace

TEST_F(Monitored, ShowsWhatRunsWaitsAndHasEnded)
{
    const QORMonitorTime before = QORMonitor::Now();
    SubmitFive();
    const QORMonitorPage page = mMonitor->List({});
    EXPECT_EQ(IdsOf(page.mRows), (std::vector<int>{7, 3, 6, 5, 2}));
    EXPECT_EQ(page.mOpen, 3U);
    EXPECT_EQ(page.mKept, 2U);
    EXPECT_EQ(page.mTotal, 5U);
    EXPECT_EQ(page.mCounts.mOpen, 3U);
    EXPECT_EQ(page.mCounts.mQueued, 2U);

    const QORMonitorRow& running = page.mRows[0];
    EXPECT_EQ(running.mpIdentity->mUser, "anna");
    EXPECT_EQ(running.mpIdentity->mLogin, "login");
    EXPECT_EQ(running.mpIdentity->mProject, "Project");
    EXPECT_EQ(running.mpIdentity->mDescription, "Sales by <region>");
    EXPECT_EQ(running.mpIdentity->mType, RequestDocument);
    EXPECT_EQ(running.mpIdentity->mParentId, -1);
    EXPECT_EQ(running.mState, EnumHostState::Running);
    EXPECT_EQ(running.mStatus, JobExecuting);
    EXPECT_EQ(running.mUnit, cWork);
    EXPECT_EQ(running.mStep, cSecond);
    EXPECT_EQ(running.mProgress, 40);
    EXPECT_EQ(running.mPriority, 9);
    EXPECT_EQ(running.mEnded, 0);
    for (const QORMonitorTime time : {running.mpIdentity->mCreated, running.mSince})
    {
        EXPECT_GE(time, before - 1'000);
        EXPECT_LE(time, QORMonitor::Now());
    }

    const QORMonitorRow& failed = page.mRows[1];
    EXPECT_EQ(failed.mState, EnumHostState::Ended);
    EXPECT_EQ(failed.mStatus, JobStoppedWithError);
    EXPECT_EQ(failed.mErrorCode, static_cast<HRESULT>(0x80043095));
    EXPECT_EQ(failed.mReason, "no luck");
    EXPECT_GE(failed.mEnded, before);

    ASSERT_EQ(page.mUnits.size(), 2U);
    EXPECT_EQ(page.mUnits[0].mName, "loading");
    EXPECT_EQ(page.mUnits[0].mThreads, 2U);
    EXPECT_EQ(page.mUnits[0].mBusy, 0U);
    EXPECT_EQ(page.mUnits[0].mOldest, -1);
    EXPECT_EQ(page.mUnits[1].mBusy, 1U);
    EXPECT_EQ(page.mUnits[1].mQueued, 2U);
    EXPECT_EQ(page.mUnits[1].mOldest, 5);
    EXPECT_EQ(page.mUnits[1].mOldestSince, page.mRows[3].mSince);
}

TEST_F(Monitored, FindsSortsAndPagesWhatIsAskedFor)
{
    SubmitFive();
    struct Row
    {
        QORMonitorQuery mQuery;
        std::vector<int> mIds;
        std::size_t mTotal;
    };
    using enum EnumMonitorSort;
    const std::vector<Row> rows = {
        {{.mUser = "bela"}, {5, 2}, 2},
        {{.mStatus = JobStoppedWithError}, {3}, 1},
        {{.mUnit = cWork}, {7, 6, 5}, 3},
        {{.mType = RequestElement}, {6, 5}, 2},
        {{.mState = static_cast<int>(EnumHostState::Queued)}, {6, 5}, 2},
        {{.mOlder = 1h}, {}, 0},
        {{.mOlder = std::chrono::milliseconds::max()}, {}, 0},
        {{.mOlder = 0ms}, {7, 3, 6, 5, 2}, 5},
        {{.mSearch = "ANNA"}, {7, 6}, 2},
        {{.mSearch = "<REGION"}, {7, 3, 6, 5, 2}, 5},
        {{.mSearch = "luck"}, {3}, 1},
        {{.mSearch = "PROJECT"}, {7, 3, 6, 5, 2}, 5},
        {{.mSearch = "7"}, {7}, 1},
        {{.mbOpen = false}, {3, 2}, 2},
        {{.mbEnded = false}, {7, 6, 5}, 3},
        {{.mSort = Id}, {2, 3, 5, 6, 7}, 5},
        {{.mSort = Id, .mbDescending = true}, {7, 6, 5, 3, 2}, 5},
        {{.mSort = User}, {6, 7, 5, 2, 3}, 5},
        {{.mSort = Created}, {3, 2, 7, 5, 6}, 5},
        {{.mSort = Priority}, {6, 5, 2, 3, 7}, 5},
        {{.mSort = Unit}, {2, 3, 6, 5, 7}, 5},
        {{.mSearch = "sales by xx"}, {}, 0},
        {{.mSort = Id, .mOffset = 1, .mLimit = 2}, {3, 5}, 5},
        {{.mSort = Id, .mOffset = 4, .mLimit = 2}, {7}, 5},
        {{.mSort = Id, .mOffset = 5, .mLimit = 2}, {}, 5},
        {{.mLimit = 0}, {}, 5},
    };
    for (std::size_t i = 0; i < rows.size(); ++i)
    {
        SCOPED_TRACE(i);
        EXPECT_EQ(List(rows[i].mQuery), rows[i].mIds);
        EXPECT_EQ(mMonitor->List(rows[i].mQuery).mTotal, rows[i].mTotal);
    }
}

TEST_F(Monitored, TellsAllOfOneJob)
{
    SubmitFive();
    const auto running = mMonitor->Find(7);
    ASSERT_TRUE(running);
    ASSERT_EQ(running->mFinished.size(), 1U);
    EXPECT_EQ(running->mFinished[0].mId, cFirst);
    EXPECT_EQ(running->mFinished[0].mUnit, cLoad);
    EXPECT_NE(running->mFinished[0].mThread, 0U);
    EXPECT_GE(running->mFinished[0].mFinish, running->mFinished[0].mStart);
    ASSERT_EQ(running->mTodo.size(), 2U);
    EXPECT_EQ(running->mTodo[0].mId, cSecond);
    EXPECT_NE(running->mTodo[0].mStart, 0);
    EXPECT_EQ(running->mTodo[0].mFinish, 0);
    EXPECT_EQ(running->mTodo[1].mId, StepCloseJob);
    ASSERT_EQ(running->mVisits.size(), 2U);
    EXPECT_EQ(running->mVisits[0].mUnit, cLoad);
    EXPECT_EQ(running->mVisits[1].mUnit, cWork);
    EXPECT_GE(running->mVisits[1].mEnter, running->mVisits[0].mExit);
    EXPECT_NE(running->mDump.find("JobId: 7\n"), std::string::npos);
    EXPECT_TRUE(running->mErrors.empty());

    const auto failed = mMonitor->Find(3);
    ASSERT_TRUE(failed);
    EXPECT_EQ(failed->mErrors.at(0x0409), "work of job 3 failed: no luck");
    EXPECT_EQ(failed->mErrors.at(0x0407).find("work of job"), std::string::npos) << failed->mErrors.at(0x0407);
    EXPECT_NE(failed->mErrors.at(0x0407).find("no luck"), std::string::npos);
    EXPECT_NE(failed->mDump.find("JobId: 3\n"), std::string::npos);
    EXPECT_FALSE(mMonitor->Find(99));
    EXPECT_EQ(mMonitor->GetUnitName(cWork), "work");
    EXPECT_EQ(mMonitor->GetUnitName(9), "unit 9");
    EXPECT_EQ(mMonitor->GetStepName(cFirst), "begin");

    const auto idsIn = [&](QORMonitorTime iFrom, QORMonitorTime iTo, std::size_t iMost = 10) {
        std::vector<int> ids;
        for (const QORMonitorDetail& job : mMonitor->FindWindow(iFrom, iTo, iMost))
            ids.push_back(job.mRow.mpIdentity->mId);
        return ids;
    };
    const QORMonitorTime now = QORMonitor::Now();
    EXPECT_EQ(idsIn(1, now), (std::vector<int>{3, 2, 7, 5, 6}));
    EXPECT_EQ(idsIn(1, now, 2), (std::vector<int>{2, 7})) << "what runs, and what ended last";
    EXPECT_EQ(idsIn(now, now), (std::vector<int>{7, 5, 6})) << "the open ones";
    EXPECT_EQ(idsIn(1, 2), (std::vector<int>{}));
    EXPECT_EQ(idsIn(1, running->mRow.mpIdentity->mCreated).back(), 7) << "both ends belong to it";
    EXPECT_EQ(idsIn(failed->mRow.mEnded, failed->mRow.mpIdentity->mCreated), (std::vector<int>{3}));
}

TEST_F(Monitored, GivesTheHandlesOfOpenJobsOnly)
{
    SubmitFive();
    QORHostJob handle = mMonitor->FindHandle(7);
    ASSERT_TRUE(handle);
    EXPECT_EQ(handle, mRunning);
    EXPECT_FALSE(mMonitor->FindHandle(3));
    EXPECT_FALSE(mMonitor->FindHandle(99));
    ASSERT_EQ(handle.Cancel("nobody wants it"), EnumHostAnswer::Done);
    mGate.Open();
    ASSERT_TRUE(handle.WaitFor(cLong));
    EXPECT_FALSE(mMonitor->FindHandle(7));
    const auto ended = mMonitor->Find(7);
    ASSERT_TRUE(ended);
    EXPECT_EQ(ended->mRow.mStatus, JobCancelled);
    EXPECT_EQ(ended->mRow.mReason, "nobody wants it");
    EXPECT_NE(ended->mErrors.at(0x0409), "");
}

TEST_F(Monitored, CountsWhatHasEnded)
{
    SubmitFive();
    mGate.Open();
    for (const QORHostJob& job : {mRunning, mFirst, mLast})
        ASSERT_TRUE(job.WaitFor(cLong));
    const QORMonitorFigures figures = mMonitor->GetFigures();
    using Counts = std::map<std::pair<int, int>, std::uint64_t>;
    EXPECT_EQ(figures.mEnded, (Counts{{{RequestReport, JobStoppedWithError}, 1},
                                      {{RequestDocument, JobCompleted}, 1},
                                      {{RequestElement, JobCompleted}, 2},
                                      {{RequestSQL, JobCompleted}, 1}}));
    EXPECT_TRUE(figures.mOpen.empty());
    EXPECT_TRUE(figures.mGivenUp.empty());
    EXPECT_EQ(figures.mKept, 5U);
    const auto sum = [](const QORMonitorHistogram& iHistogram) {
        return std::accumulate(iHistogram.mCounts.begin(), iHistogram.mCounts.end(), std::uint64_t{0});
    };
    EXPECT_EQ(sum(figures.mStepSeconds.at({cWork, cSecond})), 3U);
    EXPECT_EQ(sum(figures.mStepSeconds.at({cLoad, cFirst})), 2U);
    EXPECT_EQ(sum(figures.mWaitSeconds.at({cWork, cSecond})), 3U);
    EXPECT_GT(figures.mWaitSeconds.at({cWork, cSecond}).mSum, 0);
}

TEST(MonitorHistogram, PutsAValueBelowTheFirstBoundThatHoldsIt)
{
    QORMonitorHistogram histogram;
    for (const double value : {0.0, 0.0005, 0.00051, 1.0, 60.0, 61.0})
        histogram.Add(value);
    EXPECT_EQ(histogram.mCounts, (std::array<std::uint64_t, 15>{2, 1, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 1, 1}));
    EXPECT_DOUBLE_EQ(histogram.mSum, 122.00101);
}

TEST_F(Monitored, KeepsNoMoreOfTheEndedThanItMay)
{
    const auto runAll = [&] {
        for (int id = 1; id <= 8; ++id)
            ASSERT_TRUE(Submit(id % 6 + 1, QORJOB_W("anna"), {cFirst, StepCloseJob}).WaitFor(cLong));
    };
    Watch({.mMostKept = 3});
    runAll(); // 2 to 6, 1, and 2 and 3 once more
    EXPECT_EQ(List({.mSort = EnumMonitorSort::Created, .mbDescending = true}), (std::vector<int>{3, 2, 1}));
    EXPECT_TRUE(mMonitor->Find(2));
    EXPECT_FALSE(mMonitor->Find(5));
    EXPECT_EQ(mMonitor->GetFigures().mEnded.begin()->second, 8U);

    Watch({.mMostKeptBytes = 12'000});
    runAll();
    const QORMonitorFigures figures = mMonitor->GetFigures();
    EXPECT_GE(figures.mKept, 2U);
    EXPECT_LT(figures.mKept, 8U);
    EXPECT_LE(figures.mKeptBytes, 12'000U);
    EXPECT_GT(figures.mKeptBytes, figures.mKept * 1'000) << "each has its dump";
}

TEST_F(Monitored, ForgetsAHostThatGoes)
{
    SubmitFive();
    mMonitor->Forget();
    EXPECT_EQ(List({}), (std::vector<int>{3, 2}));
    EXPECT_FALSE(mMonitor->FindHandle(7));
    mGate.Open();
    mHost.reset();
    EXPECT_EQ(mMonitor->List({}).mKept, 5U);
}

TEST(Monitor, ShowsTheJobsOfAProgramWithoutAHost)
{
    const QBase::PtrI<QORJob> first = MakeJob(1, {cFirst, StepCloseJob});
    const QBase::PtrI<QORJob> second = MakeJob(2, {StepCloseJob});
    first->SetDescription(QBase::wstring(5'000, QORJOB_W('x')));
    for (const int id : {2, 3})
        EXPECT_EQ(first->SetJobData(new QORBinaryData(id, QBase::HeapAllocate(8), 5 + id)), S_OK);
    second->SetParentId(1);
    second->SetPUEnter(4, QORJOB_W(""), 0);
    second->SetPUExit(4, QORJOB_W(""));
    QORMonitor monitor;
    monitor.Watch({.mList =
                       [&] {
                           return std::vector<QORMonitorOpenJob>{{first, EnumHostState::Running},
                                                                 {second, EnumHostState::Queued}};
                       },
                   .mUnits = {{.mId = 4, .mName = "four"}}});
    const QORMonitorPage page = monitor.List({});
    EXPECT_EQ(IdsOf(page.mRows), (std::vector<int>{1, 2}));
    EXPECT_EQ(page.mRows[0].mpIdentity->mDescription.size(), 4'001u)
        << "more than is shown, so that it is seen to be cut";
    EXPECT_EQ(page.mRows[0].mStep, cFirst);
    EXPECT_EQ(page.mRows[1].mUnit, 4);
    ASSERT_EQ(page.mUnits.size(), 1U);
    EXPECT_EQ(page.mUnits[0].mQueued, 1U);
    EXPECT_EQ(page.mUnits[0].mOldest, 2);
    EXPECT_EQ(IdsOf(monitor.FindChildren(1)), (std::vector<int>{2}));
    EXPECT_TRUE(monitor.FindChildren(1, 0).empty());
    std::vector<unsigned> items;
    const QORMonitorDetail detail = monitor.Find(1).value();
    for (const QORMonitorItem& item : detail.mItems)
        items.insert(items.end(), {static_cast<unsigned>(item.mSlot), static_cast<unsigned>(item.mType), item.mSize});
    EXPECT_EQ(items, (std::vector<unsigned>{2, 2, 7, 3, 3, 8}));
    ASSERT_TRUE(monitor.Find(2));
    EXPECT_EQ(monitor.Find(2)->mVisits.size(), 1U);
    EXPECT_NE(monitor.Find(2)->mVisits[0].mExit, 0);
    monitor.AddEnded(*second.Get());
    monitor.Forget();
    EXPECT_EQ(IdsOf(monitor.List({}).mRows), (std::vector<int>{2}));
}

TEST(Monitor, KeepsWhereAJobEndedThatItGetsWithoutAHost)
{
    QORMonitor monitor;
    {
        QORHost host({.mUnits = {{.mId = 3}, {.mId = 4}},
                      .mSteps = {{.mStepId = cFirst, .mUnit = 3, .mRun = [](QORHostRun&) {}},
                                 {.mStepId = StepCloseJob, .mUnit = 4, .mRun = [](QORHostRun&) {}}},
                      .mOnEnd = [&](const QORHostJob&, QORJob& ioJob) { monitor.AddEnded(ioJob); }});
        ASSERT_TRUE(host.Submit(MakeJob(1, {cFirst, StepCloseJob}, RequestReport, 7)).mJob.WaitFor(cLong));
    }
    const QORMonitorRow row = monitor.List({}).mRows.at(0);
    EXPECT_EQ((std::array{row.mUnit, row.mStep, row.mStatus, row.mPriority}),
              (std::array<int, 4>{4, StepCloseJob, JobCompleted, 7}));
}

/// Each job is open or has ended, and never both.
TEST_F(Monitored, ShowsEachJobOnceWhileJobsComeAndGo)
{
    mGate.Open();
    std::atomic<bool> bStop = false;
    std::vector<std::thread> lookers;
    lookers.emplace_back([&] {
        while (!bStop)
        {
            std::set<int> seen;
            for (const int id : IdsOf(mMonitor->List({.mLimit = 10'000}).mRows))
                EXPECT_TRUE(seen.insert(id).second) << id;
        }
    });
    lookers.emplace_back([&] {
        while (!bStop)
            for (const QORMonitorDetail& job : mMonitor->FindWindow(1, QORMonitor::Now(), 20))
                EXPECT_TRUE(mMonitor->Find(job.mRow.mpIdentity->mId)) << job.mRow.mpIdentity->mId;
    });
    QORHostJob last;
    for (int id = 1; id <= 500; ++id)
        last = Submit(id, QORJOB_W("anna"), {cFirst, cSecond, StepCloseJob});
    EXPECT_TRUE(mHost->Drain(cLong));
    bStop = true;
    for (std::thread& looker : lookers)
        looker.join();
    EXPECT_EQ(mMonitor->List({}).mTotal, 500U);
    EXPECT_EQ(mMonitor->List({}).mOpen, 0U);
}
