#include "platform/Mutex.h"
#include "platform/QPerfMon.h"
#include "platform/ThreadSafety.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/PerfReadings.h"
#include "platform/builtin/base/NeverDestroyed.h"
#include "platform/builtin/perf/Shards.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <new>
#include <unordered_set>

namespace
{

constexpr int cCategoryCount = 32;

bool IsKnownCategory(int iCategory) { return iCategory >= 0 && iCategory < cCategoryCount; }

struct alignas(Builtin::cLineBytes) CountShard
{
    std::atomic<std::int64_t> mCounts[cCategoryCount];
};

constinit CountShard gCountShards[Builtin::cShardCount]{};

void AddToCount(int iCategory, std::int64_t iDelta) noexcept
{
    if (IsKnownCategory(iCategory))
        gCountShards[Builtin::GetThreadShard()].mCounts[iCategory].fetch_add(iDelta, std::memory_order_relaxed);
}

struct LiveObjects
{
    QSynch::Mutex mMutex;
    std::unordered_set<const void*> mObjects QORJOB_GUARDED_BY(mMutex);
};

LiveObjects& GetLiveObjects(int iCategory)
{
    static Builtin::NeverDestroyed<std::array<LiveObjects, cCategoryCount>> objects;
    return objects.Get()[static_cast<std::size_t>(iCategory)];
}

class InstanceCount final : public QORObjectInstanceCount
{
public:
    void IncreaseObjectInstanceCount(int iCategory) noexcept override
    {
        Builtin::EventTrace::Note("QORObjectInstanceCount::IncreaseObjectInstanceCount", {iCategory});
        AddToCount(iCategory, 1);
    }

    void DecreaseObjectInstanceCount(int iCategory) noexcept override
    {
        Builtin::EventTrace::Note("QORObjectInstanceCount::DecreaseObjectInstanceCount", {iCategory});
        AddToCount(iCategory, -1);
    }

    void CreateObjectInstance(int iCategory, const void* iObject) noexcept override
    {
        Builtin::EventTrace::Note("QORObjectInstanceCount::CreateObjectInstance", {iCategory});
        if (!IsKnownCategory(iCategory) || iObject == nullptr)
            return;
        LiveObjects& live = GetLiveObjects(iCategory);
        const QSynch::MutexHold hold(live.mMutex);
        try
        {
            live.mObjects.insert(iObject);
        }
        catch (const std::bad_alloc&)
        {
            // Without memory the object is not listed.
        }
    }

    void DeleteObjectInstance(int iCategory, const void* iObject) noexcept override
    {
        Builtin::EventTrace::Note("QORObjectInstanceCount::DeleteObjectInstance", {iCategory});
        if (!IsKnownCategory(iCategory))
            return;
        LiveObjects& live = GetLiveObjects(iCategory);
        const QSynch::MutexHold hold(live.mMutex);
        live.mObjects.erase(iObject);
    }
};

constinit InstanceCount gInstanceCount;

} // namespace

QORObjectInstanceCount* QORObjectInstanceCount::GetObjectInstanceCount() noexcept { return &gInstanceCount; }

std::int64_t Builtin::PerfReadings::GetInstanceCount(int iCategory)
{
    std::int64_t sum = 0;
    if (IsKnownCategory(iCategory))
    {
        for (const CountShard& shard : gCountShards)
            sum += shard.mCounts[iCategory].load(std::memory_order_relaxed);
    }
    return sum;
}

std::int64_t Builtin::PerfReadings::GetLiveInstances(int iCategory)
{
    if (!IsKnownCategory(iCategory))
        return 0;
    LiveObjects& live = GetLiveObjects(iCategory);
    const QSynch::MutexHold hold(live.mMutex);
    return static_cast<std::int64_t>(live.mObjects.size());
}
