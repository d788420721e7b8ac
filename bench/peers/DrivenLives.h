// The ways in which a kernel may drive lives: without a queue, or through one that all workers take from.
#pragma once

#include "Crew.h"
#include "Workloads.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

// The workers make the first lives, too: what they end is then memory of their own, as later.

/// Each worker has its share of the lives for itself, and takes one from its beginning to its end.
template <class Life>
class LivesWithoutQueue final : public Workload
{
public:
    LivesWithoutQueue(int iWorkers, int iInFlight)
        : mAlive(static_cast<std::size_t>(iInFlight / iWorkers)), mShares(static_cast<std::size_t>(iWorkers)),
          mCrew(
              iWorkers, [this](int iWorker) { GetShare(iWorker) = std::make_unique<Share>(mAlive); },
              [this](int iWorker) { GetShare(iWorker)->Run(mCountPerWorker); })
    {
    }

    void Run(int iCount) override
    {
        mCountPerWorker = iCount / static_cast<int>(mShares.size());
        mCrew.Run();
    }

private:
    using Share = Lives<Life>;

    std::unique_ptr<Share>& GetShare(int iWorker) { return mShares[static_cast<std::size_t>(iWorker)]; }

    std::size_t mAlive;
    std::vector<std::unique_ptr<Share>> mShares;
    int mCountPerWorker = 0;
    Crew mCrew; // last: its threads use the others
};

/// How much of a life is run before the worker takes another one from the queue.
enum class EnumTake
{
    WholeLife,
    Step
};

/// All lives stand in one queue. One that is over makes room for a new one at the queue's end.
template <class Life, EnumTake cTake>
class LivesInQueue final : public Workload
{
public:
    LivesInQueue(int iWorkers, int iInFlight)
        : mCrew(
              iWorkers, [this, share = iInFlight / iWorkers](int) { Fill(share); }, [this](int) { Work(); })
    {
    }

    ~LivesInQueue() override
    {
        for (Life& life : mQueue)
            life.End();
    }

    void Run(int iCount) override
    {
        mLeft = iCount;
        mCrew.Run();
    }

private:
    void Fill(int iCount)
    {
        for (int i = 0; i < iCount; ++i)
        {
            Life life;
            life.Begin();
            Put(std::move(life));
        }
    }

    void Work()
    {
        while (mLeft > 0)
        {
            Life life = Take();
            if (!RunSome(life))
            {
                life.End();
                --mLeft;
                life.Begin();
            }
            Put(std::move(life));
        }
    }

    static bool RunSome(Life& ioLife)
    {
        bool bMore = ioLife.RunStep();
        if constexpr (cTake == EnumTake::WholeLife)
            while (bMore)
                bMore = ioLife.RunStep();
        return bMore;
    }

    Life Take()
    {
        std::unique_lock lock(mMutex);
        mFilled.wait(lock, [this] { return !mQueue.empty(); });
        Life life = std::move(mQueue.front());
        mQueue.pop_front();
        return life;
    }

    void Put(Life iLife)
    {
        {
            const std::lock_guard lock(mMutex);
            mQueue.push_back(std::move(iLife));
        }
        mFilled.notify_one();
    }

    std::mutex mMutex;
    std::condition_variable mFilled;
    std::deque<Life> mQueue;
    std::atomic<int> mLeft{0};
    Crew mCrew; // last: its threads use the others
};
