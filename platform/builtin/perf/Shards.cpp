#include "platform/builtin/perf/Shards.h"

#include "platform/builtin/base/ThreadLocal.h"

#include <atomic>

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

} // namespace Builtin
