// Fault injection and the count of allocated blocks, for tests.
#pragma once

#include "platform/Export.h"

#include <atomic>
#include <cstdint>

namespace Builtin::Faults
{

enum class EnumFault
{
    Allocation, ///< of the general heap and of arenas
    LockCreation,
    RouterCreation,
    LibraryStart, ///< by an initialiser of the log, the performance monitor or the thread library
};

/// Makes the n-th call from now (1 is the next one) fail, once. 0 cancels the fault.
QORJOB_API void FailNth(EnumFault iFault, std::int64_t iNth) noexcept;

/// Makes the n-th call from now fail and all that follow. 0 cancels the fault.
QORJOB_API void FailFromNth(EnumFault iFault, std::int64_t iNth) noexcept;

/// The number of the call that fails, counted from now: 0 when none is to fail (any more), negative while all do.
QORJOB_API std::int64_t GetCallsToFault(EnumFault iFault) noexcept;

/// Between the two calls: the number of blocks of the general heap that were allocated and not freed. Call both while
/// no other thread uses the heap.
QORJOB_API void StartCountingBlocks() noexcept;
QORJOB_API std::int64_t StopCountingBlocks() noexcept;

namespace Detail
{
// Bit n: the fault of that number is set; the next bit: blocks are counted. In a server it is 0, and calls read nothing
// else.
extern std::atomic<unsigned> gArmed;
[[gnu::cold, gnu::noinline]] bool TakeTurn(EnumFault iFault) noexcept;
} // namespace Detail

/// The platform's side: true when this call is the one to fail.
inline bool IsDue(EnumFault iFault) noexcept
{
    return Detail::gArmed.load(std::memory_order_relaxed) != 0 && Detail::TakeTurn(iFault);
}

/// The platform's side: a block was allocated; a block is about to be freed. Kept out of their callers, which mostly
/// don't come here.
[[gnu::cold, gnu::noinline]] void NoteBlockTaken(const void* iBlock) noexcept;
[[gnu::cold, gnu::noinline]] void NoteBlockGoing(const void* iBlock) noexcept;

} // namespace Builtin::Faults
