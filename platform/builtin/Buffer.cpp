#include "platform/QBase.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/Faults.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>

namespace QBase
{

namespace
{

constexpr std::size_t cMaxAlign = alignof(std::max_align_t);
constexpr std::size_t cMaxBytes = std::numeric_limits<std::size_t>::max() / 2;

constexpr std::size_t RoundUp(std::size_t iBytes) { return (iBytes + cMaxAlign - 1) & ~(cMaxAlign - 1); }

/// A block of the heap: this head, then the memory that is handed out.
struct alignas(std::max_align_t) Chunk
{
    Chunk* mpNext;
    std::size_t mBytes;

    std::byte* GetMemory() { return reinterpret_cast<std::byte*>(this + 1); }

    static Chunk* Make(std::size_t iBytes) noexcept
    {
        void* const block = HeapAllocate(sizeof(Chunk) + iBytes);
        return block == nullptr ? nullptr : ::new (block) Chunk{nullptr, iBytes};
    }
};

/// The memory that is still free in one chunk, as a range.
struct Room
{
    std::byte* mpCursor = nullptr;
    std::byte* mpEnd = nullptr;

    std::size_t GetBytes() const { return static_cast<std::size_t>(mpEnd - mpCursor); }

    /// `iBytes` is at least 1, so that an empty range gives nothing.
    void* Take(std::size_t iBytes, std::size_t iAlignment)
    {
        const std::size_t padding = (0 - reinterpret_cast<std::uintptr_t>(mpCursor)) & (iAlignment - 1);
        const std::size_t bytes = GetBytes();
        if (iBytes > bytes || padding > bytes - iBytes)
            return nullptr;
        std::byte* const memory = mpCursor + padding;
        mpCursor = memory + iBytes;
        return memory;
    }
};

/// The arena stands at the start of its first block, and the reserve in the same block behind it.
class alignas(std::max_align_t) Arena final : public Buffer
{
public:
    Arena(std::size_t iReserveBytes, unsigned iGrowth, std::size_t iChunkBytes, bool ibReusable)
        : mReserveBytes(iReserveBytes), mFirstChunkBytes(iChunkBytes), mNextChunkBytes(iChunkBytes), mGrowth(iGrowth),
          mbReusable(ibReusable)
    {
        mRoom = GetReserve();
    }

    void* TryAllocate(std::size_t iBytes, std::size_t iAlignment) noexcept override
    {
        if (Faults::IsDue(Faults::EnumFault::Allocation)) [[unlikely]]
            return nullptr;
        const std::size_t bytes = iBytes == 0 ? 1 : iBytes;
        void* const memory = mRoom.Take(bytes, iAlignment);
        return memory != nullptr ? memory : TakeFromFurtherChunk(bytes, iAlignment);
    }

    void Register() noexcept override
    {
        EventTrace::Note("QBase::Buffer::Register");
        ++mRegistrations;
    }

    void Destroy() noexcept override
    {
        EventTrace::Note("QBase::Buffer::Destroy");
        if (mRegistrations > 1)
        {
            --mRegistrations;
            return;
        }
        mRegistrations = 0;
        if (mbReusable)
            Rewind();
        else
            FreeAll();
    }

    void Free() noexcept override
    {
        EventTrace::Note("QBase::Buffer::Free");
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

    Room GetReserve()
    {
        std::byte* const reserve = reinterpret_cast<std::byte*>(this + 1);
        return mReserveBytes == 0 ? Room{} : Room{reserve, reserve + mReserveBytes};
    }

    void* TakeFromFurtherChunk(std::size_t iBytes, std::size_t iAlignment) noexcept;
    void Rewind() noexcept;
    void FreeChunks() noexcept;
    void FreeAll() noexcept;

    Room mRoom; ///< of the chunk in use
    const std::size_t mReserveBytes;
    const std::size_t mFirstChunkBytes;
    std::size_t mNextChunkBytes;
    const unsigned mGrowth;
    unsigned mRegistrations = 0;
    Chunk* mpFurther = nullptr; ///< taken in this use
    Chunk* mpKept = nullptr;    ///< left from the uses before
    bool mbKeptInUse = false;
    const bool mbReusable;
};

void* Arena::TakeFromFurtherChunk(std::size_t iBytes, std::size_t iAlignment) noexcept
{
    if (mpKept != nullptr && !mbKeptInUse)
    {
        Room room{mpKept->GetMemory(), mpKept->GetMemory() + mpKept->mBytes};
        if (void* const memory = room.Take(iBytes, iAlignment))
        {
            mRoom = room;
            mbKeptInUse = true;
            return memory;
        }
    }

    const std::size_t extra = iAlignment > cMaxAlign ? iAlignment - cMaxAlign : 0;
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

    Room room{chunk->GetMemory(), chunk->GetMemory() + chunk->mBytes};
    void* const memory = room.Take(iBytes, iAlignment);
    // A large request has a chunk of its own, and the chunk in use stays in use for the small ones.
    if (room.GetBytes() > mRoom.GetBytes())
        mRoom = room;
    return memory;
}

void Arena::Rewind() noexcept
{
    if (mpFurther != nullptr && mReserveBytes == 0 && mpKept == nullptr && mpFurther->mpNext == nullptr)
    {
        mpKept = std::exchange(mpFurther, nullptr);
    }
    else if (mpFurther != nullptr)
    {
        // One chunk that alone holds what this use has taken: however the next use of that size cuts it, it is enough.
        std::size_t bytes = mReserveBytes + (mpKept == nullptr ? 0 : mpKept->mBytes);
        for (const Chunk* chunk = mpFurther; chunk != nullptr; chunk = chunk->mpNext)
            bytes += chunk->mBytes;
        FreeChunks();
        mpKept = Chunk::Make(RoundUp(bytes));
    }
    mbKeptInUse = false;
    mNextChunkBytes = mFirstChunkBytes;
    mRoom = GetReserve();
}

void Arena::FreeChunks() noexcept
{
    HeapFree(std::exchange(mpKept, nullptr));
    while (mpFurther != nullptr)
        HeapFree(std::exchange(mpFurther, mpFurther->mpNext));
}

void Arena::FreeAll() noexcept
{
    FreeChunks();
    this->~Arena();
    HeapFree(this);
}

} // namespace

Buffer* CreateBuffer(std::size_t iReserveBytes, unsigned iGrowth, std::size_t iChunkBytes, bool ibReusable) noexcept
{
    EventTrace::Note("QBase::CreateBuffer", {static_cast<std::int64_t>(iReserveBytes), iGrowth,
                                             static_cast<std::int64_t>(iChunkBytes), ibReusable});
    if (iReserveBytes > cMaxBytes || iChunkBytes > cMaxBytes)
        return nullptr;
    void* const block = HeapAllocate(sizeof(Arena) + iReserveBytes);
    return block == nullptr ? nullptr : ::new (block) Arena(iReserveBytes, iGrowth, iChunkBytes, ibReusable);
}

} // namespace QBase
