#include "tests/host/HostTest.h"

#include <array>
#include <atomic>
#include <deque>
#include <optional>
#include <random>

using namespace HostTest;

namespace
{

/// One job of a storm: what happened to it.
struct Fate
{
    std::atomic<int> mEnds{0};
    std::atomic<int> mAnswers{0};
    std::atomic<int> mCancels{0};
    QORHostJob mJob;
};

/// A host under fire: jobs and documents whose steps last, fail, are tried again or hang, while other threads do to
/// them whatever can be done, until the host ends.
class Storm
{
public:
    explicit Storm(unsigned iSeed) : mSeed(iSeed)
    {
        const auto answer = [this](QORHostRun& ioRun) { ++FateOf(ioRun.GetJob().GetId().Get()).mAnswers; };
        mpHost.emplace(QORHostConfig{
            .mUnits = {{.mId = 1, .mThreads = 2}, {.mId = 2, .mThreads = 2, .mMostAUser = 1}},
            .mSteps = {{.mStepId = cFirst, .mUnit = 1, .mRun = [this](QORHostRun& ioRun) { Work(ioRun); }},
                       {.mStepId = cSecond, .mUnit = 2, .mRun = [this](QORHostRun& ioRun) { Work(ioRun); }},
                       {.mStepId = StepSendingReportResult, .mUnit = 1, .mRun = answer, .mbCommits = true},
                       {.mStepId = StepSendingErrorMessage, .mUnit = 2, .mRun = answer}},
            .mGrace = 1ms,
            .mEndTime = 30'000ms});
    }

    void Submit(int iId)
    {
        const auto job = MakeJob(iId, {cFirst, cSecond, StepSendingReportResult, StepCloseJob},
                                 iId % 2 == 0 ? RequestDocument : RequestReport, iId % 3);
        job->SetUser(iId % 5 == 0 ? QORJOB_W("a") : QORJOB_W("b"));
        Keep(iId, mpHost->Submit(job, OptionsOf(iId)));
    }

    /// From any thread, to any job, at any moment.
    void Disturb(unsigned iThread)
    {
        std::minstd_rand random(mSeed * 31 + iThread);
        while (!mbOver)
        {
            Fate& fate = mFates.at(random() % mFates.size());
            QORHostJob job;
            {
                const std::lock_guard hold(mMutex);
                job = fate.mJob;
            }
            if (!job)
                continue;
            switch (random() % 8)
            {
            case 0:
                if (job.Cancel("storm") == EnumHostAnswer::Done)
                {
                    ++fate.mCancels;
                    EXPECT_EQ(job.GetStatus(), JobCancelled);
                }
                break;
            case 1:
            case 2:
                job.Pause();
                break;
            case 3:
                job.SetPriority(static_cast<int>(random() % 5));
                break;
            case 4:
                job.SetTimeLeft(std::chrono::milliseconds(random() % 20));
                break;
            case 5:
            {
                QORJobInfo info;
                job.GetSnapshot(info);
                break;
            }
            default:
                job.Resume();
            }
        }
    }

    void Run(int iJobs, bool ibStop)
    {
        std::vector<std::thread> threads;
        for (unsigned thread = 0; thread < 3; ++thread)
            threads.emplace_back([this, thread] { Disturb(thread); });
        threads.emplace_back([=, this] {
            for (int id = iJobs / 2; id < iJobs; ++id)
                Submit(id);
        });
        for (int id = 0; id < iJobs / 2; ++id)
            Submit(id);
        if (!ibStop)
            threads.back().join();
        if (!ibStop)
            EXPECT_TRUE(mpHost->Drain(cLong));
        else
            mpHost->Stop(1ms);
        if (ibStop)
            threads.back().join();
        mpHost.reset();
        mbOver = true;
        threads.pop_back();
        for (std::thread& thread : threads)
            thread.join();
        WaitWhile([&] { return mWorking > 0; });
        for (const Fate& fate : mFates)
        {
            if (!fate.mJob)
                continue;
            EXPECT_EQ(fate.mEnds, 1);
            EXPECT_LE(fate.mAnswers, 1) << fate.mJob.GetId() << " " << fate.mJob.GetStatus() << " "
                                        << fate.mJob.GetReason();
            EXPECT_LE(fate.mCancels, 1);
            EXPECT_TRUE(fate.mJob.HasEnded());
            const int status = fate.mJob.GetStatus();
            EXPECT_TRUE(QORJOB::HasEnded(status)) << status;
            EXPECT_EQ(fate.mCancels == 1 && status != JobCancelled, false) << "what was answered stays true";
            EXPECT_TRUE(status != JobCompleted || fate.mAnswers == 1);
        }
    }

private:
    static constexpr int cChildren = 2;

    Fate& FateOf(int iId) { return mFates.at(static_cast<std::size_t>(iId)); }

    QORHostSubmit OptionsOf(int iId)
    {
        return {.mOnEnd =
                    [this](const QORHostJob& iJob, QORJob&) {
                        ++FateOf(iJob.GetId()).mEnds;
                        EXPECT_TRUE(iJob.HasEnded());
                    },
                .mLongestLife = iId % 7 == 0 ? 5ms : 0ms,
                .mFamilyRule = iId % 4 == 0 ? EnumHostFamilyRule::WaitForAll : EnumHostFamilyRule::FailWithFirst};
    }

    void Keep(int iId, const QORHostSubmission& iSubmission)
    {
        const std::lock_guard hold(mMutex);
        FateOf(iId).mJob = iSubmission.mJob;
    }

    void Work(QORHostRun& ioRun)
    {
        const int id = ioRun.GetJob().GetId().Get();
        ++mWorking;
        struct Leave
        {
            std::atomic<int>& mWorking;
            ~Leave() { --mWorking; }
        } leave{mWorking};
        const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(id * 7 % 500);
        while (std::chrono::steady_clock::now() < end)
            if (!ioRun.Report(id) && id % 3 != 0)
                throw QORHostStopped();
        if (id % 11 == 0)
            throw std::runtime_error("unlucky");
        if (id % 13 == 0)
            ioRun.TryAgain({.mMostTimes = 3, .mDelay = 1ms}, "not yet");
        if (id % 10 == 4 && id < 1'000 && ioRun.GetStepId() == cFirst)
            for (int child = 0; child < cChildren; ++child)
            {
                const int childId = 1'000 + cChildren * id + child;
                const auto job = MakeJob(childId, {cSecond, StepSendingReportResult, StepCloseJob}, RequestReport);
                if (FateOf(childId).mEnds == 0 && !FateOf(childId).mJob)
                    Keep(childId, ioRun.SubmitChild(job, OptionsOf(childId)));
            }
    }

    const unsigned mSeed;
    std::mutex mMutex; // guards the fates' handles
    std::array<Fate, 1'200> mFates;
    std::atomic<bool> mbOver{false};
    std::atomic<int> mWorking{0}; // steps, the late ones included
    std::optional<QORHost> mpHost;
};

} // namespace

TEST(HostRaces, EndEveryJobOnceWhateverIsDoneToIt)
{
    for (unsigned seed = 1; seed <= 30; ++seed)
    {
        SCOPED_TRACE(seed);
        Storm(seed).Run(60, seed % 3 == 0);
    }
}

TEST(HostRaces, AnswerTwoCommandsAtOnceTruly)
{
    // The step ends at any moment beside the two.
    const std::vector<std::function<EnumHostAnswer(QORHostJob&)>> commands = {
        [](QORHostJob& ioJob) { return ioJob.Cancel("now"); },    [](QORHostJob& ioJob) { return ioJob.Cancel("too"); },
        [](QORHostJob& ioJob) { return ioJob.Pause(); },          [](QORHostJob& ioJob) { return ioJob.Resume(); },
        [](QORHostJob& ioJob) { return ioJob.SetTimeLeft(0ms); },
    };
    QORHost host({.mUnits = {{}, {.mId = 2}},
                  .mSteps = {{.mStepId = cFirst, .mUnit = 1, .mRun = [](QORHostRun& ioRun) { ioRun.CheckStop(); }},
                             {.mStepId = cSecond, .mUnit = 2, .mRun = [](QORHostRun& ioRun) { ioRun.CheckStop(); }}},
                  .mGrace = 30'000ms});
    int id = 0;
    std::atomic<int> ends{0};
    for (std::size_t first = 0; first < commands.size(); ++first)
    {
        for (std::size_t second = first + 1; second < commands.size(); ++second)
        {
            for (int turn = 0; turn < 60; ++turn)
            {
                QORHostJob job = host.Submit(MakeJob(++id, {cFirst, cSecond, StepCloseJob}),
                                             {.mOnEnd = [&](const QORHostJob&, QORJob&) { ++ends; }})
                                     .mJob;
                std::array<EnumHostAnswer, 2> answers{};
                std::thread other([&, own = job]() mutable { answers[1] = commands[second](own); });
                answers[0] = commands[first](job);
                other.join();
                while (!job.WaitFor(1ms))
                    job.Resume();
                const int cancels = static_cast<int>(first < 2 && answers[0] == EnumHostAnswer::Done) +
                                    static_cast<int>(second < 2 && answers[1] == EnumHostAnswer::Done);
                EXPECT_LE(cancels, 1);
                EXPECT_EQ(job.GetStatus() == JobCancelled, cancels == 1);
            }
        }
    }
    EXPECT_TRUE(host.Drain(cLong));
    EXPECT_EQ(ends, id);
}
