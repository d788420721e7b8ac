#include "platform/builtin/Faults.h"

#include "platform/Mutex.h"
#include "platform/ThreadSafety.h"
#include "platform/builtin/base/NeverDestroyed.h"

#include <cstddef>
#include <cstdlib>
#include <functional>
#include <new>
#include <unordered_set>

namespace Builtin::Faults
{

namespace
{

constexpr std::size_t cFaultCount = 4;
constexpr unsigned cCountingBit = 1u << cFaultCount;

// Calls left until the one that fails; 0: none fails; cAllFail.
constinit std::atomic<std::int64_t> gCallsLeft[cFaultCount]{};
constinit std::atomic<bool> gLasting[cFaultCount]{};
constexpr std::int64_t cAllFail = -1;

constexpr unsigned BitOf(EnumFault iFault) { return 1u << static_cast<unsigned>(iFault); }

// Of malloc: a program whose operator new fails on purpose still counts its blocks.
template <class T>
struct PlainAllocator
{
    using value_type = T;

    PlainAllocator() = default;
    template <class U>
    PlainAllocator(const PlainAllocator<U>&) noexcept
    {
    }

    // NOLINTBEGIN(readability-identifier-naming): the names that std::allocator_traits asks for
    T* allocate(std::size_t iCount)
    {
        void* const memory = std::malloc(iCount * sizeof(T)); // NOLINT(bugprone-sizeof-expression): of pointers, too
        if (memory == nullptr)
            throw std::bad_alloc();
        return static_cast<T*>(memory);
    }
    void deallocate(T* iMemory, std::size_t) noexcept { std::free(iMemory); }
    // NOLINTEND(readability-identifier-naming)

    friend bool operator==(const PlainAllocator&, const PlainAllocator&) noexcept { return true; }
};

using Addresses =
    std::unordered_set<const void*, std::hash<const void*>, std::equal_to<const void*>, PlainAllocator<const void*>>;

// The blocks and not only their number: freeing a block from before the count would hide a leak. Those of which a fault
// alone takes note are cleared before the next count.
struct Blocks
{
    QSynch::Mutex<QSynch::LockLevelDiagnostics> mMutex;
    Addresses mTaken QORJOB_GUARDED_BY(mMutex);
};

Blocks& GetBlocks()
{
    static Builtin::NeverDestroyed<Blocks> blocks;
    return blocks.Get();
}

void Set(EnumFault iFault, std::int64_t iNth, bool ibLasting) noexcept
{
    gLasting[static_cast<std::size_t>(iFault)].store(ibLasting);
    gCallsLeft[static_cast<std::size_t>(iFault)].store(iNth);
    if (iNth > 0)
        Detail::gArmed.fetch_or(BitOf(iFault));
    else
        Detail::gArmed.fetch_and(~BitOf(iFault));
}

} // namespace

namespace Detail
{

constinit std::atomic<unsigned> gArmed{0};

bool TakeTurn(EnumFault iFault) noexcept
{
    std::atomic<std::int64_t>& callsLeft = gCallsLeft[static_cast<std::size_t>(iFault)];
    const bool bLasts = gLasting[static_cast<std::size_t>(iFault)].load();
    std::int64_t left = callsLeft.load();
    while (left > 0 && !callsLeft.compare_exchange_weak(left, left == 1 && bLasts ? cAllFail : left - 1))
    {
    }
    if (left == 1 && !bLasts)
        gArmed.fetch_and(~BitOf(iFault));
    return left == 1 || left == cAllFail;
}

} // namespace Detail

void FailNth(EnumFault iFault, std::int64_t iNth) noexcept { Set(iFault, iNth, false); }

void FailFromNth(EnumFault iFault, std::int64_t iNth) noexcept { Set(iFault, iNth, true); }

std::int64_t GetCallsToFault(EnumFault iFault) noexcept { return gCallsLeft[static_cast<std::size_t>(iFault)].load(); }

void StartCountingBlocks() noexcept
{
    Blocks& blocks = GetBlocks();
    const QSynch::MutexHold hold(blocks.mMutex);
    blocks.mTaken.clear();
    Detail::gArmed.fetch_or(cCountingBit);
}

std::int64_t StopCountingBlocks() noexcept
{
    Blocks& blocks = GetBlocks();
    const QSynch::MutexHold hold(blocks.mMutex);
    Detail::gArmed.fetch_and(~cCountingBit);
    return static_cast<std::int64_t>(blocks.mTaken.size());
}

void NoteBlockTaken(const void* iBlock) noexcept
{
    Blocks& blocks = GetBlocks();
    const QSynch::MutexHold hold(blocks.mMutex);
    blocks.mTaken.insert(iBlock);
}

void NoteBlockGoing(const void* iBlock) noexcept
{
    Blocks& blocks = GetBlocks();
    const QSynch::MutexHold hold(blocks.mMutex);
    blocks.mTaken.erase(iBlock);
}

} // namespace Builtin::Faults
