#include "platform/builtin/Texts.h"
#include "tests/host/HostTest.h"
#include "tests/support/NullProcessContext.h"

#include <algorithm>
#include <atomic>
#include <new>

using namespace HostTest;

TEST(HostFailure, MakesAnErrorOfWhateverAStepThrows)
{
    constexpr auto cOwnCode = static_cast<HRESULT>(0xA0990001);
    constexpr auto cNobodysCode = static_cast<HRESULT>(0xA0990002);
    Builtin::Texts::Add("language 0x0409\nbundle Ours\n0xA0990001 OURS_BUSY The %1 is busy for %2 s.\n", "ours");
    struct Row
    {
        std::function<void(QORHostRun&)> mThrow;
        HRESULT mCode;
        std::string mText;
        std::string mReason;
    };
    const std::vector<Row> rows = {
        {[](QORHostRun&) {
             throw QORHostError(cOwnCode, {"lift", "9"}, "busy");
         },
         cOwnCode, "The lift is busy for 9 s.", "busy"},
        {[](QORHostRun&) { throw QORHostError(cNobodysCode, {"lift"}, "the lift is busy"); },
         static_cast<HRESULT>(0x80043095), "loading of job 4 failed: the lift is busy (0xA0990002)",
         "the lift is busy (0xA0990002)"},
        {[](QORHostRun& ioRun) {
             ioRun.GetJob().UpdateJobError(QORJOB_W("Kernel"), 0x80043095, 1); // forgotten
             throw std::runtime_error("no such table");
         },
         static_cast<HRESULT>(0x8004308E), "An exception was thrown in loading for job 4: no such table",
         "no such table"},
        {[](QORHostRun&) { throw 42; }, static_cast<HRESULT>(0x8004308F),
         "An unknown exception was thrown in loading for job 4.", "an unknown exception"},
        {[](QORHostRun&) { throw std::bad_alloc(); }, E_OUTOFMEMORY, "There is not enough memory.",
         "there is not enough memory"},
        {[](QORHostRun&) { throw QORHostStopped(); }, static_cast<HRESULT>(0x8004308E),
         "An exception was thrown in loading for job 4: it was told to stop", "it was told to stop"},
        {[](QORHostRun& ioRun) {
             ioRun.GetJob().GetMemGovernor()->mLimitBytes = 3 << 20;
             ioRun.TakeMemory(1 << 20);
             ioRun.TakeMemory(3 << 20);
         },
         static_cast<HRESULT>(0x8000FE24), "Job 4 needs more memory than its limit of 3 MB allows.",
         "Job 4 needs more memory than its limit of 3 MB allows."},
        {{},
         static_cast<HRESULT>(0x80043095),
         "SQL Generation of job 4 failed: no unit runs this step",
         "no unit runs this step"},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.mText);
        const Logged logged;
        Journal told;
        QORHostConfig config{.mUnits = {{}}};
        config.mSteps.push_back({.mStepId = StepSendingErrorMessage, .mRun = [&](QORHostRun&) { told.Add("told"); }});
        if (row.mThrow)
            config.mSteps.push_back({.mStepId = cFirst, .mRun = row.mThrow, .mName = "loading"});
        config.mSteps.push_back({.mStepId = cSecond, .mRun = [&](QORHostRun&) { told.Add("second"); }});
        QORHost host(std::move(config));
        QBase::wstring text;
        const QORHostJob job =
            host.Submit(MakeJob(4, {cFirst, cSecond, StepCloseJob}),
                        {.mOnEnd = [&](const QORHostJob&, QORJob& ioJob) { ioJob.GetJobError(text); }, .mBytes = 1})
                .mJob;
        EXPECT_TRUE(host.Drain(cLong));
        EXPECT_EQ(job.GetStatus(), JobStoppedWithError);
        EXPECT_EQ(job.GetErrorCode(), row.mCode);
        EXPECT_EQ(QBase::WideCharToUTF8(text.c_str()), row.mText);
        EXPECT_EQ(job.GetReason(), row.mReason);
        EXPECT_EQ(logged.Get(), std::vector<std::string>{"Job 4 failed: " + row.mReason});
        EXPECT_EQ(told.Get(), std::vector<std::string>{"told"});
        EXPECT_EQ(host.GetCounts().mBytes, 0U);
        EXPECT_TRUE(host.GetJobs().empty());
    }
}

namespace
{

/// Ends as it is told.
class Ending final : public QORJobTask
{
public:
    Ending(QORHostRun& ioRun, HRESULT iCode, bool ibAborts)
        : QORJobTask(&ioRun.GetJob()), mCode(iCode), mbAborts(ibAborts)
    {
    }
    HRESULT Run() override
    {
        if (mbAborts)
            SetAbort();
        return mCode;
    }

private:
    HRESULT mCode;
    bool mbAborts;
};

} // namespace

TEST(HostFailure, TakesATasksCodeAndItsAbortForFailures)
{
    for (const auto& [code, bAborts, reason] :
         {std::tuple{S_OK, false, ""}, std::tuple{S_FALSE, false, ""},
          std::tuple{static_cast<HRESULT>(0x80004005), false, "the task gave 0x80004005"},
          std::tuple{S_OK, true, "the task was aborted"},
          std::tuple{E_OUTOFMEMORY, false, "there is not enough memory"}}) // for which no task is made
    {
        QORHost host({.mUnits = {{}},
                      .mSteps = {{.mStepId = cFirst, .mMakeTask = [&, c = code, a = bAborts](QORHostRun& ioRun) {
                                      return c == E_OUTOFMEMORY ? nullptr : std::make_unique<Ending>(ioRun, c, a);
                                  }}}});
        const QORHostJob job = host.Submit(MakeJob(4, {cFirst, StepCloseJob})).mJob;
        EXPECT_TRUE(job.WaitFor(cLong));
        EXPECT_EQ(job.GetReason(), reason);
    }
}

TEST(HostFailure, GoesOnAfterCallbacksThatThrowSubmitAndWait)
{
    const Logged logged;
    Journal events;
    const QORHost* openHost = nullptr;
    const auto each = [&](const QORHostJob& iJob, QORJob& ioJob) {
        EXPECT_EQ(iJob.GetJob().Get(), &ioJob);
        EXPECT_TRUE(iJob.HasEnded());
        EXPECT_EQ(openHost->FindNew(iJob.GetId()), iJob) << "it is with the open ones still";
        events.Add("end of " + std::to_string(iJob.GetId()));
        throw 42;
    };
    QORHost host(
        {.mUnits = {{}}, .mSteps = {{.mStepId = cFirst, .mRun = [](QORHostRun&) {}}}, .mMostJobs = 1, .mOnEnd = each});
    openHost = &host;
    Gate lastEnded;
    const auto last = [&](const QORHostJob&, QORJob&) {
        events.Add("last");
        lastEnded.Open();
    };
    const auto second = [&](const QORHostJob& iJob, QORJob&) {
        EXPECT_TRUE(iJob.Wait());
        events.Add("second");
        const auto accepted = host.Submit(MakeJob(3, {cFirst, StepCloseJob}), {.mOnEnd = last, .mWaitForRoom = 1h});
        EXPECT_EQ(accepted.mResult, EnumHostSubmit::Accepted) << "its own place is free";
        EXPECT_EQ(host.Submit(MakeJob(4, {cFirst, StepCloseJob}), {.mWaitForRoom = 1h}).mResult, EnumHostSubmit::Full)
            << "a thread of the host doesn't wait for room";
        EXPECT_FALSE(accepted.mJob.WaitFor(1ms)) << "it has the only thread";
        throw 7;
    };
    EXPECT_TRUE(
        host.Submit(MakeJob(1, {cFirst, StepCloseJob}), {.mOnEnd = [](const QORHostJob&, QORJob&) { throw 42; }}));
    EXPECT_TRUE(host.Submit(MakeJob(2, {cFirst, StepCloseJob}), {.mOnEnd = second, .mWaitForRoom = 30s}));
    EXPECT_TRUE(lastEnded.Wait());
    EXPECT_TRUE(host.Drain(cLong));
    EXPECT_EQ(events.Get(), (std::vector<std::string>{"end of 1", "end of 2", "second", "end of 3", "last"}));
    const auto thrown = [](int iJob) {
        return "The callback of job " + std::to_string(iJob) + " has thrown: an unknown exception";
    };
    EXPECT_EQ(logged.Get(), (std::vector{thrown(1), thrown(1), thrown(2), thrown(2), thrown(3)}));
}

TEST(HostFailure, LetsAStepDropItsHandleAndNotWaitForItself)
{
    QORHostJob job;
    Gate submitted;
    QORHost host({.mUnits = {{}}, .mSteps = {{.mStepId = cFirst, .mRun = [&](QORHostRun& ioRun) {
                                                  EXPECT_TRUE(submitted.Wait());
                                                  EXPECT_EQ(ioRun.GetHandle(), job);
                                                  EXPECT_FALSE(job.Wait());
                                                  job = {};
                                              }}}});
    job = host.Submit(MakeJob(1, {cFirst, StepCloseJob})).mJob;
    submitted.Open();
    EXPECT_TRUE(host.Drain(cLong));
}

TEST(HostFailure, TakesNoMoreThanFits)
{
    Gate mayEnd;
    Gate waited;
    QORHost host({.mUnits = {{.mThreads = 1}},
                  .mSteps = {{.mStepId = cFirst,
                              .mRun =
                                  [&](QORHostRun& ioRun) {
                                      ioRun.TakeMemory(50);
                                      mayEnd.Wait();
                                  }},
                             {.mStepId = cSecond, .mRun = [&](QORHostRun&) { waited.Wait(); }}},
                  .mMostJobs = 3,
                  .mMostBytes = 100});
    const auto submit = [&](std::uint64_t iBytes, std::chrono::milliseconds iWait) {
        return host
            .Submit(MakeJob(1, {cFirst, cSecond, StepCloseJob}, RequestReport),
                    {.mWaitForRoom = iWait, .mBytes = iBytes})
            .mResult;
    };
    EXPECT_EQ(submit(20, 0ms), EnumHostSubmit::Accepted);
    WaitWhile([&] { return host.GetCounts().mBytes != 70; });
    EXPECT_EQ(submit(31, 0ms), EnumHostSubmit::Full);
    EXPECT_EQ(submit(30, 0ms), EnumHostSubmit::Accepted);
    std::thread opener([&, end = std::chrono::steady_clock::now() + 20ms] {
        WaitWhile([=] { return std::chrono::steady_clock::now() < end; });
        mayEnd.Open();
    });
    EXPECT_EQ(submit(20, cLong), EnumHostSubmit::Accepted) << "when a step has given back what it had taken";
    EXPECT_EQ(submit(0, 1ms), EnumHostSubmit::Full) << "by number";
    EXPECT_EQ(host.GetCounts().mOpen, 3U);
    const auto refused = MakeJob(5, {cFirst, StepCloseJob});
    EXPECT_EQ(host.Submit(refused).mResult, EnumHostSubmit::Full);
    int status = -1;
    refused->GetStatus(&status);
    EXPECT_EQ(status, JobReady) << "as it was";
    std::thread waiter([&] { EXPECT_EQ(submit(0, cLong), EnumHostSubmit::Accepted); });
    waited.Open();
    opener.join();
    waiter.join();
    EXPECT_TRUE(host.Drain(cLong));
    EXPECT_THROW(host.Submit({}), std::invalid_argument);
}

TEST(HostFailure, EndsAJobThatItCantDrive)
{
    const std::vector<std::pair<QORJobStep*, std::string>> rows = {
        {new QORJobStep(40), "step 40 isn't one that can be run"},
        {new QORJobStep(StepNoMore), "no step to run, but the job wasn't closed"},
        {nullptr, "GetCurrentStepIdToRun failed with 0x80004003"}};
    QORHost host({.mUnits = {{.mThreads = 0, .mMostAUser = 1}}});
    for (const auto& [step, reason] : rows)
    {
        const Logged logged;
        const auto submitted = MakeJob(5, {});
        submitted->AddStepToRun(step, nullptr);
        submitted->SetUser(QORJOB_W("one"));
        QBase::wstring text;
        const auto onEnd = [&](const QORHostJob&, QORJob& ioJob) { ioJob.GetJobError(text); };
        const QORHostJob job = host.Submit(submitted, {.mOnEnd = onEnd}).mJob;
        const auto other = MakeJob(6, {StepCloseJob});
        other->SetUser(QORJOB_W("one"));
        const QORHostJob next = host.Submit(other).mJob;
        EXPECT_TRUE(host.RunUntil(1, job));
        EXPECT_TRUE(host.RunUntil(1, next)) << "its user has his place back";
        EXPECT_EQ(QBase::WideCharToUTF8(text.c_str()), "An exception was thrown in the host for job 5: " + reason);
        EXPECT_EQ(job.GetStatus(), JobStoppedWithError);
        EXPECT_EQ(job.GetReason(), reason);
        EXPECT_EQ(logged.Get(),
                  (std::vector<std::string>{"Job 5 failed: " + reason, "Job 5 ends without its last steps"}));
    }
}

TEST(HostFailure, SaysWhichThreadsDontStartAndTriesAgain)
{
    std::atomic<int> left{0};
    const auto start = [&](std::function<void()> iBody) {
        if (left.fetch_sub(1) <= 0)
            throw std::system_error(EAGAIN, std::generic_category());
        return std::thread(std::move(iBody));
    };
    QORHostConfig config{.mUnits = {{.mThreads = 2}}, .mLongestRun = 1ms, .mGrace = 1ms, .mStartThread = start};
    for (const int threads : {0, 1, 2})
    {
        left = threads;
        EXPECT_THROW(QORHost{config}, std::system_error);
    }
    left = 2;
    config.mUnits[0].mThreads = 1;
    Gate mayReturn;
    config.mSteps.push_back({.mStepId = cFirst, .mRun = [&](QORHostRun&) { mayReturn.Wait(); }});
    config.mUnits[0].mName = "loaders";
    const Logged logged;
    QORHost host(config);
    const QORHostJob job = host.Submit(MakeJob(1, {cFirst, StepCloseJob})).mJob;
    WaitWhile([&] { return host.GetCounts().mMissingThreads == 0; });
    EXPECT_EQ(job.GetStatus(), JobStoppedWithError);
    EXPECT_FALSE(job.HasEnded());
    WaitWhile([&] { return logged.Get().size() < 4; });
    EXPECT_TRUE(logged.Get().at(3).starts_with("Unit loaders lacks a thread, which doesn't start: "));
    left = 1;
    EXPECT_TRUE(job.WaitFor(cLong)) << "the thread is started as soon as that is possible";
    EXPECT_EQ(host.GetCounts().mMissingThreads, 0U);
    mayReturn.Open();
    WaitWhile([&] { return host.GetCounts().mLateThreads > 0; });
}

TEST(HostFailure, TakesAContextThatThrowsForOneThatSaysNothing)
{
    struct Broken final : NullProcessContext
    {
        HRESULT QORJOB_STDCALL QueryInterface(const GUID&, void**) override { return E_NOINTERFACE; }
        DWORD QORJOB_STDCALL AddRef() override { return ++mReferences; }
        DWORD QORJOB_STDCALL Release() override { return --mReferences; }
        HRESULT QORJOB_STDCALL get_LongB(LONG*) override { throw std::runtime_error("broken"); }
        HRESULT QORJOB_STDCALL put_LongB(LONG iValue) override
        {
            return iValue == cStop ? throw std::runtime_error("broken") : S_OK;
        }

        std::atomic<DWORD> mReferences{0};
    } context;
    const Logged logged;
    Gate gate;
    {
        QORHostConfig config{.mUnits = {{}}, .mGrace = std::chrono::milliseconds(1)};
        config.mSteps.push_back({.mStepId = cFirst, .mRun = [&](QORHostRun& ioRun) {
                                     ioRun.TakeMemory(9);
                                     ioRun.CheckStop();
                                 }});
        config.mSteps.push_back({.mStepId = cSecond,
                                 .mRun = [&](QORHostRun&) { EXPECT_TRUE(gate.Wait()); },
                                 .mLongestRun = std::chrono::milliseconds(1)});
        QORHost host(std::move(config));
        const auto submit = [&](QORJobProcessingStep iStepId) {
            const QBase::PtrI<QORJob> job = MakeJob(4, {iStepId, StepCloseJob});
            job->SetProcessContext(&context);
            job->GetMemGovernor()->mLimitBytes = 100;
            return host.Submit(job, {.mBytes = 1}).mJob;
        };
        const QORHostJob asks = submit(cFirst);
        EXPECT_TRUE(asks.WaitFor(cLong));
        EXPECT_EQ(asks.GetStatus(), JobStoppedWithError);
        EXPECT_EQ(asks.GetReason(), "broken");
        const QORHostJob hangs = submit(cSecond);
        EXPECT_TRUE(hangs.WaitFor(cLong));
        EXPECT_EQ(hangs.GetStatus(), JobStoppedWithError);
        gate.Open();
        WaitWhile([&] { return host.GetCounts().mLateThreads != 0; });
        EXPECT_TRUE(host.Drain(cLong));
        EXPECT_EQ(host.GetCounts().mBytes, 0u);
        const auto lines = logged.Get();
        EXPECT_EQ(std::count(lines.begin(), lines.end(), "The context of job 4 can't be told to stop: broken"), 2);
    }
    EXPECT_EQ(context.mReferences, 0u);
}
