// A turn of a library that schedules by itself: which chains are still to be made, and when the last one has ended.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>

/// Opened once, for all who wait.
class Gate
{
public:
    void Open()
    {
        const std::lock_guard lock(mMutex);
        mbOpen = true;
        mOpened.notify_all(); // under the lock: who has waited may delete the gate
    }

    void Wait()
    {
        std::unique_lock lock(mMutex);
        mOpened.wait(lock, [this] { return mbOpen; });
    }

private:
    std::mutex mMutex;
    std::condition_variable mOpened;
    bool mbOpen = false;
};

class Turn
{
public:
    explicit Turn(int iWorkers) : mMissing(iWorkers) {}

    /// Run as many times as there are workers, before the turn: it keeps each until all of them are there.
    void Meet()
    {
        if (--mMissing == 0)
            mReady.Open();
        mReady.Wait();
    }

    void WaitForWorkers() { mReady.Wait(); }

    void Start(int iCount)
    {
        mToMake = iCount;
        mToEnd = iCount;
    }

    bool MayMake() { return mToMake-- > 0; }

    /// The last thing that a chain does.
    void End()
    {
        if (--mToEnd == 0)
            mEnded.Open();
    }

    void WaitForEnd() { mEnded.Wait(); }

private:
    std::atomic<int> mMissing;
    std::atomic<int> mToMake{0};
    std::atomic<int> mToEnd{0};
    Gate mReady;
    Gate mEnded;
};
