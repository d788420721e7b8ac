#include "platform/QPerfMon.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/perf/PerfData.h"

namespace Builtin
{

namespace
{

void AddToCount(int iCategory, std::int64_t iDelta) noexcept
{
    const std::size_t shard = GetThreadShard();
    if (IsKnownCategory(iCategory))
        AddTo(gInstanceShards[shard].mCounts[iCategory], iDelta, shard);
}

AddressSet& GetSet(int iCategory, const void* iObject)
{
    return gLiveObjects[iCategory][Mix(iObject) >> (64 - cSetBits)];
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
        if (IsKnownCategory(iCategory) && iObject != nullptr)
            GetSet(iCategory, iObject).Insert(iObject);
    }

    void DeleteObjectInstance(int iCategory, const void* iObject) noexcept override
    {
        EventTrace::Note("QORObjectInstanceCount::DeleteObjectInstance", {iCategory});
        if (IsKnownCategory(iCategory))
            GetSet(iCategory, iObject).Erase(iObject);
    }
};

constinit InstanceCount gInstanceCount;

} // namespace

} // namespace Builtin

QORObjectInstanceCount* QORObjectInstanceCount::GetObjectInstanceCount() noexcept { return &Builtin::gInstanceCount; }
