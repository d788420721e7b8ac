#include "ProcessingUnit.h"

std::string ToText(EnumUnit iUnit)
{
    switch (iUnit)
    {
    case EnumUnit::SqlGeneration:
        return "SQL generation";
    case EnumUnit::QueryExecution:
        return "query execution";
    case EnumUnit::Analytics:
        return "analytics";
    case EnumUnit::Delivery:
        return "delivery";
    }
    return "unit " + std::to_string(static_cast<int>(iUnit));
}

ProcessingUnit::~ProcessingUnit() { Stop(); }

void ProcessingUnit::Stop()
{
    {
        const std::lock_guard hold(mMutex);
        mbClosed = true;
    }
    mChanged.notify_all();
    for (std::thread& thread : mThreads)
        thread.join();
    mThreads.clear();
}

void ProcessingUnit::Start(std::size_t iThreads, const Work& iWork)
{
    mThreads.reserve(iThreads);
    for (std::size_t worker = 0; worker < iThreads; ++worker)
        mThreads.emplace_back([this, iWork, worker] {
            while (JobRecord* record = Take())
                iWork(*record, worker);
        });
}

void ProcessingUnit::Put(JobRecord& ioRecord, int iPriority)
{
    {
        const std::lock_guard hold(mMutex);
        mQueue.push({iPriority, ++mLastNumber, &ioRecord});
    }
    mChanged.notify_one();
}

/// Waits for a job; null when the unit is closed and its queue empty.
JobRecord* ProcessingUnit::Take()
{
    std::unique_lock hold(mMutex);
    mChanged.wait(hold, [this] { return mbClosed || !mQueue.empty(); });
    if (mQueue.empty())
        return nullptr;
    JobRecord* record = mQueue.top().mpRecord;
    mQueue.pop();
    return record;
}
