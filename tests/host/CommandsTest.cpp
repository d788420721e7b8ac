#include "tests/host/HostTest.h"
#include "tests/support/Fakes.h"

#include <functional>
#include <optional>

using namespace HostTest;

namespace
{

/// One worker, and a job that is brought to a moment of its life and held there. Its first step reports; its second one
/// commits.
class Stage
{
public:
    explicit Stage(int iRequestType = RequestDocument)
        : mHost({.mUnits = {{}},
                 .mSteps = {{.mStepId = StepElementBrowsing, .mRun = [this](QORHostRun&) { mBlocker.Wait(); }},
                            {.mStepId = cFirst, .mRun = [this](QORHostRun& ioRun) { RunFirst(ioRun); }},
                            {.mStepId = cSecond,
                             .mRun =
                                 [this](QORHostRun&) {
                                     mInSecond.Open();
                                     mSecondMayEnd.Wait();
                                 },
                             .mbCommits = true},
                            {.mStepId = StepSendingErrorMessage,
                             .mRun =
                                 [this](QORHostRun& ioRun) {
                                     EXPECT_FALSE(ioRun.IsToldToStop()) << "what tells of the end isn't told to stop";
                                     mEvents.Add("told");
                                 }}}}),
          mRequestType(iRequestType)
    {
    }

    ~Stage() { OpenAll(); }

    void OpenAll()
    {
        mBlocker.Open();
        mFirstMayEnd.Open();
        mSecondMayEnd.Open();
    }

    void Submit(const std::function<void(QORJob&)>& iPrepare = {})
    {
        const auto job = MakeJob(1, {cFirst, cSecond, StepCloseJob}, mRequestType);
        if (iPrepare)
            iPrepare(*job.Get());
        mJob = mHost
                   .Submit(job, {.mOnEnd =
                                     [this](const QORHostJob&, QORJob& ioJob) {
                                         mEvents.Add("end");
                                         ioJob.GetJobError(mError);
                                     }})
                   .mJob;
    }

    void BringTo(const std::string& iMoment)
    {
        if (iMoment == "queued")
        {
            EXPECT_TRUE(mHost.Submit(MakeJob(99, {StepElementBrowsing, StepCloseJob}, RequestReport, 100)));
            Submit();
            return;
        }
        Submit();
        EXPECT_TRUE(mInFirst.Wait());
        if (iMoment == "paused")
        {
            EXPECT_EQ(mJob.Pause(), EnumHostAnswer::Done);
            WaitWhile([&] { return mJob.GetState() != EnumHostState::Paused; });
        }
        if (iMoment == "committed" || iMoment == "ended")
        {
            mFirstMayEnd.Open();
            EXPECT_TRUE(mInSecond.Wait());
        }
        if (iMoment == "ended")
        {
            mSecondMayEnd.Open();
            EXPECT_TRUE(mJob.WaitFor(cLong));
        }
    }

    void RunFirst(QORHostRun& ioRun)
    {
        ++mRuns;
        mInFirst.Open();
        const std::stop_callback opener(ioRun.GetStopToken(), [this] { mStopped.Open(); });
        WaitWhile([&] { return ioRun.Report(10) && !mFirstMayEnd.IsOpen(); });
        if (mFirstMayEnd.IsOpen())
            return;
        EXPECT_TRUE(mStopped.Wait()) << "the token tells, too";
        ioRun.CheckStop();
    }

    QORHostJob mJob;
    Gate mBlocker, mInFirst, mFirstMayEnd, mInSecond, mSecondMayEnd, mStopped;
    std::atomic<int> mRuns{0};
    Journal mEvents;
    QBase::wstring mError;
    QORHost mHost;

private:
    const int mRequestType;
};

using Command = std::function<EnumHostAnswer(QORHostJob&)>;
const std::vector<std::pair<std::string, Command>> cCommands = {
    {"cancel", [](QORHostJob& ioJob) { return ioJob.Cancel("no longer wanted"); }},
    {"pause", [](QORHostJob& ioJob) { return ioJob.Pause(); }},
    {"resume", [](QORHostJob& ioJob) { return ioJob.Resume(); }},
    {"time", [](QORHostJob& ioJob) { return ioJob.SetTimeLeft(1h); }},
    {"priority", [](QORHostJob& ioJob) { return ioJob.SetPriority(7); }},
};

} // namespace

TEST(HostCommands, SayWhatTheyCameToAtEachMoment)
{
    constexpr auto cDone = EnumHostAnswer::Done;
    constexpr auto cLate = EnumHostAnswer::TooLate;
    constexpr auto cNot = EnumHostAnswer::NotPossible;
    struct Row
    {
        std::string mMoment;
        int mRequestType;
        std::vector<EnumHostAnswer> mAnswers; // of cCommands
    };
    const std::vector<Row> rows = {
        {"queued", RequestDocument, {cDone, cDone, cNot, cDone, cDone}},
        {"queued", RequestReport, {cDone, cNot, cNot, cDone, cDone}},
        {"running", RequestDocument, {cDone, cDone, cNot, cDone, cDone}},
        {"running", RequestReport, {cDone, cNot, cNot, cDone, cDone}},
        {"paused", RequestDocument, {cDone, cNot, cDone, cDone, cDone}},
        {"committed", RequestDocument, {cLate, cLate, cLate, cLate, cLate}},
        {"ended", RequestDocument, {cLate, cLate, cLate, cLate, cLate}},
    };
    for (const Row& row : rows)
    {
        for (std::size_t i = 0; i < cCommands.size(); ++i)
        {
            SCOPED_TRACE(row.mMoment + " " + std::to_string(row.mRequestType) + " " + cCommands[i].first);
            Stage stage(row.mRequestType);
            stage.BringTo(row.mMoment);
            EXPECT_EQ(cCommands[i].second(stage.mJob), row.mAnswers[i]);
            const bool bDone = row.mAnswers[i] == cDone;
            const int priority = cCommands[i].first == "priority" && bDone ? 7 : 5;
            EXPECT_EQ(stage.mJob.GetLook().mPriority, priority);
            const bool bCancelled = i == 0 && bDone;
            if (cCommands[i].first == "time" && bDone)
            {
                QDataType::DateTime end;
                EXPECT_EQ(stage.mJob.GetJob()->GetTimeOutTime(&end), S_OK);
                const auto left = (end - QDataType::DateTime::NowUTC()).GetTotalMilliseconds();
                EXPECT_TRUE(left > 3'500'000 && left <= 3'600'000) << left;
            }
            if (bCancelled)
            {
                EXPECT_EQ(stage.mJob.GetStatus(), JobCancelled) << "at once";
            }
            QORJobInfo info;
            if (row.mMoment == "queued" && i == 1 && bDone)
            {
                QDataType::DateTime exit;
                EXPECT_EQ(stage.mJob.GetSnapshot(info), S_OK);
                info.mPUInfos.at(0).GetExitTime(&exit);
                EXPECT_TRUE(exit != QDataType::DateTime()) << "who is paused has left its unit";
            }
            const bool bRests = stage.mJob.GetState() == EnumHostState::Paused || (i == 1 && bDone);
            stage.OpenAll();
            if (bRests)
            {
                EXPECT_FALSE(stage.mJob.HasEnded());
                EXPECT_EQ(stage.mJob.Resume(), cDone);
            }
            EXPECT_TRUE(stage.mJob.WaitFor(cLong));
            EXPECT_TRUE(stage.mHost.Drain(cLong));
            EXPECT_EQ(stage.mJob.GetStatus(), bCancelled ? JobCancelled : JobCompleted);
            EXPECT_EQ(stage.mEvents.Get(),
                      bCancelled ? std::vector<std::string>({"told", "end"}) : std::vector<std::string>{"end"});
            EXPECT_EQ(stage.mJob.GetReason(), bCancelled ? "no longer wanted" : "");
            EXPECT_EQ(stage.mJob.GetSnapshot(info), S_OK);
            EXPECT_EQ(info.mPUPriority, priority);
            EXPECT_TRUE(bRests || row.mMoment != "queued" || info.mPUCount == 1) << "it stays in its queue";
            EXPECT_EQ(stage.mError, bCancelled ? QORJOB_W("The job was cancelled.") : QORJOB_W(""));
        }
    }
}

TEST(HostCommands, RunAPausedStepAgainIfItStoppedAndNotIfItEnded)
{
    for (const bool bEnds : {false, true})
    {
        Stage stage;
        stage.BringTo("running");
        if (!bEnds)
        {
            EXPECT_EQ(stage.mJob.Pause(), EnumHostAnswer::Done);
            EXPECT_TRUE(stage.mStopped.Wait());
        }
        else
        {
            // The step has seen the gate open and returns, whatever the pause tells it.
            stage.mFirstMayEnd.Open();
            EXPECT_EQ(stage.mJob.Pause(), EnumHostAnswer::Done);
        }
        WaitWhile([&] { return stage.mJob.GetState() != EnumHostState::Paused && !stage.mJob.HasEnded(); });
        EXPECT_EQ(stage.mJob.GetStatus(), JobPausing);
        stage.OpenAll();
        EXPECT_EQ(stage.mJob.Resume(), EnumHostAnswer::Done);
        EXPECT_TRUE(stage.mJob.WaitFor(cLong));
        EXPECT_EQ(stage.mJob.GetStatus(), JobCompleted);
        EXPECT_EQ(stage.mRuns, bEnds ? 1 : 2);
        QORJobInfo info;
        ASSERT_EQ(stage.mJob.GetSnapshot(info), S_OK);
        EXPECT_EQ(info.mFinishedCount, 3);
    }
}

TEST(HostCommands, TellOneStepToStopAndNotTheNext)
{
    Gate inStep;
    Gate mayEnd;
    std::vector<bool> told;
    const auto run = [&](QORHostRun& ioRun) {
        inStep.Open();
        EXPECT_TRUE(mayEnd.Wait());
        told.push_back(ioRun.IsToldToStop());
        EXPECT_EQ(ioRun.GetStopToken().stop_requested(), told.back());
        bool bRunning = false;
        EXPECT_TRUE(ioRun.GetJob().IsRunning(&bRunning) == S_OK && bRunning) << "a report is due when it is cancelled";
    };
    QORHost host({.mUnits = {{}}, .mSteps = {{.mStepId = cFirst, .mRun = run}, {.mStepId = cSecond, .mRun = run}}});
    QORHostJob job = host.Submit(MakeJob(1, {cFirst, cSecond, StepCloseJob})).mJob;
    EXPECT_TRUE(inStep.Wait());
    EXPECT_EQ(job.Pause(), EnumHostAnswer::Done);
    EXPECT_EQ(job.Resume(), EnumHostAnswer::Done);
    mayEnd.Open();
    EXPECT_TRUE(job.WaitFor(cLong));
    EXPECT_EQ(told, (std::vector<bool>{true, false}));
    EXPECT_EQ(job.GetStatus(), JobCompleted);
}

TEST(HostCommands, RunAStepOnceThatSetsThePauseItself)
{
    int runs = 0;
    const auto pause = [&](QORHostRun& ioRun) {
        if (++runs < 3)
            ioRun.GetJob().PauseCurrentStep();
        EXPECT_TRUE(ioRun.IsToldToStop()) << "by the context";
    };
    int tries = 0;
    const auto again = [&](QORHostRun& ioRun) {
        if (++tries == 1)
            ioRun.GetJob().PauseCurrentStep();
        EXPECT_EQ(ioRun.IsToldToStop(), tries == 1);
        ioRun.CheckStop();
    };
    const auto requeue = [](QORHostRun& ioRun) { ioRun.GetJob().SetStatus(JobRequeued, nullptr); };
    const auto look = [](QORHostRun& ioRun) { EXPECT_EQ(ioRun.GetHandle().GetStatus(), JobReady) << "it began anew"; };
    QORHost host({.mUnits = {{}},
                  .mSteps = {{.mStepId = cFirst, .mRun = pause},
                             {.mStepId = cSecond, .mRun = again},
                             {.mStepId = StepElementBrowsing, .mRun = requeue},
                             {.mStepId = StepAnalyticalProcessing, .mRun = look}}});
    const QORHostJob job =
        host.Submit(
                MakeJob(1, {cFirst, cSecond, StepElementBrowsing, StepAnalyticalProcessing, StepCloseJob}),
                {.mOnEnd = [](const QORHostJob&, QORJob& ioJob) { EXPECT_FALSE(ioJob.IsQueryEngineServerAborted()); }})
            .mJob;
    EXPECT_TRUE(job.WaitFor(cLong));
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(tries, 2) << "it stopped";
}

TEST(HostCommands, CancelAJobThatBeginsAnew)
{
    QORHost host({.mUnits = {{.mId = 1, .mThreads = 0}, {.mId = 2, .mThreads = 0}},
                  .mSteps = {{.mStepId = cFirst,
                              .mUnit = 1,
                              .mRun = [](QORHostRun& ioRun) { ioRun.GetJob().SetStatus(JobRequeued, nullptr); }},
                             {.mStepId = StepSearchingCache, .mUnit = 2, .mRun = [](QORHostRun&) {
                                  ADD_FAILURE() << "it is cancelled";
                              }}}});
    QORHostJob job = host.Submit(MakeJob(1, {cFirst})).mJob;
    EXPECT_TRUE(host.RunOne(1));
    EXPECT_EQ(job.GetLook().mStepId, StepSearchingCache);
    EXPECT_EQ(job.Cancel("no longer wanted"), EnumHostAnswer::Done);
    EXPECT_TRUE(host.RunUntil(2, job));
    EXPECT_EQ(job.GetStatus(), JobCancelled);
}

TEST(HostCommands, LeaveACancelledJobCancelledWhateverItsStepThrows)
{
    Gate inStep;
    Gate mayThrow;
    QBase::wstring text;
    const auto onEnd = [&](const QORHostJob&, QORJob& ioJob) { ioJob.GetJobError(text); };
    const auto run = [&](QORHostRun& ioRun) {
        ioRun.GetJob().UpdateJobError(QORJOB_W("Kernel"), 0x80043095, 1);
        inStep.Open();
        mayThrow.Wait();
        throw std::runtime_error("the connection was closed");
    };
    QORHost host({.mUnits = {{}}, .mSteps = {{.mStepId = cFirst, .mRun = run}}});
    QORHostJob job = host.Submit(MakeJob(1, {cFirst, StepCloseJob}), {.mOnEnd = onEnd}).mJob;
    EXPECT_TRUE(inStep.Wait());
    EXPECT_EQ(job.Cancel("enough"), EnumHostAnswer::Done);
    EXPECT_EQ(job.Cancel("again"), EnumHostAnswer::TooLate);
    mayThrow.Open();
    EXPECT_TRUE(job.WaitFor(cLong));
    EXPECT_EQ(job.GetStatus(), JobCancelled);
    EXPECT_EQ(job.GetReason(), "enough");
    EXPECT_EQ(text, QORJOB_W("The job was cancelled.")) << "that is the answer, and nothing else";
    EXPECT_EQ(job.GetErrorCode(), static_cast<HRESULT>(0x80043014));
}

TEST(HostCommands, LeaveAJobAsItWasWhoseInstanceRefusesToBeCancelled)
{
    std::vector<std::string> calls;
    FakeReportInstance instance(calls);
    instance.mStatusCode = E_FAIL;
    QORHost host({.mUnits = {{.mThreads = 0}}, .mSteps = {{.mStepId = cFirst, .mRun = [](QORHostRun&) {}}}});
    for (const auto step : {StepCloseJob, cFirst})
    {
        QORHostJob job;
        {
            const auto submitted = MakeJob(1, {step}, RequestReport);
            QBase::PtrI<ICKDXProcessContext> context;
            ASSERT_EQ(submitted->GetProcessContext(context.Receive()), S_OK);
            context->put_ContextObjectB(&instance);
            job = host.Submit(submitted).mJob;
        }
        EXPECT_EQ(job.Cancel("no longer wanted"), EnumHostAnswer::NotPossible);
        EXPECT_TRUE(host.RunUntil(1, job));
        EXPECT_EQ(instance.mReferences, 0U) << "the handle keeps neither job nor context";
        EXPECT_EQ(job.GetStatus(), JobCompleted);
        EXPECT_EQ(job.GetReason(), "");
        QORJobInfo info;
        EXPECT_EQ(job.GetSnapshot(info), S_OK);
        EXPECT_EQ(info.mFinishedCount, 1) << "neither lost nor added";
    }
}

TEST(HostCommands, ComeInFrontWhenTheyCancelAndInTheirPlaceOtherwise)
{
    Stage stage;
    EXPECT_TRUE(stage.mHost.Submit(MakeJob(99, {StepElementBrowsing, StepCloseJob}, RequestReport, 100)));
    WaitWhile([&] { return stage.mHost.GetCounts().mQueued > 0; });
    Journal order;
    std::vector<QORHostJob> jobs;
    for (int id = 1; id <= 4; ++id)
        jobs.push_back(
            stage.mHost
                .Submit(MakeJob(id, {StepElementBrowsing, StepCloseJob}),
                        {.mOnEnd = [&](const QORHostJob& iJob, QORJob&) { order.Add(std::to_string(iJob.GetId())); }})
                .mJob);
    EXPECT_EQ(jobs[2].SetPriority(9), EnumHostAnswer::Done);
    EXPECT_EQ(jobs[3].Cancel("not needed"), EnumHostAnswer::Done);
    stage.OpenAll();
    EXPECT_TRUE(stage.mHost.Drain(cLong));
    EXPECT_EQ(order.Get(), (std::vector<std::string>{"4", "3", "1", "2"}));
}

TEST(HostCommands, ReachNothingThroughAHandleThatOutlivesItsHost)
{
    QORHostJob job;
    {
        QORHost host({.mUnits = {{}}, .mSteps = {{.mStepId = cFirst, .mRun = [](QORHostRun&) {}}}});
        job = host.Submit(MakeJob(5, {cFirst, StepCloseJob})).mJob;
    }
    EXPECT_TRUE(job.Wait());
    EXPECT_EQ(job.GetId(), 5);
    EXPECT_EQ(job.Cancel(""), EnumHostAnswer::TooLate);
    QORJobInfo info;
    EXPECT_EQ(job.GetSnapshot(info), S_OK);
    EXPECT_EQ(info.mJobId.Get(), 5);
}
