#include "platform/QPerfMon.h"
#include "platform/builtin/PerfReadings.h"
#include "tests/host/HostTest.h"

#include <optional>
#include <thread>

using namespace HostTest;

namespace
{

/// What the call throws says.
template <class Call>
std::string RefusalOf(Call&& iCall)
{
    try
    {
        iCall();
    }
    catch (const std::exception& error)
    {
        return error.what();
    }
    return {};
}

/// Ids in the order in which one thread runs them: the first one blocks until the others are queued.
std::vector<int> OrderOf(const std::vector<int>& iPriorities, QORHostUnit iUnit)
{
    std::vector<int> order;
    Gate queued;
    iUnit.mThreads = 1;
    QORHost host({.mUnits = {iUnit}, .mSteps = {{.mStepId = cFirst, .mRun = [&](QORHostRun& ioRun) {
                                                     order.push_back(ioRun.GetJob().GetId().Get());
                                                     EXPECT_TRUE(queued.Wait());
                                                 }}}});
    int id = 0;
    for (const int priority : iPriorities)
    {
        EXPECT_TRUE(host.Submit(MakeJob(++id, {cFirst, StepCloseJob}, RequestReport, priority)));
        WaitWhile([&] { return id == 1 && host.GetCounts().mQueued > 0; });
    }
    queued.Open();
    EXPECT_TRUE(host.Drain(cLong));
    return order;
}

} // namespace

TEST(HostDrive, TakesAJobThroughItsUnitsAndRecordsIt)
{
    Builtin::PerfReadings::EnablePulses(true);
    Journal journal;
    QORHost host(
        {.mUnits = {{.mId = 4, .mName = "one"}, {.mId = 9, .mName = "other"}},
         .mSteps = {{.mStepId = cFirst, .mUnit = 4, .mRun = [&](QORHostRun&) { journal.Add("first"); }},
                    {.mStepId = cSecond,
                     .mUnit = 9,
                     .mRun = [&](QORHostRun& ioRun) { journal.Add(ioRun.Report(70) ? "second" : "told"); },
                     .mName = "fetching"},
                    {.mStepId = StepAnalyticalProcessing, .mRun = [&](QORHostRun&) { journal.Add("third"); }},
                    {.mStepId = StepCloseJob, .mUnit = 4, .mRun = [&](QORHostRun&) { journal.Add("close"); }}}});
    const auto end = [&](const QORHostJob& iJob, QORJob& ioJob) {
        journal.Add("end " + std::to_string(iJob.GetStatus()) + (iJob.Wait() ? "" : " open") + " " +
                    std::to_string(ioJob.GetId().Get()));
        QORJobInfo info;
        EXPECT_EQ(iJob.GetSnapshot(info), S_OK) << "the callback's handle is one, too";
    };
    const auto submitted = MakeJob(7, {cFirst, cSecond, StepAnalyticalProcessing, StepCloseJob});
    QBase::PtrI<ICKDXProcessContext> context;
    ASSERT_EQ(submitted->GetProcessContext(context.Receive()), S_OK);
    context->put_LongB(ICKDXProcessContext::cStop); // for another job that it served
    const auto [result, job] = host.Submit(submitted, {.mOnEnd = end});
    ASSERT_EQ(result, EnumHostSubmit::Accepted);
    EXPECT_TRUE(job.WaitFor(cLong));
    EXPECT_TRUE(host.Drain(cLong));
    EXPECT_EQ(journal.Get(), (std::vector<std::string>{"first", "second", "third", "close", "end 3 7"}));

    QORJobInfo info;
    ASSERT_EQ(job.GetSnapshot(info), S_OK);
    const std::vector<int> units = {4, 9, 9, 4}; // a step without a unit runs where the job is
    ASSERT_EQ(info.mFinishedCount, 4);
    for (int i = 0; i < 4; ++i)
    {
        int unit = 0;
        EXPECT_EQ(info.mFinishedSteps.at(static_cast<std::size_t>(3 - i)).GetPUId(&unit), S_OK);
        EXPECT_EQ(unit, units.at(static_cast<std::size_t>(i)));
    }
    EXPECT_EQ(info.mPUCount, 3);
    std::vector<int> pulses;
    for (const Builtin::PerfReadings::Pulse& pulse : Builtin::PerfReadings::TakePulses())
        pulses.push_back(pulse.mCategory - PulseCategoryJobFirst);
    EXPECT_EQ(pulses, (std::vector<int>{cFirst, cSecond, StepCloseJob})) << "for which it waited in a queue";
    Builtin::PerfReadings::EnablePulses(false);
    EXPECT_EQ(job.GetProgress(), 70);
    EXPECT_EQ(host.GetStepName(cSecond), "fetching");
    EXPECT_EQ(host.GetStepName(cFirst), "SQL Generation");
    EXPECT_EQ(host.GetUnitName(9), "other");
    EXPECT_EQ(host.GetUnitName(5), "unit 5");
    EXPECT_EQ(host.GetCounts().mOpen, 0U);
    EXPECT_EQ(host.GetUnits().at(1).mName, "other");
    EXPECT_FALSE(job.GetJob());
}

TEST(HostDrive, ShowsWhereAJobStandsAtAGlance)
{
    Gate ran;
    Gate goOn;
    QORHost host({.mUnits = {{.mId = 4}, {.mId = 9}},
                  .mSteps = {{.mStepId = cSecond, .mUnit = 9, .mRun = [&](QORHostRun& ioRun) {
                                  static_cast<void>(ioRun.Report(70));
                                  ran.Open();
                                  goOn.Wait();
                              }}}});
    const auto before = std::chrono::steady_clock::now();
    QORHostJob job = host.Submit(MakeJob(1, {cSecond, StepCloseJob}, RequestReport, 3)).mJob;
    ASSERT_TRUE(ran.Wait());
    const auto expect = [](const QORHostJob& iJob, EnumHostState iState, int iStatus, int iStep, int iProgress,
                           int iPriority) {
        const QORHostLook look = iJob.GetLook();
        EXPECT_EQ(look.mState, iState);
        EXPECT_EQ(look.mStatus, iStatus);
        EXPECT_EQ(look.mUnit, 9);
        EXPECT_EQ(look.mStepId, iStep);
        EXPECT_EQ(look.mProgress, iProgress);
        EXPECT_EQ(look.mPriority, iPriority);
        return look.mSince;
    };
    const auto running = expect(job, EnumHostState::Running, JobExecuting, cSecond, 70, 3);
    EXPECT_GE(running, before);
    const QORHostJob next = host.Submit(MakeJob(2, {cSecond, StepCloseJob}, RequestReport, 6)).mJob;
    EXPECT_GE(expect(next, EnumHostState::Queued, JobWaiting, cSecond, 0, 6), running);
    EXPECT_EQ(host.GetJobs(), (std::vector<QORHostJob>{job, next}));
    EXPECT_EQ(host.FindNew(1), job);
    EXPECT_EQ(host.FindNew(2, 1), next);
    EXPECT_FALSE(host.FindNew(1, 1));
    EXPECT_FALSE(host.FindNew(3));
    const QORHostJob anywhere = host.Submit(MakeJob(4, {StepCloseJob})).mJob;
    EXPECT_TRUE(anywhere.WaitFor(cLong));
    EXPECT_EQ(anywhere.GetLook().mUnit, 4) << "the first unit's, as its step says nothing";

    const QORHostJobReference reference(job);
    EXPECT_TRUE(reference.IsOf(job));
    EXPECT_FALSE(reference.IsOf(next));
    EXPECT_EQ(reference.Lock(), job);
    goOn.Open();
    EXPECT_TRUE(host.Drain(cLong));
    expect(job, EnumHostState::Ended, JobCompleted, StepCloseJob, 70, 3);
    job = {};
    WaitWhile([&] { return static_cast<bool>(reference.Lock()); }); // its thread lets it go a moment later
}

TEST(HostDrive, TakesHigherPrioritiesFirstButLetsNobodyWaitForEver)
{
    const std::vector<int> jobs = {9, 1, 5, 9, 5, 1};
    EXPECT_EQ(OrderOf(jobs, {.mRaiseEvery = 1h}), (std::vector<int>{1, 4, 3, 5, 2, 6}));
    EXPECT_EQ(OrderOf(jobs, {.mRaiseEvery = 0ms}), (std::vector<int>{1, 2, 3, 4, 5, 6}))
        << "waiting is all that counts";
    EXPECT_EQ(OrderOf({9, 999'999, 1'000'000, 2'000'000}, {.mRaiseEvery = 1h}), (std::vector<int>{1, 3, 4, 2}))
        << "the highest there is";
}

TEST(HostDrive, RunsNoMoreOfAUsersJobsThanAreAllowed)
{
    std::vector<int> order;
    std::vector<QORHostJob> jobs;
    std::optional<QORHost> host;
    const auto run = [&](QORHostRun& ioRun) {
        order.push_back(ioRun.GetJob().GetId().Get());
        if (order.size() > 1)
            return;
        EXPECT_FALSE(host->RunUntil(1, ioRun.GetHandle())) << "it would wait for itself";
        EXPECT_TRUE(host->RunOne(1) && host->RunOne(1) && host->RunOne(1)) << "another user's, and nobody's";
        EXPECT_FALSE(host->RunOne(1)) << "the others wait for their turn";
        EXPECT_EQ(jobs[1].SetPriority(1), EnumHostAnswer::Done);
        EXPECT_FALSE(host->RunOne(1));
        EXPECT_EQ(host->GetCounts().mQueued, 3U);
        EXPECT_EQ(jobs[2].Cancel("not needed"), EnumHostAnswer::Done);
        EXPECT_TRUE(host->RunOne(1)) << "what only closes goes on whoever it is for";
        EXPECT_FALSE(host->RunOne(1));
        EXPECT_EQ(host->GetCounts().mQueued, 2U);
    };
    host.emplace(
        QORHostConfig{.mUnits = {{.mThreads = 0, .mMostAUser = 1}}, .mSteps = {{.mStepId = cFirst, .mRun = run}}});
    for (const char* user : {"greedy", "greedy", "greedy", "greedy", "modest", "", ""})
    {
        const auto job = MakeJob(static_cast<int>(jobs.size()) + 1, {cFirst, StepCloseJob}, RequestReport);
        job->SetUser(QBase::UTF8ToWideChar(user));
        jobs.push_back(host->Submit(job).mJob);
    }
    while (host->RunOne(1))
        continue;
    EXPECT_EQ(order, (std::vector<int>{1, 5, 6, 7, 4, 2}));
    EXPECT_EQ(host->GetCounts().mQueued, 0U);
}

TEST(HostDrive, RunsOnThreadsOfTheServer)
{
    std::vector<int> order;
    const auto run = [&](QORHostRun& ioRun) { order.push_back(ioRun.GetJob().GetCurrentStepForStatistics()); };
    QORHost host({.mUnits = {{.mId = 1, .mThreads = 0}, {.mId = 2, .mThreads = 0}, {.mId = 3}},
                  .mSteps = {{.mStepId = cFirst, .mUnit = 1, .mRun = run},
                             {.mStepId = cSecond, .mUnit = 2, .mRun = run},
                             {.mStepId = StepAnalyticalProcessing, .mUnit = 3, .mRun = [](QORHostRun&) {}}}});
    EXPECT_FALSE(host.RunOne(1));
    const QORHostJob job = host.Submit(MakeJob(1, {cFirst, cSecond, StepCloseJob})).mJob;
    EXPECT_FALSE(host.RunOne(2));
    EXPECT_TRUE(host.RunOne(1));
    EXPECT_EQ(order, std::vector<int>{cFirst});
    EXPECT_FALSE(host.RunUntil(1, job, 1ms));
    EXPECT_TRUE(host.RunUntil(2, job));
    EXPECT_EQ(order, (std::vector<int>{cFirst, cSecond}));
    EXPECT_EQ(job.GetStatus(), JobCompleted);
    EXPECT_EQ(RefusalOf([&] { host.RunOne(4); }), "there is no unit 4");
    const auto elsewhere = MakeJob(3, {cFirst, StepAnalyticalProcessing, StepCloseJob});
    EXPECT_TRUE(host.RunUntil(1, host.Submit(elsewhere).mJob)) << "it ends on another thread";

    const QORHostJob second = host.Submit(MakeJob(2, {cFirst, cSecond, StepCloseJob})).mJob;
    std::thread other([&] { host.RunUntilClosed(1); });
    EXPECT_TRUE(host.RunUntil(2, second));
    EXPECT_FALSE(host.IsClosing());
    EXPECT_TRUE(host.Drain(cLong));
    EXPECT_TRUE(host.IsClosing());
    other.join();
}

namespace
{

class Doubler final : public QORJobTask
{
public:
    explicit Doubler(QORHostRun& ioRun) : QORJobTask(&ioRun.GetJob()), mRun(ioRun) {}

    HRESULT Run() override
    {
        mRun.SetText(QORJOB_W("Text"), mRun.GetText(QORJOB_W("Text")) + mRun.GetText(QORJOB_W("Text")));
        return SetComplete();
    }

private:
    QORHostRun& mRun;
};

} // namespace

TEST(HostDrive, HandsItemsFromStepToStepByName)
{
    ASSERT_EQ(QORJobData::AddName(QORJOB_W("Text"), 0), S_OK);
    std::string text;
    const auto make = [](QORHostRun& ioRun) {
        ioRun.SetText(QORJOB_W("Text"), "ab");
        ioRun.GetJob().GetMemGovernor()->mLimitBytes = 9;
        ioRun.TakeMemory(9);
    };
    const auto look = [&](QORHostRun& ioRun) {
        ioRun.TakeMemory(9); // which the first step has given back
        ioRun.GetJob().SetGovernedControl(1);
        ioRun.TakeMemory(9); // who isn't governed isn't asked
        text = ioRun.GetText(QORJOB_W("Text"));
        EXPECT_STREQ(
            static_cast<QORJobData*>(ioRun.GetItem<QORStringData>(QORJOB_W("Text")).Get()) == nullptr ? "" : "is there",
            "is there");
        EXPECT_EQ(RefusalOf([&] { ioRun.GetItem<QORBinaryData>(QORJOB_W("Text")); }),
                  "the job has no item \"Text\" of the class that is asked for");
        EXPECT_EQ(RefusalOf([&] { ioRun.GetText(QORJOB_W("Nobody's")); }),
                  "the job has no item \"Nobody's\" of the class that is asked for");
        EXPECT_EQ(RefusalOf([&] { ioRun.SetText(QORJOB_W("Nobody's"), "a"); }),
                  "no data item has the name \"Nobody's\"");
        const QBase::PtrI<QORStringData> beyond(new QORStringData(5, QORJOB_W("b"), QORStringData::COPY_STRING));
        EXPECT_EQ(RefusalOf([&] { ioRun.SetItem(*beyond.Get()); }),
                  "a job has room for data items of the ids 0 to 4 only");
    };
    QORHost host({.mUnits = {{}},
                  .mSteps = {{.mStepId = cFirst, .mRun = make},
                             {.mStepId = cSecond,
                              .mMakeTask = [](QORHostRun& ioRun) { return std::make_unique<Doubler>(ioRun); }},
                             {.mStepId = StepAnalyticalProcessing, .mRun = look}}});
    const QORHostJob job = host.Submit(MakeJob(1, {cFirst, cSecond, StepAnalyticalProcessing, StepCloseJob})).mJob;
    EXPECT_TRUE(job.WaitFor(cLong));
    EXPECT_EQ(job.GetReason(), "");
    EXPECT_EQ(text, "abab");
}

TEST(HostDrive, RefusesUnitsAndStepsThatDontFit)
{
    const auto nothing = [](QORHostRun&) {};
    const std::vector<std::pair<QORHostConfig, std::string>> cases = {
        {{}, "a host has units"},
        {{.mUnits = {{.mId = 0}}}, "units have ids of their own, 1 or more: 0"},
        {{.mUnits = {{.mId = 1}, {.mId = 1}}}, "units have ids of their own, 1 or more: 1"},
        {{.mUnits = {{}}, .mSteps = {{.mStepId = 40, .mRun = nothing}}}, "step 40 isn't one that jobs can run"},
        {{.mUnits = {{}}, .mSteps = {{.mStepId = 3, .mUnit = 2, .mRun = nothing}}},
         "step 3 is for a unit that there isn't: 2"},
        {{.mUnits = {{}}, .mSteps = {{.mStepId = 3}}}, "step 3 takes either a function or a maker of tasks"},
        {{.mUnits = {{}}, .mSteps = {{.mStepId = 3, .mRun = nothing}, {.mStepId = 3, .mRun = nothing}}},
         "step 3 is there twice"},
        {{.mUnits = {{}}, .mStartThread = [](const auto&) { return std::thread(); }},
         "the server has started no thread"}};
    for (const auto& [config, text] : cases)
    {
        EXPECT_EQ(RefusalOf([&, &config = config] { const QORHost host(config); }), text);
    }
    QORHost host({.mUnits = {{}}});
    EXPECT_EQ(RefusalOf([&] { host.Submit({}); }), "there is no job");
}

TEST(HostDrive, LogsNoWarningInASoundRun)
{
    const Logged logged;
    for (const char* router : {"Warning", "Error"})
        Builtin::LogSinks::Enable("Kernel", router, true);
    {
        const auto run = [](QORHostRun& ioRun) { ioRun.CheckStop(); };
        QORHost host({.mUnits = {{.mId = 1}, {.mId = 2}},
                      .mSteps = {{.mStepId = cFirst, .mUnit = 1, .mRun = run},
                                 {.mStepId = StepElementBrowsing, .mUnit = 2, .mRun = run},
                                 {.mStepId = StepAnalyticalProcessing, .mUnit = 1, .mRun = run}}});
        for (int id = 1; id <= 50; ++id)
        {
            const auto made = MakeJob(id, {cFirst, StepElementBrowsing, StepAnalyticalProcessing, StepCloseJob});
            QBase::PtrI<CKDXProcessContext> bare; // of no request
            EXPECT_TRUE(id % 4 != 0 || CreateProcessContext(bare) == S_OK);
            if (id % 2 == 0)
                made->SetProcessContext(bare.Get());
            QORHostJob job = host.Submit(made).mJob;
            if (id % 3 == 0)
                job.Cancel("enough");
        }
        EXPECT_TRUE(host.Drain(cLong));
    }
    for (const char* router : {"Warning", "Error"})
        Builtin::LogSinks::Enable("Kernel", router, false);
    EXPECT_EQ(logged.Get(), std::vector<std::string>());
}
