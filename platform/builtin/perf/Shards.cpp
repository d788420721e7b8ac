#include "platform/builtin/perf/Shards.h"

#include "platform/builtin/base/ThreadLocal.h"

#include <atomic>
#include <cstdint>

namespace Builtin
{

namespace
{

constinit std::atomic<std::uint64_t> gThreadsSeen{0};
QORJOB_NEAR_THREAD_LOCAL std::size_t tShard = cShardCount; // out of range: not taken yet

} // namespace

std::size_t GetThreadShard() noexcept
{
    if (tShard == cShardCount) [[unlikely]]
    {
        const std::uint64_t seen = gThreadsSeen.fetch_add(1, std::memory_order_relaxed);
        tShard = static_cast<std::size_t>(seen < cOwnShards ? seen : cOwnShards + seen % cSharedShards);
    }
    return tShard;
}

} // namespace Builtin
