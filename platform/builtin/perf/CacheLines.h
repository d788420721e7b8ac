// What keeps threads off each other's cache lines: aligned blocks, and counters that are split into shards.
#pragma once

#include <cstddef>

namespace Builtin
{

/// Two lines: the processor fetches them in pairs.
inline constexpr std::size_t cLineBytes = 128;

/// A counter has this many shards; a thread writes one of them, a reading sums them all.
inline constexpr std::size_t cShardCount = 32;

/// The calling thread's shard. Threads take the shards in turn, so up to cShardCount threads have one for themselves.
std::size_t GetThreadShard() noexcept;

/// A block of the general heap at a multiple of `iAlignment` (a power of two). Null when there is no memory.
void* AllocateAligned(std::size_t iBytes, std::size_t iAlignment) noexcept;
void FreeAligned(void* iMemory) noexcept;

} // namespace Builtin
