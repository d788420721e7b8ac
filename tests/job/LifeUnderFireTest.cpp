// Jobs are run, cancelled, paused, resumed and found hung at once. Logs are off: these runs are about races.
#include "job/QORJobTask.h"
#include "tests/support/JobTest.h"

#include <array>
#include <deque>
#include <mutex>
#include <random>

namespace
{

constexpr std::size_t cJobs = 2000;
constexpr int cWorkers = 3;
constexpr int cNobody = -1;

/// A job as its kernel keeps it.
struct Entry
{
    JobPtr mpJob;
    std::array<std::atomic<int>, StepNoOp + 1> mRuns{};
    std::array<int, StepNoOp + 1> mPauses{}; // of each step while it ran: it is then run once more
    std::atomic<int> mRunner{cNobody};       // who takes it away owns the step's end: its worker, or the watchdog
    std::atomic<int> mLastWords{0};          // parties of a runaway that were told to persist
    std::atomic<bool> mbHung{false};
    std::mutex mCommands; // one at a time: a resume must not overwrite a cancellation, nor a pause the end
    int mEnds = 0;
    int mFinalStatus = -1;
};

class Kernel
{
public:
    Kernel() : mEntries(cJobs)
    {
        for (std::size_t i = 0; i < cJobs; ++i)
        {
            mEntries[i].mpJob = JobPtr(QORJob::NewJob(static_cast<int>(i), RequestDocument, 5, nullptr, nullptr));
            for (const int step : {13, 18, 19, 14, 2})
                mEntries[i].mpJob->AddStep(new QORJobStep(step), nullptr);
            mQueue.push_back(&mEntries[i]);
        }
    }

    void Run()
    {
        RunOnThreads(cWorkers + 2, [&](int iThread) {
            std::mt19937 random(static_cast<unsigned>(iThread));
            while (mOpen != 0)
            {
                if (iThread < cWorkers)
                    Work(iThread);
                else if (iThread == cWorkers)
                    Command(mEntries[random() % cJobs], random() % 16 == 0);
                else
                    Watch(mEntries[random() % cJobs]);
            }
        });
    }

    void Check() const
    {
        for (const Entry& entry : mEntries)
        {
            const int id = entry.mpJob->GetId();
            EXPECT_EQ(entry.mEnds, 1) << id;
            EXPECT_EQ(entry.mRuns[StepCloseJob], 1 + entry.mPauses[StepCloseJob]) << id;
            EXPECT_TRUE(entry.mFinalStatus >= 3 && entry.mFinalStatus <= 5) << id;
            EXPECT_EQ(Read(*entry.mpJob.Get(), &QORJob::GetStatus), entry.mFinalStatus) << id;
            EXPECT_EQ(entry.mLastWords, entry.mbHung ? 1 : 0) << id;
            for (std::size_t step = 0; step < entry.mRuns.size(); ++step)
                EXPECT_LE(entry.mRuns[step], 1 + entry.mPauses[step]) << "step " << step << " of " << id;
        }
    }

private:
    void Work(int iWorker)
    {
        Entry* entry = nullptr;
        if (const std::lock_guard hold(mMutex); !mQueue.empty())
        {
            entry = mQueue.front();
            mQueue.pop_front();
        }
        if (entry == nullptr)
        {
            std::this_thread::yield();
            return;
        }
        QORJob& job = *entry->mpJob.Get();
        const int unit = 1 + iWorker;
        int step = -1;
        job.SetPUEnter(unit, nullptr, 0);
        job.SetPUStart(unit);
        job.SetRunning(true, nullptr);
        EXPECT_EQ(job.GetCurrentStepIdToRun(&step, nullptr), S_OK);
        if (step == StepNoMore)
        {
            End(*entry);
            return;
        }
        QORJobTask& task = mTasks[static_cast<std::size_t>(iWorker)];
        job.SetStepStart(step, unit, &task);
        ++entry->mRuns[static_cast<std::size_t>(step)];
        // Nobody takes reporting and closing from its worker: a report that stands behind a step which never ran would
        // be handed out again, a closing step never.
        const bool bWatched = step != StepCloseJob && step != StepSendingErrorMessage;
        entry->mRunner = bWatched ? iWorker : cNobody;
        std::this_thread::yield();
        if (bWatched && entry->mRunner.exchange(cNobody) == cNobody)
        {
            entry->mLastWords += job.NeedToPerisistMsgStatusForRunAway(RunAwayThread) ? 1 : 0;
            return; // the watchdog has put the job back
        }
        Finish(*entry, step, unit, task);
        PutBack(*entry);
    }

    /// A paused step stays queued and started; a cancellation before the job is resumed would leave it so for good.
    static void Finish(Entry& ioEntry, int iStepId, int iUnit, QORJobTask& iTask)
    {
        const std::lock_guard hold(ioEntry.mCommands);
        QORJob& job = *ioEntry.mpJob.Get();
        job.SetStepFinish(iStepId, iUnit, &iTask);
        job.SetPUExit(iUnit, nullptr);
        if (!job.IsStepPausing())
            return;
        ++ioEntry.mPauses[static_cast<std::size_t>(iStepId)];
        job.RenewCurrentStep();
        job.ResetStatusBeforeResumeExecution();
    }

    static void Command(Entry& ioEntry, bool ibCancel)
    {
        const std::lock_guard hold(ioEntry.mCommands);
        if (ibCancel)
            ioEntry.mpJob->Cancel();
        else if (ioEntry.mEnds == 0)
            ioEntry.mpJob->PauseCurrentStep();
    }

    void Watch(Entry& ioEntry)
    {
        const int runner = ioEntry.mRunner;
        if (runner == cNobody || ioEntry.mbHung)
            return;
        int expected = runner;
        if (!ioEntry.mRunner.compare_exchange_strong(expected, cNobody))
            return;
        QORJob& job = *ioEntry.mpJob.Get();
        ioEntry.mbHung = true;
        job.SetRunAwayStatus();
        EXPECT_EQ(job.StopRunningIfHang(0, 0, &mTasks[static_cast<std::size_t>(runner)]), S_OK);
        {
            const std::lock_guard hold(ioEntry.mCommands);
            int status = JobReady;
            job.GetStatus(&status);
            if (status != JobCancelled)
                job.SetStatus(JobStoppedWithError, nullptr);
        }
        PutBack(ioEntry);
    }

    void End(Entry& ioEntry)
    {
        const std::lock_guard hold(ioEntry.mCommands);
        QORJob& job = *ioEntry.mpJob.Get();
        job.GetStatus(&ioEntry.mFinalStatus);
        if (ioEntry.mFinalStatus < JobStoppedWithError || ioEntry.mFinalStatus > JobStopped)
        {
            ioEntry.mFinalStatus = JobCompleted;
            job.SetStatus(JobCompleted, nullptr);
        }
        ++ioEntry.mEnds;
        ioEntry.mLastWords += job.NeedToPerisistMsgStatusForRunAway(RunAwayCleanUp) ? 1 : 0;
        --mOpen;
    }

    void PutBack(Entry& ioEntry)
    {
        const std::lock_guard hold(mMutex);
        mQueue.push_back(&ioEntry);
    }

    std::vector<Entry> mEntries;
    std::mutex mMutex;
    std::deque<Entry*> mQueue;
    std::array<QORJobTask, cWorkers> mTasks{QORJobTask(nullptr), QORJobTask(nullptr), QORJobTask(nullptr)};
    std::atomic<int> mOpen{static_cast<int>(cJobs)};
};

} // namespace

TEST(LifeUnderFire, EndsEveryJobOnceWhateverIsCommandedMeanwhile)
{
    {
        Kernel kernel;
        kernel.Run();
        kernel.Check();
    }
    EXPECT_EQ(Builtin::PerfReadings::GetLiveInstances(cJobCategory), 0);
}
