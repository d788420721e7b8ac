#include "platform/LockOrder.h"
#include "platform/QBase.h"
#include "platform/ThreadSafety.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/Faults.h"
#include "platform/builtin/base/SystemLocks.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <thread>
#include <utility>

namespace QBase
{

namespace
{

constexpr std::size_t cMaxBytes = std::numeric_limits<std::size_t>::max() / 2;

constexpr std::size_t RoundUp(std::size_t iBytes) { return (iBytes + cHeapAlignment - 1) & ~(cHeapAlignment - 1); }

/// The head of a piece of memory, which is behind it. Any thread may take from it.
class alignas(cHeapAlignment) Chunk
{
public:
    explicit Chunk(std::size_t iBytes) : mpEnd(GetMemory() + iBytes), mpCursor(GetMemory()) {}

    static Chunk* Make(std::size_t iBytes) noexcept
    {
        void* const block = HeapAllocate(sizeof(Chunk) + iBytes);
        return block == nullptr ? nullptr : ::new (block) Chunk(iBytes);
    }

    std::size_t GetBytes() { return static_cast<std::size_t>(mpEnd - GetMemory()); }
    std::size_t GetFreeBytes() const
    {
        return static_cast<std::size_t>(mpEnd - mpCursor.load(std::memory_order_relaxed));
    }

    /// `iBytes` is at least 1, so that a full chunk gives nothing.
    void* Take(std::size_t iBytes, std::size_t iAlignment)
    {
        std::byte* cursor = mpCursor.load(std::memory_order_relaxed);
        for (;;)
        {
            const std::size_t padding = (0 - reinterpret_cast<std::uintptr_t>(cursor)) & (iAlignment - 1);
            const auto bytes = static_cast<std::size_t>(mpEnd - cursor);
            if (iBytes > bytes || padding > bytes - iBytes)
                return nullptr;
            // This alone decides which thread gets the piece, and orders nothing else: relaxed is enough.
            if (mpCursor.compare_exchange_weak(cursor, cursor + padding + iBytes, std::memory_order_relaxed))
                return cursor + padding;
        }
    }

    void Rewind() { mpCursor.store(GetMemory(), std::memory_order_relaxed); }

    Chunk* mpNext = nullptr;

private:
    std::byte* GetMemory() { return reinterpret_cast<std::byte*>(this + 1); }

    std::byte* const mpEnd;
    std::atomic<std::byte*> mpCursor;
};

/// Lets one thread at a time add a chunk. One byte and no mutex: there are many arenas, and threads seldom meet here.
class QORJOB_CAPABILITY("growth guard") GrowthGuard
{
public:
    void Enter() QORJOB_ACQUIRE()
    {
        while (mFlag.test_and_set(std::memory_order_acquire) && !Builtin::IsProcessEnding())
            std::this_thread::yield();
    }
    void Leave() QORJOB_RELEASE() { mFlag.clear(std::memory_order_release); }

private:
    std::atomic_flag mFlag;
};

class QORJOB_SCOPED_CAPABILITY GrowthHold
{
public:
    explicit GrowthHold(GrowthGuard& iGuard) QORJOB_ACQUIRE(iGuard)
        : mNote(&iGuard, QSynch::LockLevelSystem), mGuard(iGuard)
    {
        mGuard.Enter();
    }
    ~GrowthHold() QORJOB_RELEASE() { mGuard.Leave(); }

    GrowthHold(const GrowthHold&) = delete;
    GrowthHold& operator=(const GrowthHold&) = delete;

private:
    QSynch::LockNote mNote;
    GrowthGuard& mGuard;
};

/// The arena is at the start of its first block, and the reserve behind it in the same block.
class alignas(cHeapAlignment) Arena final : public Buffer
{
public:
    Arena(std::size_t iReserveBytes, unsigned iGrowth, std::size_t iChunkBytes, bool ibReusable, bool ibOnHeap)
        : mFirstChunkBytes(iChunkBytes), mNextChunkBytes(iChunkBytes), mGrowth(iGrowth), mbReusable(ibReusable),
          mbOnHeap(ibOnHeap), mReserve(iReserveBytes)
    {
    }

    void* TryAllocate(std::size_t iBytes, std::size_t iAlignment) noexcept override
    {
        if (Builtin::Faults::IsDue(Builtin::Faults::EnumFault::Allocation)) [[unlikely]]
            return nullptr;
        const std::size_t bytes = iBytes == 0 ? 1 : iBytes;
        void* const memory = mpInUse.load(std::memory_order_acquire)->Take(bytes, iAlignment);
        return memory != nullptr ? memory : TakeFromFurtherChunk(bytes, iAlignment);
    }

    void Register() noexcept override
    {
        Builtin::EventTrace::Note("QBase::Buffer::Register");
        mRegistrations.fetch_add(1, std::memory_order_relaxed);
    }

    void Destroy() noexcept override
    {
        Builtin::EventTrace::Note("QBase::Buffer::Destroy");
        unsigned registrations = mRegistrations.load(std::memory_order_acquire);
        while (registrations > 1)
        {
            // acq_rel: what this user did happens before the memory is freed.
            if (mRegistrations.compare_exchange_weak(registrations, registrations - 1, std::memory_order_acq_rel))
                return;
        }
        mRegistrations.store(0, std::memory_order_relaxed);
        if (mbReusable)
            Rewind();
        else
            FreeAll();
    }

    void Free() noexcept override
    {
        Builtin::EventTrace::Note("QBase::Buffer::Free");
        FreeAll();
    }

private:
    ~Arena() override = default;

    void* do_allocate(std::size_t iBytes, std::size_t iAlignment) override
    {
        void* const memory = TryAllocate(iBytes, iAlignment);
        if (memory == nullptr) [[unlikely]]
            throw std::bad_alloc();
        return memory;
    }

    void do_deallocate(void*, std::size_t, std::size_t) override {}
    bool do_is_equal(const std::pmr::memory_resource& iOther) const noexcept override { return this == &iOther; }

    void* TakeFromFurtherChunk(std::size_t iBytes, std::size_t iAlignment) noexcept;
    void Rewind() noexcept;
    void FreeChunks() noexcept QORJOB_REQUIRES(mGrowing);
    void FreeAll() noexcept;

    std::atomic<Chunk*> mpInUse{&mReserve};
    const std::size_t mFirstChunkBytes;
    std::size_t mNextChunkBytes QORJOB_GUARDED_BY(mGrowing);
    const unsigned mGrowth;
    std::atomic<unsigned> mRegistrations{0};
    Chunk* mpFurther QORJOB_GUARDED_BY(mGrowing) = nullptr; ///< taken in this use
    Chunk* mpKept QORJOB_GUARDED_BY(mGrowing) = nullptr;    ///< kept from the uses before
    bool mbKeptInUse QORJOB_GUARDED_BY(mGrowing) = false;
    const bool mbReusable;
    const bool mbOnHeap;
    GrowthGuard mGrowing;
    Chunk mReserve; // the last member: its memory is behind the arena
};

void* Arena::TakeFromFurtherChunk(std::size_t iBytes, std::size_t iAlignment) noexcept
{
    const GrowthHold hold(mGrowing);
    Chunk* const inUse = mpInUse.load(std::memory_order_relaxed);
    // Another thread may have added a chunk since.
    if (void* const memory = inUse->Take(iBytes, iAlignment))
        return memory;
    if (mpKept != nullptr && !mbKeptInUse)
    {
        if (void* const memory = mpKept->Take(iBytes, iAlignment))
        {
            mbKeptInUse = true;
            mpInUse.store(mpKept, std::memory_order_release);
            return memory;
        }
    }

    const std::size_t extra = iAlignment > cHeapAlignment ? iAlignment - cHeapAlignment : 0;
    if (iBytes > cMaxBytes || extra > cMaxBytes / 2)
        return nullptr;
    const std::size_t needed = iBytes + extra;
    const bool bFits = needed <= mNextChunkBytes;
    Chunk* const chunk = Chunk::Make(RoundUp(bFits ? mNextChunkBytes : needed));
    if (chunk == nullptr)
        return nullptr;
    chunk->mpNext = mpFurther;
    mpFurther = chunk;
    if (bFits && mGrowth > 1 && mNextChunkBytes <= cMaxBytes / mGrowth)
        mNextChunkBytes *= mGrowth;

    void* const memory = chunk->Take(iBytes, iAlignment);
    // A large request gets a chunk of its own, and small ones go on with the chunk in use.
    if (chunk->GetFreeBytes() > inUse->GetFreeBytes())
        mpInUse.store(chunk, std::memory_order_release);
    return memory;
}

void Arena::Rewind() noexcept
{
    const GrowthHold hold(mGrowing);
    if (mpFurther != nullptr && mReserve.GetBytes() == 0 && mpKept == nullptr && mpFurther->mpNext == nullptr)
    {
        mpKept = std::exchange(mpFurther, nullptr);
    }
    else if (mpFurther != nullptr)
    {
        // One chunk of the size of all that this use has taken: enough for the next use of that size, however it is
        // cut.
        std::size_t bytes = mReserve.GetBytes() + (mpKept == nullptr ? 0 : mpKept->GetBytes());
        for (Chunk* chunk = mpFurther; chunk != nullptr; chunk = chunk->mpNext)
            bytes += chunk->GetBytes();
        FreeChunks();
        mpKept = Chunk::Make(RoundUp(bytes));
    }
    if (mpKept != nullptr)
        mpKept->Rewind();
    mReserve.Rewind();
    mbKeptInUse = false;
    mNextChunkBytes = mFirstChunkBytes;
    mpInUse.store(&mReserve, std::memory_order_relaxed);
}

void Arena::FreeChunks() noexcept
{
    HeapFree(std::exchange(mpKept, nullptr));
    while (mpFurther != nullptr)
        HeapFree(std::exchange(mpFurther, mpFurther->mpNext));
}

/// Without the guard: nobody uses the arena any more.
void Arena::FreeAll() noexcept QORJOB_NO_THREAD_SAFETY_ANALYSIS
{
    FreeChunks();
    const bool bOnHeap = mbOnHeap;
    this->~Arena();
    if (bOnHeap)
        HeapFree(this);
}

} // namespace

Buffer* CreateBuffer(std::size_t iReserveBytes, unsigned iGrowth, std::size_t iChunkBytes, bool ibReusable,
                     void* iPlace) noexcept
{
    static_assert(sizeof(Arena) <= cBufferBytes);
    Builtin::EventTrace::Note("QBase::CreateBuffer", {static_cast<std::int64_t>(iReserveBytes), iGrowth,
                                                      static_cast<std::int64_t>(iChunkBytes), ibReusable});
    if (iReserveBytes > cMaxBytes || iChunkBytes > cMaxBytes)
        return nullptr;
    void* const block = iPlace != nullptr ? iPlace : HeapAllocate(sizeof(Arena) + iReserveBytes);
    if (block == nullptr)
        return nullptr;
    return ::new (block) Arena(iReserveBytes, iGrowth, iChunkBytes, ibReusable, iPlace == nullptr);
}

} // namespace QBase
