// The shards of counters, in which threads that count at once write to different cache lines.
#pragma once

#include <cstddef>

namespace Builtin
{

/// Two cache lines: the processor fetches them in pairs.
inline constexpr std::size_t cLineBytes = 128;

/// A counter has this many shards; a thread writes one of them, a reading sums them all.
inline constexpr std::size_t cShardCount = 32;

/// The calling thread's shard. Threads take the shards in turn, so up to cShardCount threads have one for themselves.
std::size_t GetThreadShard() noexcept;

} // namespace Builtin
