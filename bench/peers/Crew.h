// Worker threads for one turn: they are there before it starts, and end after it.
#pragma once

#include <barrier>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

class Crew
{
public:
    using Work = std::function<void(int iWorker)>;

    /// Comes back when each worker has done `iPrepare`; Run makes them do `iWork`.
    Crew(int iWorkers, Work iPrepare, Work iWork)
        : mPrepare(std::move(iPrepare)), mWork(std::move(iWork)), mMeeting(iWorkers + 1)
    {
        for (int worker = 0; worker < iWorkers; ++worker)
            mThreads.emplace_back([this, worker] {
                mPrepare(worker);
                mMeeting.arrive_and_wait();
                mMeeting.arrive_and_wait();
                mWork(worker);
                mMeeting.arrive_and_wait();
            });
        mMeeting.arrive_and_wait();
    }

    /// Called once; comes back when all workers have done their work.
    void Run()
    {
        mMeeting.arrive_and_wait();
        mMeeting.arrive_and_wait();
    }

    ~Crew()
    {
        for (std::thread& thread : mThreads)
            thread.join();
    }

    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;

private:
    Work mPrepare;
    Work mWork;
    std::barrier<> mMeeting;
    std::vector<std::thread> mThreads;
};
