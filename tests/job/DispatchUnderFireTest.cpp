// Many threads drive many jobs while another one cancels, stops and buries them. Logs are off: this run is about races.
#include "job/QORJobTask.h"
#include "tests/support/JobTest.h"

#include <array>
#include <mutex>
#include <random>

namespace
{

constexpr std::size_t cJobs = 10000;
constexpr int cWorkers = 4;

/// A job and how often each of its steps was run.
struct Entry
{
    Entry()
    {
        for (const int step : {3, 4, 5, 7, 8, 2})
            EXPECT_EQ(mpJob->AddStep(new QORJobStep(step), nullptr), S_OK);
    }

    const JobPtr mpJob{QORJob::NewJob(cJobId, RequestReport, cJobPriority, nullptr, nullptr)};
    std::array<std::atomic<int>, StepNoOp + 1> mRuns{};
    std::mutex mClaimMutex; // where threads compete: from a step's dispatch to its start
};

/// What watchdogs, users and monitors do to jobs meanwhile.
void Disturb(QORJob& ioJob, std::mt19937& ioRandom)
{
    bool bFlag = false;
    int number = 0;
    unsigned milliseconds = 0;
    const unsigned deed = ioRandom() % 4;
    if (deed < 2)
        ioJob.SetStatus(4 + static_cast<int>(ioRandom() % 3), nullptr);
    else if (deed == 2)
        ioJob.SetRunning(true, nullptr);
    else
        ioJob.SetIAmDead(true, &bFlag, StepNoMore);
    ioJob.GetCurrentStepId(&number, &number);
    ioJob.GetPUId(&number);
    ioJob.GetStatus(&number);
    ioJob.GetWaitingTime(&milliseconds);
}

/// Gives the job's next step to the caller: whether it was the closing one, which nothing follows.
bool RunNext(Entry& ioEntry, int iUnit, QORJobTask& iTask)
{
    QORJob& job = *ioEntry.mpJob.Get();
    int step = -1;
    {
        const std::lock_guard hold(ioEntry.mClaimMutex);
        // A dead flag would give the step of a living thread away.
        bool bDead = false;
        job.SetIAmDead(false, &bDead, StepNoMore);
        job.SetRunning(true, nullptr);
        job.GetCurrentStepIdToRun(&step, nullptr);
        if (step == StepNoMore)
            return false;
        job.SetStepStart(step, iUnit, &iTask);
    }
    ++ioEntry.mRuns[static_cast<std::size_t>(step)];
    job.SetStepFinish(step, iUnit, &iTask);
    if (step == StepCloseJob)
        job.SetStepComplete(step); // on its way out a job leaves the steps before it, and finishes it so only
    return step == StepCloseJob;
}

} // namespace

TEST(DispatchUnderFire, GivesNobodyElseAStepWhileAUnitRunsTheCurrentOne)
{
    // All threads go through all jobs. What a thread is given it must start in its unit before another one asks; from
    // then on the job itself keeps the others off until the step has finished.
    std::vector<Entry> entries(cJobs);
    std::atomic<int> open{static_cast<int>(cJobs)};
    RunOnThreads(cWorkers + 1, [&](int iThread) {
        std::mt19937 random(1);
        QORJobTask task(nullptr);
        while (iThread == cWorkers && open != 0)
            Disturb(*entries[random() % cJobs].mpJob.Get(), random);
        while (open != 0)
            for (Entry& entry : entries)
                open -= RunNext(entry, 1 + iThread, task) ? 1 : 0;
    });
    for (const Entry& entry : entries)
    {
        EXPECT_EQ(entry.mRuns[StepCloseJob], 1);
        for (const std::atomic<int>& runs : entry.mRuns)
            EXPECT_LE(runs, 1);
    }
    entries.clear();
    EXPECT_EQ(Builtin::PerfReadings::GetLiveInstances(cJobCategory), 0);
}
