// A group of worker threads with a queue of its own.
#pragma once

#include "JobRecord.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <queue>
#include <string>
#include <thread>
#include <vector>

std::string ToText(EnumUnit iUnit);

/// Threads: any.
/// Owns:    its threads; not the records.
class ProcessingUnit
{
public:
    /// What a worker does with a job that it has taken; the worker's number counts from 0. Must not throw.
    using Work = std::function<void(JobRecord& ioRecord, std::size_t iWorker)>;

    ProcessingUnit() = default;
    ~ProcessingUnit();
    ProcessingUnit(const ProcessingUnit&) = delete;
    ProcessingUnit& operator=(const ProcessingUnit&) = delete;

    void Start(std::size_t iThreads, const Work& iWork);

    /// Waits for the workers, which first empty the queue. Units that hand records to each other are all stopped before
    /// the first of them is destroyed.
    void Stop();

    /// From here on the record belongs to the unit.
    void Put(JobRecord& ioRecord, int iPriority);

private:
    struct Entry
    {
        int mPriority;
        std::uint64_t mNumber; // first come, first served among equals
        JobRecord* mpRecord;

        bool operator<(const Entry& iOther) const
        {
            return mPriority != iOther.mPriority ? mPriority < iOther.mPriority : mNumber > iOther.mNumber;
        }
    };

    JobRecord* Take();

    std::mutex mMutex; // guards what follows but the threads
    std::condition_variable mChanged;
    std::priority_queue<Entry> mQueue;
    std::uint64_t mLastNumber = 0;
    bool mbClosed = false;
    std::vector<std::thread> mThreads;
};
