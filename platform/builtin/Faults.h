// Failures on purpose, and what is allocated: for tests of what happens when the ground gives way.
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

/// Lets the n-th call from now (1 is the next one) fail, once. 0 takes the fault back.
QORJOB_API void FailNth(EnumFault iFault, std::int64_t iNth) noexcept;

/// Counts the blocks of the general heap that are taken and not given back from this call on. Call both while no other
/// thread uses the heap.
QORJOB_API void StartCountingBlocks() noexcept;
QORJOB_API std::int64_t StopCountingBlocks() noexcept;

namespace Detail
{
// Bit n: the fault of that number is set; the next bit: blocks are counted. 0 in a server, and all that its calls read.
extern std::atomic<unsigned> gArmed;
bool TakeTurn(EnumFault iFault) noexcept;
} // namespace Detail

/// Platform's side: true when this call is the one to fail.
inline bool IsDue(EnumFault iFault) noexcept
{
    return Detail::gArmed.load(std::memory_order_relaxed) != 0 && Detail::TakeTurn(iFault);
}

/// Platform's side: what the heap took, and what it is about to give back.
void NoteBlockTaken(const void* iBlock) noexcept;
void NoteBlockGoing(const void* iBlock) noexcept;

} // namespace Builtin::Faults
