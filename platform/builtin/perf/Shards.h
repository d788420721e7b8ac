// The shards of counters, in which threads that count at once write to different cache lines.
#pragma once

#include <atomic>
#include <cstddef>

namespace Builtin
{

/// Two cache lines: the processor fetches them in pairs.
inline constexpr std::size_t cLineBytes = 128;

/// The first shards belong to one thread each, which adds without an atomic operation; threads that come later share
/// the rest. A reading sums all of them.
inline constexpr std::size_t cOwnShards = 32;
inline constexpr std::size_t cSharedShards = 32;
inline constexpr std::size_t cShardCount = cOwnShards + cSharedShards;

/// The calling thread's shard.
std::size_t GetThreadShard() noexcept;

/// Adds to a number in the calling thread's shard, which is `iShard`.
template <class Number>
void AddTo(std::atomic<Number>& ioNumber, Number iDelta, std::size_t iShard) noexcept
{
    if (iShard < cOwnShards)
        ioNumber.store(ioNumber.load(std::memory_order_relaxed) + iDelta, std::memory_order_relaxed);
    else
        ioNumber.fetch_add(iDelta, std::memory_order_relaxed);
}

} // namespace Builtin
