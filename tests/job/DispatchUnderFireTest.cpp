// Many threads drive many jobs while others cancel, stop and bury them. Logs are off: these runs are about races.
#include "task/QORJobTask.h"
#include "tests/support/JobTest.h"

#include <array>
#include <deque>
#include <mutex>
#include <random>

namespace
{

constexpr int cJobs = 10000;
constexpr int cWorkers = 4;

/// A job and how often each of its steps was run.
struct Entry
{
    JobPtr mpJob;
    std::array<std::atomic<int>, StepNoOp + 1> mRuns{};
    std::atomic<bool> mbOver{false};
    std::mutex mClaimMutex; // where threads compete: from a step's dispatch to its start
};

using Entries = std::vector<std::unique_ptr<Entry>>;

Entries NewEntries(const std::vector<int>& iStepIds)
{
    Entries entries(cJobs);
    for (int id = 0; id < cJobs; ++id)
    {
        auto& entry = entries[static_cast<std::size_t>(id)] = std::make_unique<Entry>();
        entry->mpJob = JobPtr(QORJob::NewJob(id, RequestReport, 5, nullptr, nullptr));
        for (const int step : iStepIds)
            EXPECT_EQ(entry->mpJob->AddStep(new QORJobStep(step), nullptr), S_OK);
    }
    return entries;
}

/// A step that stands behind others (a job on its way out leaves them) is not finished by SetStepFinish alone.
void Finish(QORJob& ioJob, int iStepId, int iUnit, QORJobTask* iTask)
{
    ioJob.SetStepFinish(iStepId, iUnit, iTask);
    if (iStepId == StepCloseJob || iStepId == StepSendingErrorMessage)
        ioJob.SetStepComplete(iStepId);
}

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

void ExpectEachStepOnce(Entries iEntries)
{
    for (const std::unique_ptr<Entry>& entry : iEntries)
    {
        EXPECT_EQ(entry->mRuns[StepCloseJob], 1) << entry->mpJob->GetId().Get();
        for (const std::atomic<int>& runs : entry->mRuns)
            EXPECT_LE(runs, 1) << entry->mpJob->GetId().Get();
    }
    iEntries.clear();
    EXPECT_EQ(PerfReadings::GetLiveInstances(4), 0);
}

/// Lets `iWork(worker)` run on several threads until it has ended on all, while another one disturbs the jobs.
template <class Work>
void RunUnderFire(const Entries& iEntries, Work iWork)
{
    std::atomic<int> working{cWorkers};
    RunOnThreads(cWorkers + 1, [&](int iThread) {
        if (iThread < cWorkers)
        {
            iWork(iThread);
            --working;
        }
        std::mt19937 random(1);
        while (iThread == cWorkers && working != 0)
            Disturb(*iEntries[random() % iEntries.size()]->mpJob.Get(), random);
    });
}

} // namespace

TEST(DispatchUnderFire, RunsEachStepOnceWhereAJobStandsInOneQueueAtATime)
{
    // Two units; a step's worker puts the job into the other one. Who takes a job out has it for himself until he puts
    // it back. Some workers are lost in the middle of a step: the job is declared dead and put back, and its lost step
    // never runs again.
    auto entries = NewEntries({3, 4, 5, 7, 10, 2});
    std::mutex mutex;
    std::deque<Entry*> queues[2];
    for (std::size_t i = 0; i < entries.size(); ++i)
        queues[i % 2].push_back(entries[i].get());
    std::atomic<int> open{cJobs};

    RunUnderFire(entries, [&](int iWorker) {
        std::mt19937 random(static_cast<unsigned>(iWorker));
        const int unit = 1 + iWorker % 2;
        QORJobTask task(nullptr);
        while (open != 0)
        {
            Entry* entry = nullptr;
            if (const std::lock_guard hold(mutex); !queues[unit - 1].empty())
            {
                entry = queues[unit - 1].front();
                queues[unit - 1].pop_front();
            }
            if (entry == nullptr)
            {
                std::this_thread::yield();
                continue;
            }
            QORJob& job = *entry->mpJob.Get();
            job.SetPUEnter(unit, nullptr, 0);
            job.SetPUStart(unit);
            job.SetRunning(true, nullptr);
            int step = -1;
            EXPECT_EQ(job.GetCurrentStepIdToRun(&step, nullptr), S_OK);
            if (step == StepNoMore)
            {
                entry->mbOver = true;
                --open;
                continue;
            }
            EXPECT_EQ(job.SetStepStart(step, unit, &task), S_OK);
            ++entry->mRuns[static_cast<std::size_t>(step)];
            bool bWas = false;
            if (step < StepSendingErrorMessage && step != StepCloseJob && random() % 16 == 0)
                job.SetIAmDead(true, &bWas, static_cast<QORJobProcessingStep>(step));
            else
                Finish(job, step, unit, &task);
            job.SetPUExit(unit, nullptr);
            const std::lock_guard hold(mutex);
            queues[2 - unit].push_back(entry);
        }
    });
    ExpectEachStepOnce(std::move(entries));
}

TEST(DispatchUnderFire, GivesNobodyElseAStepWhileAUnitRunsTheCurrentOne)
{
    // All threads go through all jobs. What a thread is given it must start in its unit before another one asks; from
    // then on the job itself keeps the others off until the step has finished.
    auto entries = NewEntries({3, 4, 5, 7, 8, 2});
    RunUnderFire(entries, [&](int iWorker) {
        const int unit = 1 + iWorker;
        QORJobTask task(nullptr);
        for (bool bOpen = true; bOpen;)
        {
            bOpen = false;
            for (const std::unique_ptr<Entry>& entry : entries)
            {
                if (entry->mbOver)
                    continue;
                bOpen = true;
                QORJob& job = *entry->mpJob.Get();
                int step = -1;
                {
                    const std::lock_guard hold(entry->mClaimMutex);
                    // A dead flag would give the step of a living thread away.
                    bool bDead = false;
                    job.SetIAmDead(false, &bDead, StepNoMore);
                    job.SetRunning(true, nullptr);
                    job.GetCurrentStepIdToRun(&step, nullptr);
                    if (step != StepNoMore)
                        job.SetStepStart(step, unit, &task);
                }
                if (step == StepNoMore)
                    continue;
                ++entry->mRuns[static_cast<std::size_t>(step)];
                Finish(job, step, unit, &task);
                if (step == StepCloseJob)
                    entry->mbOver = true;
            }
        }
    });
    ExpectEachStepOnce(std::move(entries));
}
