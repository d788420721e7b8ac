#include "platform/Mutex.h"
#include "platform/QPerfMon.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/perf/PerfData.h"

#include <new>

namespace Builtin
{

namespace
{

void AddToCount(int iCategory, std::int64_t iDelta) noexcept
{
    if (IsKnownCategory(iCategory))
        gInstanceShards[GetThreadShard()].mCounts[iCategory].fetch_add(iDelta, std::memory_order_relaxed);
}

class InstanceCount final : public QORObjectInstanceCount
{
public:
    void IncreaseObjectInstanceCount(int iCategory) noexcept override
    {
        EventTrace::Note("QORObjectInstanceCount::IncreaseObjectInstanceCount", {iCategory});
        AddToCount(iCategory, 1);
    }

    void DecreaseObjectInstanceCount(int iCategory) noexcept override
    {
        EventTrace::Note("QORObjectInstanceCount::DecreaseObjectInstanceCount", {iCategory});
        AddToCount(iCategory, -1);
    }

    void CreateObjectInstance(int iCategory, const void* iObject) noexcept override
    {
        EventTrace::Note("QORObjectInstanceCount::CreateObjectInstance", {iCategory});
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
        EventTrace::Note("QORObjectInstanceCount::DeleteObjectInstance", {iCategory});
        if (!IsKnownCategory(iCategory))
            return;
        LiveObjects& live = GetLiveObjects(iCategory);
        const QSynch::MutexHold hold(live.mMutex);
        live.mObjects.erase(iObject);
    }
};

constinit InstanceCount gInstanceCount;

} // namespace

} // namespace Builtin

QORObjectInstanceCount* QORObjectInstanceCount::GetObjectInstanceCount() noexcept { return &Builtin::gInstanceCount; }
