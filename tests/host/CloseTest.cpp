#include "tests/host/HostTest.h"

#include <algorithm>
#include <csignal>
#include <optional>

using namespace HostTest;

namespace
{

/// Two workers: one in a step that waits to be told, one that closes; others queued, paused, delayed and with a child.
struct Busy
{
    explicit Busy(bool ibDeaf = false)
    {
        const auto run = [this, ibDeaf](QORHostRun& ioRun) {
            mInStep.Open();
            WaitWhile([&] { return !mMayReturn.IsOpen() && (ibDeaf || !ioRun.IsToldToStop()); });
            ioRun.CheckStop();
        };
        mpHost.emplace(QORHostConfig{.mUnits = {{.mId = 1}, {.mId = 2}, {.mId = 3}},
                                     .mSteps = {{.mStepId = cFirst, .mUnit = 1, .mRun = run, .mName = "the long step"},
                                                {.mStepId = cSecond, .mUnit = 2, .mRun = [](QORHostRun&) {}},
                                                {.mStepId = StepExecutingDocument,
                                                 .mUnit = 2,
                                                 .mRun =
                                                     [](QORHostRun& ioRun) {
                                                         ioRun.SubmitChild(MakeJob(50, {cFirst, StepCloseJob}));
                                                     }},
                                                {.mStepId = StepAnalyticalProcessing,
                                                 .mUnit = 2,
                                                 .mRun =
                                                     [](QORHostRun& ioRun) {
                                                         if (ioRun.GetAttempt() == 1)
                                                             ioRun.TryAgain({.mDelay = 1h, .mLongestDelay = 1h},
                                                                            "later");
                                                     }},
                                                {.mStepId = StepElementBrowsing,
                                                 .mUnit = 3,
                                                 .mRun =
                                                     [this](QORHostRun&) {
                                                         mInAnswer.Open();
                                                         mMayAnswer.Wait();
                                                     },
                                                 .mbCommits = true}},
                                     .mMostJobs = 6,
                                     .mGrace = 1ms,
                                     .mEndTime = 1ms});
    }
    ~Busy()
    {
        mMayReturn.Open();
        mMayAnswer.Open();
    }

    QORHostJob Submit(int iId, QORJobProcessingStep iStep)
    {
        return mpHost
            ->Submit(MakeJob(iId, {iStep, StepCloseJob}), {.mOnEnd = [this](const QORHostJob&, QORJob&) { ++mEnds; }})
            .mJob;
    }

    Gate mInStep, mMayReturn, mInAnswer, mMayAnswer;
    std::atomic<int> mEnds{0};
    std::optional<QORHost> mpHost;
};

} // namespace

TEST(HostClose, DrainsWhatIsThereAndStopsIt)
{
    for (const bool bStop : {false, true})
    {
        for (const bool bSignal : {false, true})
        {
            SCOPED_TRACE(std::string(bStop ? "stop" : "drain") + (bSignal ? " by a signal" : ""));
            Busy busy;
            QORHostJob running = busy.Submit(1, cFirst);
            EXPECT_TRUE(busy.mInStep.Wait());
            QORHostJob queued = busy.Submit(2, cFirst);
            QORHostJob paused = busy.Submit(3, cFirst);
            EXPECT_EQ(paused.Pause(), EnumHostAnswer::Done);
            EXPECT_EQ(paused.GetState(), EnumHostState::Paused) << "at once";
            QORHostJob parent = busy.Submit(4, StepExecutingDocument);
            QORHostJob delayed = busy.Submit(5, StepAnalyticalProcessing);
            QORHostJob answering = busy.Submit(6, StepElementBrowsing);
            EXPECT_TRUE(busy.mInAnswer.Wait());
            WaitWhile([&] {
                return parent.GetState() != EnumHostState::WaitingForChildren ||
                       delayed.GetState() != EnumHostState::Delayed;
            });
            std::thread late([&] {
                EXPECT_EQ(busy.mpHost->Submit(MakeJob(9, {cSecond}), {.mWaitForRoom = cLong}).mResult,
                          EnumHostSubmit::Closed);
            });
            EXPECT_FALSE(busy.mpHost->WaitForClose(1ms));
            if (bSignal)
                bStop ? busy.mpHost->RequestStop() : busy.mpHost->RequestDrain();
            else if (bStop)
                std::thread([&] { EXPECT_TRUE(busy.mpHost->Stop(cLong).empty()); }).detach();
            else
                EXPECT_FALSE(busy.mpHost->Drain(1ms));
            EXPECT_TRUE(busy.mpHost->WaitForClose(cLong));
            late.join();
            if (!bStop)
            {
                EXPECT_EQ(queued.Pause(), EnumHostAnswer::NotPossible);
                EXPECT_EQ(delayed.Resume(), EnumHostAnswer::NotPossible);
                EXPECT_EQ(delayed.Cancel("don't wait for it"), EnumHostAnswer::Done);
                EXPECT_FALSE(running.HasEnded());
                busy.mMayReturn.Open();
            }
            for (QORHostJob* job : {&running, &queued, &paused, &parent, &delayed})
                EXPECT_TRUE(job->WaitFor(cLong));
            EXPECT_FALSE(answering.HasEnded());
            busy.mMayAnswer.Open();
            EXPECT_TRUE(busy.mpHost->Drain(cLong));
            for (QORHostJob* job : {&running, &queued, &paused, &parent})
            {
                EXPECT_EQ(job->GetStatus(), bStop ? JobStopped : JobCompleted) << job->GetId();
                EXPECT_EQ(job->GetReason(), bStop ? "the host was stopped" : "");
            }
            EXPECT_EQ(delayed.GetStatus(), bStop ? JobStopped : JobCancelled);
            EXPECT_EQ(answering.GetStatus(), JobCompleted);
            EXPECT_EQ(busy.mEnds, 6);
        }
    }
}

TEST(HostClose, LeavesHungStepsBehindAndSaysWhich)
{
    for (const bool bLastHangs : {false, true})
    {
        const Logged logged;
        Gate mayReturn;
        Gate inStep;
        const auto hang = [&](QORHostRun& ioRun) {
            inStep.Open();
            mayReturn.Wait();
            EXPECT_TRUE(ioRun.IsToldToStop());
            EXPECT_EQ(ioRun.GetJob().GetId().Get(), 1) << "what it has is still there";
            EXPECT_EQ(ioRun.SubmitChild(MakeJob(2, {cFirst})).mResult, EnumHostSubmit::Closed);
        };
        const auto close = [&](QORHostRun&) { // which the host waits for
            const auto end = std::chrono::steady_clock::now() + 20ms;
            WaitWhile([&] { return std::chrono::steady_clock::now() < end || (bLastHangs && !mayReturn.IsOpen()); });
        };
        QORHostJob job;
        {
            QORHost host({.mUnits = {{}},
                          .mSteps = {{.mStepId = cFirst, .mRun = hang, .mName = "the long step"},
                                     {.mStepId = StepCloseJob, .mRun = close}},
                          .mGrace = bLastHangs ? 500ms : 30'000ms,
                          .mEndTime = 1ms});
            job = host.Submit(MakeJob(1, {cFirst, StepCloseJob})).mJob;
            EXPECT_TRUE(inStep.Wait());
        }
        EXPECT_TRUE(job.HasEnded());
        EXPECT_EQ(job.GetStatus(), JobStoppedWithError);
        std::vector<std::string> lines = {"the long step of job 1 is given up: the host ends",
                                          "Job 1 failed: the host ends",
                                          "The host ends, and leaves a thread in the long step of job 1"};
        if (bLastHangs)
            for (const char* line :
                 {"Close job of job 1 is given up: the host ends", "Job 1 ends without its last steps"})
                lines.emplace_back(line);
        EXPECT_EQ(logged.Get(), lines);
        mayReturn.Open();
        WaitWhile([&] { return logged.Get().size() < (bLastHangs ? 7 : 4); });
        const std::vector<std::string> all = logged.Get();
        EXPECT_EQ(
            std::count(all.begin(), all.end(), "The thread that was left in the long step of job 1 has come back"), 1);
    }
}

TEST(HostClose, LeavesACallbackBehindAndSaysWhose)
{
    const Logged logged;
    Gate inCallback;
    const auto mayReturn = std::make_shared<Gate>();
    {
        QORHost host({.mUnits = {{}}, .mGrace = 1ms, .mEndTime = 1ms});
        host.Submit(MakeJob(7, {StepCloseJob}), {.mOnEnd = [&inCallback, mayReturn](const QORHostJob&, QORJob&) {
                        inCallback.Open();
                        mayReturn->Wait();
                    }});
        EXPECT_TRUE(inCallback.Wait());
    }
    EXPECT_EQ(logged.Get(), std::vector<std::string>{"The host ends, and leaves a thread in the callback of job 7"});
    mayReturn->Open();
}

TEST(HostClose, EndsWhatNobodyRuns)
{
    std::vector<int> ended;
    const auto onEnd = [&](const QORHostJob& iJob, QORJob&) { ended.push_back(iJob.GetId()); };
    QORHostJob job;
    QORHostJob answered;
    {
        QORHost host({.mUnits = {{.mThreads = 0}, {.mId = 2, .mThreads = 0}},
                      .mSteps = {{.mStepId = cFirst, .mUnit = 1, .mRun = [](QORHostRun&) {}},
                                 {.mStepId = cSecond, .mUnit = 2, .mRun = [](QORHostRun&) {}, .mbCommits = true}},
                      .mGrace = 1ms,
                      .mEndTime = 1ms});
        job = host.Submit(MakeJob(1, {cFirst, StepCloseJob}), {.mOnEnd = onEnd}).mJob;
        answered = host.Submit(MakeJob(2, {cSecond, cFirst, StepCloseJob}), {.mOnEnd = onEnd}).mJob;
        EXPECT_TRUE(host.RunOne(2));
    }
    EXPECT_EQ(job.GetStatus(), JobStopped);
    EXPECT_EQ(answered.GetStatus(), JobStoppedWithError) << "it isn't told to stop";
    EXPECT_EQ(answered.GetReason(), "the host has ended");
    EXPECT_EQ(ended.size(), 2U);
}

TEST(HostClose, MayBeDestroyedByACallback)
{
    Gate gone;
    auto host = std::make_unique<QORHost>(QORHostConfig{.mUnits = {{.mThreads = 2}}, .mGrace = 1ms, .mEndTime = 1ms});
    QORHost& alive = *host;
    alive.Submit(MakeJob(1, {StepCloseJob}), {.mOnEnd = [&](const QORHostJob&, QORJob&) {
                     EXPECT_FALSE(host->Drain(1h)) << "it would wait for itself";
                     host.reset();
                     gone.Open();
                 }});
    EXPECT_TRUE(gone.Wait());
}

TEST(HostClose, MayBeDestroyedByAStepWhoseJobThenEnds)
{
    for (const int closing : {1, 2})
    {
        Gate gone;
        std::atomic<bool> bRan = false;
        QORHostJob job;
        std::unique_ptr<QORHost> host;
        host = std::make_unique<QORHost>(QORHostConfig{
            .mUnits = {{.mId = 1}, {.mId = 2}},
            .mSteps = {{.mStepId = cFirst,
                        .mUnit = 1,
                        .mRun =
                            [&](QORHostRun&) {
                                host.reset();
                                gone.Open();
                            }},
                       {.mStepId = StepCloseJob, .mUnit = closing, .mRun = [&](QORHostRun&) { bRan = true; }}},
            .mGrace = 1ms,
            .mEndTime = 1ms});
        QORHost& alive = *host;
        job = alive.Submit(MakeJob(1, {cFirst, StepCloseJob})).mJob;
        EXPECT_TRUE(gone.Wait());
        EXPECT_TRUE(job.WaitFor(cLong));
        EXPECT_EQ(job.GetReason(), "the host has ended");
        EXPECT_FALSE(bRan);
    }
}

TEST(HostClose, StopsThoughItDrainsAtTheSameTime)
{
    for (const bool bSignals : {false, true})
    {
        QORHost host({.mUnits = {{}}, .mSteps = {{.mStepId = cFirst, .mRun = [](QORHostRun& ioRun) {
                                                      if (ioRun.GetAttempt() == 1)
                                                          ioRun.TryAgain({.mDelay = 1h, .mLongestDelay = 1h}, "later");
                                                  }}}});
        std::vector<QORHostJob> jobs;
        for (int id = 1; id <= 500; ++id)
            jobs.push_back(host.Submit(MakeJob(id, {cFirst, StepCloseJob})).mJob);
        for (const QORHostJob& job : jobs)
            WaitWhile([&] { return job.GetState() != EnumHostState::Delayed; });
        if (bSignals)
        {
            host.RequestStop();
            host.RequestDrain();
        }
        std::thread drain([&] { EXPECT_TRUE(host.Drain(cLong)); });
        if (!bSignals)
            host.Stop(cLong);
        drain.join();
        for (const QORHostJob& job : jobs)
            EXPECT_EQ(job.GetStatus(), JobStopped);
    }
}

TEST(HostClose, EndsADocumentOnceThoughItsChildEndsThen)
{
    for (int turn = 0; turn < 100; ++turn)
    {
        std::atomic<int> ends{0};
        const auto rests = std::make_shared<Gate>(); // its thread may be left behind
        std::thread opener;
        QORHostJob document;
        {
            const auto count = [&](const QORHostJob&, QORJob&) { ++ends; };
            QORHost host({.mUnits = {{.mId = 1}, {.mId = 2}},
                          .mSteps = {{.mStepId = cFirst,
                                      .mUnit = 1,
                                      .mRun =
                                          [&](QORHostRun& ioRun) {
                                              ioRun.SubmitChild(MakeJob(2, {cSecond, StepCloseJob}), {.mOnEnd = count});
                                          }},
                                     {.mStepId = cSecond,
                                      .mUnit = 2,
                                      .mRun = [rests](QORHostRun&) { rests->Wait(); },
                                      .mbCommits = true}},
                          .mGrace = 1ms,
                          .mEndTime = 1ms});
            document = host.Submit(MakeJob(1, {cFirst, StepCloseJob}), {.mOnEnd = count}).mJob;
            WaitWhile([&] { return document.GetState() != EnumHostState::WaitingForChildren; });
            opener = std::thread([rests] { rests->Open(); });
        }
        opener.join();
        EXPECT_TRUE(document.WaitFor(cLong));
        EXPECT_EQ(ends, 2);
    }
}
