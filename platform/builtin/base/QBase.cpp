#include "platform/QBase.h"

#include "platform/builtin/Faults.h"
#include "platform/builtin/base/NeverDestroyed.h"
#include "platform/builtin/base/ThreadId.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace QBase
{

namespace
{

void* AllocateWatched(std::size_t iBytes) noexcept
{
    if (Builtin::Faults::IsDue(Builtin::Faults::EnumFault::Allocation))
        return nullptr;
    void* const block = std::malloc(iBytes);
    if (block != nullptr)
        Builtin::Faults::NoteBlockTaken(block);
    return block;
}

class HeapResource final : public std::pmr::memory_resource
{
    // What asks for more than the heap's alignment lies behind the address of its block.

    void* do_allocate(std::size_t iBytes, std::size_t iAlignment) override
    {
        const std::size_t more = iAlignment <= cHeapAlignment ? 0 : iAlignment;
        void* const block = iBytes <= static_cast<std::size_t>(-1) - more ? HeapAllocate(iBytes + more) : nullptr;
        if (block == nullptr)
            throw std::bad_alloc();
        if (more == 0)
            return block;
        const auto address = reinterpret_cast<std::uintptr_t>(block);
        void** const memory = reinterpret_cast<void**>((address / more + 1) * more);
        memory[-1] = block;
        return memory;
    }

    void do_deallocate(void* iMemory, std::size_t, std::size_t iAlignment) override
    {
        HeapFree(iAlignment <= cHeapAlignment ? iMemory : static_cast<void**>(iMemory)[-1]);
    }

    bool do_is_equal(const std::pmr::memory_resource& iOther) const noexcept override { return this == &iOther; }
};

} // namespace

void* HeapAllocate(std::size_t iBytes) noexcept
{
    // An empty block must not be null, which means that there is no memory.
    const std::size_t bytes = iBytes == 0 ? 1 : iBytes;
    if (Builtin::Faults::Detail::gArmed.load(std::memory_order_relaxed) != 0) [[unlikely]]
        return AllocateWatched(bytes);
    return std::malloc(bytes);
}

void HeapFree(void* iMemory) noexcept
{
    if (Builtin::Faults::Detail::gArmed.load(std::memory_order_relaxed) != 0) [[unlikely]]
        Builtin::Faults::NoteBlockGoing(iMemory);
    std::free(iMemory);
}

std::pmr::memory_resource* DefaultHeap() noexcept
{
    static Builtin::NeverDestroyed<HeapResource> heap;
    return &heap.Get();
}

DWORD GetCurrentThreadID() noexcept { return Builtin::GetOwnThreadId(); }

std::string ToString(const GUID& iGuid)
{
    const BYTE* const tail = iGuid.Data4;
    char text[sizeof("{00000000-0000-0000-0000-000000000000}")];
    std::snprintf(text, sizeof(text), "{%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  static_cast<unsigned long>(iGuid.Data1), iGuid.Data2, iGuid.Data3, tail[0], tail[1], tail[2], tail[3],
                  tail[4], tail[5], tail[6], tail[7]);
    return text;
}

} // namespace QBase
