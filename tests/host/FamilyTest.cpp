#include "tests/host/HostTest.h"

using namespace HostTest;

namespace
{

/// A document whose first step makes children, each of which fails, completes or waits for its cancellation.
class Family
{
public:
    explicit Family(std::vector<std::string> iChildren) : mKinds(std::move(iChildren))
    {
        const auto make = [this](QORHostRun& ioRun) {
            for (std::size_t i = 0; i < mKinds.size(); ++i)
            {
                const auto job = MakeJob(100 + static_cast<int>(i), {StepElementBrowsing, StepCloseJob}, RequestReport);
                const auto [result, child] = ioRun.SubmitChild(
                    job, {.mOnEnd = [this](const QORHostJob& iJob, QORJob&) {
                        EXPECT_FALSE(mbDocumentEnded) << "a document ends after its children";
                        mEvents.Add("child " + std::to_string(iJob.GetId()) + " " + std::to_string(iJob.GetStatus()));
                    }});
                EXPECT_EQ(result, EnumHostSubmit::Accepted);
                mChildren.push_back(child);
            }
            mMade.Open();
        };
        const auto child = [this](QORHostRun& ioRun) {
            const std::string kind = mKinds.at(static_cast<std::size_t>(ioRun.GetJob().GetId().Get()) - 100);
            EXPECT_EQ(ioRun.GetJob().GetParentId(), 7);
            EXPECT_TRUE(mMade.Wait());
            if (kind == "fails")
                throw std::runtime_error("no such table");
            WaitWhile([&] { return kind == "waits" && !ioRun.IsToldToStop(); });
            WaitWhile([&] { return kind == "holds" && !mMayEnd.IsOpen(); });
            WaitWhile([&] { return kind == "rests first" && !mRests.IsOpen(); });
            ioRun.CheckStop();
        };
        mpHost = std::make_unique<QORHost>(
            QORHostConfig{.mUnits = {{.mId = 1}, {.mId = 2, .mThreads = 2}},
                          .mSteps = {{.mStepId = cFirst, .mUnit = 1, .mRun = make},
                                     {.mStepId = cSecond, .mUnit = 1, .mRun = [](QORHostRun&) {}},
                                     {.mStepId = StepDocumentFormatting,
                                      .mUnit = 2,
                                      .mRun = [this](QORHostRun&) { mEvents.Add("formatted"); }},
                                     {.mStepId = StepElementBrowsing, .mUnit = 2, .mRun = child}},
                          .mMostJobs = 2});
    }
    ~Family()
    {
        mMayEnd.Open();
        mRests.Open();
    }

    QORHostJob Submit(EnumHostFamilyRule iRule)
    {
        mDocument = mpHost
                        ->Submit(MakeJob(7, {cFirst, StepDocumentFormatting, StepCloseJob}),
                                 {.mOnEnd = [this](const QORHostJob&, QORJob& ioJob) { ExpectNoChild(ioJob); },
                                  .mFamilyRule = iRule})
                        .mJob;
        return mDocument;
    }

    void ExpectNoChild(const QORJob& iDocument)
    {
        mbDocumentEnded = true;
        QBase::list<QSynch::AtomicLong> executing;
        QBase::list<QSynch::AtomicLong> finished;
        int running = -1;
        EXPECT_EQ(iDocument.GetExecutingChildrenList(executing), S_OK);
        EXPECT_EQ(iDocument.GetFinishedChildrenList(finished), S_OK);
        EXPECT_EQ(iDocument.GetRunningChildCount(&running), S_OK);
        EXPECT_EQ(executing.size(), 0U);
        EXPECT_EQ(finished.size(), mKinds.size());
        EXPECT_EQ(running, 0);
    }

    void WaitUntilItRests() const
    {
        WaitWhile([&] { return mDocument.GetState() != EnumHostState::WaitingForChildren; });
    }

    const std::vector<std::string> mKinds;
    Journal mEvents;
    Gate mMade, mMayEnd, mRests;
    std::vector<QORHostJob> mChildren;
    QORHostJob mDocument;
    std::atomic<bool> mbDocumentEnded{false};
    std::unique_ptr<QORHost> mpHost;
};

} // namespace

TEST(HostFamily, GoesOnWhenAllHaveEndedOrFailsWithTheFirst)
{
    struct Row
    {
        std::vector<std::string> mKinds;
        EnumHostFamilyRule mRule;
        int mStatus;
        std::vector<int> mChildren;
        std::string mReason;
    };
    const std::vector<Row> rows = {
        {{"completes", "completes"}, EnumHostFamilyRule::FailWithFirst, JobCompleted, {JobCompleted, JobCompleted}, ""},
        {{"fails", "waits", "waits"},
         EnumHostFamilyRule::FailWithFirst,
         JobStoppedWithError,
         {JobStoppedWithError, JobCancelled, JobCancelled},
         "its child 100 didn't complete: no such table"},
        {{"fails", "completes"}, EnumHostFamilyRule::WaitForAll, JobCompleted, {JobStoppedWithError, JobCompleted}, ""},
    };
    for (const Row& row : rows)
    {
        Family family(row.mKinds);
        const QORHostJob document = family.Submit(row.mRule);
        EXPECT_TRUE(document.WaitFor(cLong));
        EXPECT_TRUE(family.mpHost->Drain(cLong));
        EXPECT_EQ(document.GetStatus(), row.mStatus);
        EXPECT_EQ(document.GetReason(), row.mReason);
        QORJobInfo info;
        EXPECT_EQ(document.GetSnapshot(info), S_OK);
        EXPECT_TRUE(row.mStatus != JobCompleted || info.mPUCount == 2) << "before its children and after them";
        for (std::size_t i = 0; i < row.mChildren.size(); ++i)
        {
            EXPECT_EQ(family.mChildren.at(i).GetStatus(), row.mChildren[i]) << i;
            EXPECT_EQ(family.mChildren.at(i).GetSnapshot(info), S_OK);
        }
        const auto events = family.mEvents.Get();
        EXPECT_EQ(std::count(events.begin(), events.end(), "formatted"), row.mStatus == JobCompleted ? 1 : 0);
        EXPECT_EQ(events.size(), row.mKinds.size() + (row.mStatus == JobCompleted ? 1 : 0));
    }
}

TEST(HostFamily, RestsWithoutAThreadAndIsCancelledWithItsChildren)
{
    Family family({"waits", "waits", "waits"}); // the third one is queued
    QORHostJob document = family.Submit(EnumHostFamilyRule::WaitForAll);
    family.WaitUntilItRests();
    EXPECT_EQ(document.GetStatus(), JobHeld18);
    EXPECT_TRUE(family.mpHost->Submit(MakeJob(8, {cSecond, StepCloseJob})).mJob.WaitFor(cLong)) << "the unit is free";
    EXPECT_EQ(document.Cancel("closed"), EnumHostAnswer::Done);
    EXPECT_TRUE(document.WaitFor(cLong));
    EXPECT_EQ(document.GetStatus(), JobCancelled);
    for (const QORHostJob& child : family.mChildren)
    {
        EXPECT_EQ(child.GetStatus(), JobCancelled);
        EXPECT_EQ(child.GetReason(), "its document was cancelled or has failed");
    }
}

TEST(HostFamily, TellsOfTheEndThoughOnlyTheClosingStepWasLeft)
{
    for (const std::string way : {"cancel", "life", "child"})
    {
        SCOPED_TRACE(way);
        Journal events;
        const auto make = [&](QORHostRun& ioRun) {
            ioRun.SubmitChild(MakeJob(2, {cSecond, StepCloseJob}, RequestReport));
        };
        const auto child = [&](QORHostRun& ioRun) {
            WaitWhile([&] { return way != "child" && !ioRun.IsToldToStop(); });
            throw std::runtime_error("it fails");
        };
        const auto note = [&](QORHostRun& ioRun) {
            if (ioRun.GetJob().GetId().Get() == 1)
                events.Add(std::to_string(ioRun.GetStepId()));
        };
        QORHost host({.mUnits = {{.mThreads = 2}},
                      .mSteps = {{.mStepId = cFirst, .mRun = make},
                                 {.mStepId = cSecond, .mRun = child},
                                 {.mStepId = StepSendingErrorMessage, .mRun = note},
                                 {.mStepId = StepCloseJob, .mRun = note}}});
        QORHostJob document = host.Submit(MakeJob(1, {cFirst, StepCloseJob}),
                                          {.mLongestLife = std::chrono::milliseconds(way == "life" ? 20 : 0)})
                                  .mJob;
        WaitWhile([&] { return way == "cancel" && document.GetState() != EnumHostState::WaitingForChildren; });
        if (way == "cancel")
        {
            EXPECT_EQ(document.Cancel("closed"), EnumHostAnswer::Done);
        }
        EXPECT_TRUE(document.WaitFor(cLong));
        EXPECT_EQ(document.GetStatus(), way == "cancel" ? JobCancelled : JobStoppedWithError);
        EXPECT_EQ(events.Get(), (std::vector<std::string>{"10", "2"}));
    }
}

TEST(HostFamily, PausesTheDocumentOnly)
{
    Family family({"holds", "rests first", "completes"});
    QORHostJob document = family.Submit(EnumHostFamilyRule::FailWithFirst);
    family.WaitUntilItRests();
    family.mRests.Open();
    EXPECT_TRUE(family.mChildren.at(2).WaitFor(cLong)); // on the same thread, after the one before has ended
    EXPECT_EQ(document.GetStatus(), JobHeld18);
    for (const bool bResumeBefore : {true, false})
    {
        EXPECT_EQ(document.Pause(), EnumHostAnswer::Done);
        EXPECT_EQ(document.GetStatus(), JobPausing);
        if (!bResumeBefore)
            break;
        EXPECT_EQ(document.Resume(), EnumHostAnswer::Done);
        EXPECT_EQ(document.GetStatus(), JobHeld18);
    }
    family.mMayEnd.Open();
    for (const QORHostJob& child : family.mChildren)
        EXPECT_TRUE(child.WaitFor(cLong));
    WaitWhile([&] { return document.GetState() != EnumHostState::Paused; });
    EXPECT_EQ(document.Resume(), EnumHostAnswer::Done);
    EXPECT_TRUE(document.WaitFor(cLong));
    EXPECT_EQ(document.GetStatus(), JobCompleted);
    QORJobInfo info;
    EXPECT_EQ(document.GetSnapshot(info), S_OK);
}

TEST(HostFamily, SharesTheGovernorAndItsLimits)
{
    std::vector<EnumHostSubmit> results;
    Gate submitted;
    QORHostJob document;
    QORHostConfig config{.mUnits = {{.mThreads = 2}}, .mMostChildren = 2};
    config.mSteps.push_back(
        {.mStepId = cFirst, .mRun = [&](QORHostRun& ioRun) {
             ioRun.GetJob().GetMemGovernor()->mLimitBytes = 1'000;
             ioRun.TakeMemory(600);
             for (int id = 100; id < 103; ++id)
                 results.push_back(ioRun.SubmitChild(MakeJob(id, {cSecond, StepCloseJob}, RequestReport)).mResult);
             submitted.Open();
             WaitWhile([&] { return !ioRun.IsToldToStop(); });
             EXPECT_EQ(ioRun.SubmitChild(MakeJob(104, {cSecond, StepCloseJob})).mResult, EnumHostSubmit::Closed)
                 << "it has failed with its child";
         }});
    config.mSteps.push_back({.mStepId = cSecond, .mRun = [&](QORHostRun& ioRun) {
                                 submitted.Wait();
                                 if (ioRun.GetJob().GetId().Get() == 100)
                                     ioRun.TakeMemory(401);
                             }});
    QORHost host(config);
    document = host.Submit(MakeJob(7, {cFirst, StepCloseJob})).mJob;
    EXPECT_TRUE(document.WaitFor(cLong));
    EXPECT_EQ(results, (std::vector{EnumHostSubmit::Accepted, EnumHostSubmit::Accepted, EnumHostSubmit::Full}));
    EXPECT_EQ(document.GetStatus(), JobStoppedWithError);
    EXPECT_EQ(host.GetCounts().mBytes, 0U);
}
