#include "tests/host/HostTest.h"

#include <optional>

using namespace HostTest;

namespace
{

/// A host of one worker, whose first step waits until it is told to stop, or for the gate if it is deaf. Its times may
/// be the only step's of the configuration.
struct Hanging
{
    explicit Hanging(QORHostConfig iConfig, bool ibDeaf)
    {
        iConfig.mUnits = {{}};
        iConfig.mGrace = ibDeaf ? 1ms : 30'000ms;
        const auto report = [this, ibDeaf](QORHostRun& ioRun) {
            mEvents.Add("told");
            WaitWhile([&] { return !ibDeaf && !ioRun.IsToldToStop(); });
        };
        iConfig.mSteps.resize(1);
        iConfig.mSteps[0].mStepId = cFirst;
        iConfig.mSteps[0].mRun = [this, ibDeaf](QORHostRun& ioRun) {
            ioRun.TakeMemory(1);
            mInStep.Open();
            WaitWhile([&] { return ibDeaf ? !mMayReturn.IsOpen() : !ioRun.IsToldToStop(); });
            mEvents.Add("returned");
            EXPECT_TRUE(ibDeaf || ioRun.GetHandle().SetTimeLeft(1h) == EnumHostAnswer::TooLate);
            QBase::PtrI<ICKDXProcessContext> context;
            LONG told = 0;
            EXPECT_EQ(ioRun.GetJob().GetProcessContext(context.Receive()), S_OK);
            EXPECT_TRUE(ibDeaf || (context->get_LongB(&told) == S_OK && told == ICKDXProcessContext::cStop));
            ioRun.CheckStop();
        };
        for (const QORJobProcessingStep step : {StepSendingErrorMessage, StepDelivery})
            iConfig.mSteps.push_back(
                {.mStepId = step, .mRun = report, .mLongestRun = ibDeaf ? 1h : 1ms, .mLongestSilence = 1h});
        const auto giveTime = [](QORHostRun& ioRun) { ioRun.GetHandle().SetTimeLeft(1h); }; // to this step
        iConfig.mSteps.push_back({.mStepId = cSecond, .mRun = giveTime, .mLongestRun = 1h, .mLongestSilence = 1h});
        mpHost.emplace(std::move(iConfig));
    }
    ~Hanging()
    {
        mMayReturn.Open();
        WaitWhile([&] { return mpHost->GetCounts().mLateThreads > 0; }); // they use this
    }

    QORHostJob Submit(const QBase::PtrI<QORJob>& iJob, QORHostSubmit iOptions = {})
    {
        iOptions.mOnEnd = [this](const QORHostJob&, QORJob& ioJob) {
            mEvents.Add("end");
            ioJob.GetJobError(mError);
        };
        return mpHost->Submit(iJob, std::move(iOptions)).mJob;
    }

    Gate mInStep, mMayReturn;
    Journal mEvents;
    QBase::wstring mError;
    std::optional<QORHost> mpHost;
};

} // namespace

TEST(HostTimes, EndAStepThatListensAndGiveUpOneThatDoesnt)
{
    struct Row
    {
        std::string mName;
        QORHostConfig mConfig;
        QORHostSubmit mOptions;
        std::chrono::milliseconds mLeft;
        std::string mReason;
    };
    const std::vector<Row> rows = {
        {"run", {.mLongestRun = 1ms}, {}, 0ms, "it took longer than a step may take"},
        {"silence",
         {.mLongestRun = 1h, .mLongestSilence = 1ms},
         {},
         0ms,
         "it reported no progress for longer than it may"},
        {"the step's run",
         {.mSteps = {{.mLongestRun = 1ms}}, .mLongestRun = 1h},
         {},
         0ms,
         "it took longer than a step may take"},
        {"the step's silence",
         {.mSteps = {{.mLongestSilence = 1ms}}, .mLongestSilence = 1h},
         {},
         0ms,
         "it reported no progress for longer than it may"},
        {"life", {.mLongestLife = 1h}, {.mLongestLife = 500ms}, 0ms, "it took longer than the job's time allows"},
        {"default life", {.mLongestLife = 500ms}, {}, 0ms, "it took longer than the job's time allows"},
        {"command", {.mLongestRun = 1h}, {}, 1ms, "it took longer than the job's time allows"},
    };
    Builtin::LogSinks::Enable("Kernel", "Error", true); // and the library has none
    for (const Row& row : rows)
    {
        for (const bool bDeaf : {false, true})
        {
            SCOPED_TRACE(row.mName + (bDeaf ? ", deaf" : ""));
            const Logged logged;
            Hanging hanging(row.mConfig, bDeaf);
            QORHostJob job = hanging.Submit(MakeJob(3, {cFirst, cSecond, StepCloseJob}), row.mOptions);
            EXPECT_TRUE(hanging.mInStep.Wait());
            if (row.mLeft > 0ms)
            {
                EXPECT_EQ(job.SetTimeLeft(row.mLeft), EnumHostAnswer::Done);
            }
            EXPECT_TRUE(job.WaitFor(cLong));
            EXPECT_EQ(hanging.mpHost->GetCounts().mLateThreads, bDeaf ? 1U : 0U);
            // The unit has its strength back: another job is run while the thread is away.
            EXPECT_TRUE(hanging.Submit(MakeJob(4, {cSecond, StepCloseJob}), {.mLongestLife = 1h}).WaitFor(cLong));
            hanging.mMayReturn.Open();
            WaitWhile([&] { return hanging.mpHost->GetCounts().mLateThreads > 0; });
            EXPECT_TRUE(hanging.mpHost->Drain(cLong));
            EXPECT_EQ(hanging.mpHost->GetCounts().mBytes, 0U);
            EXPECT_EQ(job.GetStatus(), JobStoppedWithError);
            EXPECT_EQ(job.GetReason(), row.mReason);
            const std::string step = "SQL Generation of job 3 is ";
            std::vector<std::string> lines = {step + "told to stop: " + row.mReason, "Job 3 failed: " + row.mReason};
            if (!bDeaf)
                lines.emplace_back(
                    "Sending Error Message of job 3 is told to stop: it took longer than a step may take");
            else
            {
                lines.insert(lines.begin() + 1, step + "given up: " + row.mReason);
                lines.emplace_back("The thread that was left in SQL Generation of job 3 has come back");
            }
            EXPECT_EQ(logged.Get(), lines);
            const auto events = hanging.mEvents.Get();
            EXPECT_EQ(std::count(events.begin(), events.end(), "told"), 1);
            EXPECT_EQ(std::count(events.begin(), events.end(), "returned"), 1);
            EXPECT_EQ(std::count(events.begin(), events.end(), "end"), 2);
        }
    }
    Builtin::LogSinks::Enable("Kernel", "Error", false);
}

TEST(HostTimes, DontEndAStepThatReports)
{
    QORHost host({.mUnits = {{}},
                  .mSteps = {{.mStepId = cFirst,
                              .mRun =
                                  [](QORHostRun& ioRun) {
                                      const auto end = std::chrono::steady_clock::now() + 700ms;
                                      while (std::chrono::steady_clock::now() < end)
                                          if (!ioRun.Report(50))
                                              throw std::runtime_error("it was told to stop");
                                  }}},
                  .mLongestSilence = 500ms});
    const QORHostJob job = host.Submit(MakeJob(1, {cFirst, StepCloseJob})).mJob;
    EXPECT_TRUE(job.WaitFor(cLong));
    EXPECT_EQ(job.GetReason(), "");
}

TEST(HostTimes, EndWhatWaitsTooLong)
{
    for (const std::string way : {"wait", "default wait", "life"})
    {
        SCOPED_TRACE(way);
        Journal events;
        const auto run = [&](QORHostRun& ioRun) { events.Add(std::to_string(ioRun.GetStepId())); };
        QORHost host({.mUnits = {{.mId = 1, .mThreads = 0}, {.mId = 2, .mThreads = 0}},
                      .mSteps = {{.mStepId = cFirst, .mUnit = 1, .mRun = run},
                                 {.mStepId = StepSendingErrorMessage, .mUnit = 2, .mRun = run}},
                      .mLongestWait = way == "default wait" ? 1ms : 0ms});
        const QORHostJob job =
            host.Submit(MakeJob(2, {cFirst, StepCloseJob}),
                        {.mLongestWait = way == "wait" ? 1ms : 0ms, .mLongestLife = way == "life" ? 1ms : 0ms})
                .mJob;
        WaitWhile([&] { return job.GetStatus() != JobStoppedWithError; }); // at once; it ends when a thread is free
        EXPECT_EQ(job.GetReason(), way != "life" ? "it waited in the queue for longer than it may"
                                                 : "it took longer than the job's time allows");
        EXPECT_EQ(job.GetState(), EnumHostState::Queued);
        EXPECT_EQ(job.GetErrorCode(), static_cast<HRESULT>(0x80043095));
        EXPECT_EQ(job.GetLook().mUnit, 2) << "which tells of it";
        EXPECT_TRUE(host.RunUntil(2, job));
        EXPECT_EQ(events.Get(), std::vector<std::string>{"10"});
    }
}

TEST(HostTimes, DeliverTheErrorOfAJobThatLostItsStep)
{
    // The library keeps the sending of an error for it, but not its delivery: that is the host's.
    Hanging hanging({.mLongestRun = 1ms}, true);
    const auto job = MakeJob(3, {cSecond, cFirst, StepCloseJob});
    ICKDXProcessContext* context = nullptr;
    ASSERT_EQ(job->GetProcessContext(&context), S_OK);
    QBase::PtrI<CKDXProcessContext> delivery; // any object
    ASSERT_EQ(CreateProcessContext(delivery), S_OK);
    context->put_ContextObjectN(delivery.Get());
    context->Release();
    const QORHostJob handle = hanging.Submit(job);
    EXPECT_TRUE(handle.WaitFor(cLong));
    EXPECT_EQ(hanging.mEvents.Get(), (std::vector<std::string>{"told", "end"}));
    EXPECT_EQ(hanging.mError, QORJOB_W("SQL Generation of job 3 failed: it took longer than a step may take"));
    QORJobInfo info;
    ASSERT_EQ(handle.GetSnapshot(info), S_OK);
}

TEST(HostTimes, EndAJobWhoseLastStepsHangWithoutRunningOneTwice)
{
    // Hung are the steps of that id, and with `mFirst` one before, after which that one is run.
    struct Row
    {
        QORJobProcessingStep mHung;
        bool mbFirst;
        bool mbCancel;
        bool mbCommits = false;
    };
    for (const Row& row :
         {Row{StepCloseJob, false, false}, Row{StepSendingErrorMessage, true, false},
          Row{StepSendingErrorMessage, false, false}, Row{StepSendingOutputMessage, false, false},
          Row{StepDelivery, false, true}, Row{StepSendingDocumentResult, false, true}, Row{cFirst, false, false, true}})
    {
        SCOPED_TRACE(std::to_string(row.mHung) + (row.mbFirst ? " after another" : ""));
        std::atomic<int> runs{0};
        std::atomic<int> told{0};
        std::atomic<int> closed{0};
        std::atomic<bool> bStrange{false};
        Gate inStep;
        Gate mayReturn;
        const auto hang = [&](QORHostRun& ioRun) {
            ++runs;
            inStep.Open();
            mayReturn.Wait();
            EXPECT_TRUE(ioRun.IsToldToStop());
        };
        QORHostConfig config{.mUnits = {{}, {.mId = 2}}, .mGrace = 1ms};
        config.mLongestRun = row.mbCancel ? 0ms : 1ms;
        config.mSteps.push_back({.mStepId = row.mHung, .mUnit = 1, .mRun = hang, .mbCommits = row.mbCommits});
        if (row.mbCommits)
            config.mSteps.push_back({.mStepId = StepSendingErrorMessage, .mRun = [&](QORHostRun&) { ++told; }});
        if (row.mbFirst)
            config.mSteps.push_back({.mStepId = cFirst, .mUnit = 1, .mRun = hang});
        const auto close = [&](QORHostRun& ioRun) {
            ++closed;
            int unit = 0;
            ioRun.GetJob().GetPUId(&unit);
            bStrange = unit != 2;
        };
        if (row.mHung != StepCloseJob)
            config.mSteps.push_back({.mStepId = StepCloseJob, .mUnit = 2, .mRun = close});
        QORHost host(config);
        QORHostJob job =
            host.Submit(row.mbFirst ? MakeJob(1, {cFirst, StepCloseJob}) : MakeJob(1, {row.mHung, StepCloseJob})).mJob;
        EXPECT_TRUE(inStep.Wait());
        if (row.mbCancel)
        {
            EXPECT_EQ(job.SetTimeLeft(50ms), EnumHostAnswer::Done);
            EXPECT_EQ(job.Cancel("the limit of its life stays"), EnumHostAnswer::Done);
        }
        EXPECT_TRUE(job.WaitFor(cLong));
        EXPECT_EQ(job.GetStatus(), row.mbCancel ? JobCancelled : JobStoppedWithError);
        EXPECT_EQ(job.GetReason(), row.mbCancel                ? "the limit of its life stays"
                                   : row.mHung == StepCloseJob ? "its last steps hang"
                                                               : "it took longer than a step may take");
        EXPECT_EQ(runs, row.mbFirst ? 2 : 1);
        EXPECT_EQ(closed, row.mHung == StepCloseJob || row.mbFirst ? 0 : 1);
        EXPECT_EQ(told, 0) << "nobody else answers";
        EXPECT_FALSE(bStrange) << "the closing step is another unit's";
        mayReturn.Open();
        WaitWhile([&] { return host.GetCounts().mLateThreads > 0; });
    }
}

TEST(HostTimes, TryAStepAgainAfterGrowingDelays)
{
    for (const unsigned succeedsAt : {3U, 9U})
    {
        bool bAborted = false;
        const auto onEnd = [&](const QORHostJob&, QORJob& ioJob) { bAborted = ioJob.IsQueryEngineServerAborted(); };
        std::vector<std::chrono::steady_clock::time_point> runs;
        QORHost host(
            {.mUnits = {{}},
             .mSteps = {{.mStepId = cSecond,
                         .mRun =
                             [&](QORHostRun& ioRun) {
                                 runs.push_back(std::chrono::steady_clock::now());
                                 EXPECT_EQ(ioRun.GetAttempt(), runs.size());
                                 EXPECT_FALSE(ioRun.IsToldToStop());
                                 if (ioRun.GetAttempt() < succeedsAt)
                                     ioRun.TryAgain(
                                         {.mMostTimes = 4, .mDelay = 2ms, .mGrowth = 3, .mLongestDelay = 7ms},
                                         "the database is away");
                             }},
                        {.mStepId = cFirst, .mRun = [](QORHostRun& ioRun) { EXPECT_EQ(ioRun.GetAttempt(), 1U); }}}});
        const QORHostJob job = host.Submit(MakeJob(8, {cSecond, cFirst, StepCloseJob}), {.mOnEnd = onEnd}).mJob;
        EXPECT_TRUE(job.WaitFor(cLong));
        EXPECT_EQ(job.GetStatus(), succeedsAt == 3 ? JobCompleted : JobStoppedWithError);
        EXPECT_EQ(job.GetReason(), succeedsAt == 3 ? "" : "the database is away");
        EXPECT_EQ(bAborted, succeedsAt != 3) << "by its last run";
        ASSERT_EQ(runs.size(), std::min(succeedsAt, 4U));
        const std::vector<std::chrono::milliseconds> least = {2ms, 6ms, 7ms};
        for (std::size_t i = 1; i < runs.size(); ++i)
            EXPECT_GE(runs[i] - runs[i - 1], least[i - 1]);
        QORJobInfo info;
        ASSERT_EQ(job.GetSnapshot(info), S_OK);
        EXPECT_EQ(info.mPUCount, static_cast<int>(runs.size())) << "it rests in no unit";
    }
}

TEST(HostTimes, LetADelayedJobGoOnAtOnce)
{
    using enum EnumHostState;
    for (const std::string way : {"cancel", "pause", "stop", "cancel with a child", "pause with a child",
                                  "stop with a child", "fail with a child", "life with a child"})
    {
        SCOPED_TRACE(way);
        const bool bChild = way.ends_with("child");
        const bool bFails = way.starts_with("fail"); // the child's time is over, and long before the document's delay
        const bool bLife = way.starts_with("life");
        std::chrono::steady_clock::time_point began;
        Gate mayEnd;
        const auto delay = [&](QORHostRun& ioRun) {
            began = std::chrono::steady_clock::now();
            if (bChild && ioRun.GetAttempt() == 1)
                ioRun.SubmitChild(MakeJob(9, {cSecond, StepCloseJob}), {.mLongestLife = bFails ? 20ms : 0ms});
            if (ioRun.GetAttempt() == 1)
                ioRun.TryAgain({.mDelay = bFails ? 0ms : 1h, .mLongestDelay = 1h}, "later");
        };
        const auto wait = [&](QORHostRun& ioRun) {
            WaitWhile([&] { return !mayEnd.IsOpen() && !ioRun.IsToldToStop(); });
            ioRun.CheckStop();
        };
        QORHost host(
            {.mUnits = {{}}, .mSteps = {{.mStepId = cFirst, .mRun = delay}, {.mStepId = cSecond, .mRun = wait}}});
        QORHostJob job = host.Submit(MakeJob(8, {cFirst, StepCloseJob}), {.mLongestLife = bLife ? 20ms : 0ms}).mJob;
        WaitWhile([&] { return !bFails && !bLife && job.GetState() != (bChild ? WaitingForChildren : Delayed); });
        EXPECT_TRUE(bFails || bLife || job.GetLook().mSince >= began);
        int status = JobStoppedWithError;
        if (way.starts_with("cancel"))
        {
            EXPECT_EQ(job.Cancel("too late"), EnumHostAnswer::Done);
            status = JobCancelled;
        }
        else if (way.starts_with("pause"))
        {
            EXPECT_EQ(job.Pause(), EnumHostAnswer::Done);
            EXPECT_EQ(job.GetState(), bChild ? WaitingForChildren : Paused);
            EXPECT_EQ(job.Resume(), EnumHostAnswer::Done);
            status = JobCompleted;
        }
        else if (way.starts_with("stop"))
        {
            EXPECT_TRUE(host.Stop(cLong).empty());
            status = JobStopped;
        }
        if (!bFails && !bLife)
            mayEnd.Open();
        EXPECT_TRUE(job.WaitFor(cLong));
        EXPECT_EQ(job.GetStatus(), status);
    }
}
