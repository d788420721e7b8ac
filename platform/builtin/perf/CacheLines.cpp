#include "platform/builtin/perf/CacheLines.h"

#include "platform/QBase.h"
#include "platform/builtin/base/ThreadLocal.h"

#include <atomic>
#include <cstdint>
#include <limits>

namespace Builtin
{

namespace
{
constinit std::atomic<unsigned> gThreadsSeen{0};
QORJOB_NEAR_THREAD_LOCAL std::size_t tShard = cShardCount; // out of range: not taken yet
} // namespace

std::size_t GetThreadShard() noexcept
{
    if (tShard == cShardCount) [[unlikely]]
        tShard = gThreadsSeen.fetch_add(1, std::memory_order_relaxed) % cShardCount;
    return tShard;
}

void* AllocateAligned(std::size_t iBytes, std::size_t iAlignment) noexcept
{
    // The block's own address stands right before the aligned part.
    const std::size_t extra = iAlignment + sizeof(void*);
    if (iBytes > std::numeric_limits<std::size_t>::max() - extra)
        return nullptr;
    void* const block = QBase::HeapAllocate(iBytes + extra);
    if (block == nullptr)
        return nullptr;
    const auto first = reinterpret_cast<std::uintptr_t>(block) + sizeof(void*);
    auto* const aligned = reinterpret_cast<void**>((first + iAlignment - 1) & ~std::uintptr_t{iAlignment - 1});
    aligned[-1] = block;
    return aligned;
}

void FreeAligned(void* iMemory) noexcept
{
    if (iMemory != nullptr)
        QBase::HeapFree(static_cast<void**>(iMemory)[-1]);
}

} // namespace Builtin
