// A probe of whether a job's lock is taken.
#pragma once

#include "job/QORJob.h"
#include "tests/support/Threads.h"

#include <list>
#include <thread>

/// Asks from other threads, which end with the probe at the latest: the job has to outlive it, the hold on the lock
/// not.
class LockProbe
{
public:
    ~LockProbe()
    {
        for (std::thread& thread : mThreads)
            thread.join();
    }

    /// Whether another thread gets the lock within the limit.
    bool IsFree(QORJob& ioJob, std::chrono::milliseconds iLimit = std::chrono::seconds(10))
    {
        std::atomic<bool>& bDone = mDone.emplace_back(false);
        mThreads.emplace_back([&ioJob, &bDone] {
            ioJob.IsBatchJob();
            bDone = true;
        });
        return WaitFor([&] { return bDone.load(); }, iLimit);
    }

private:
    std::list<std::atomic<bool>> mDone;
    std::list<std::thread> mThreads;
};
