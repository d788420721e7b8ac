// Records that one module makes and another frees.
#pragma once

#include "platform/QBase.h"

#include <cstddef>

/// Puts a class's single objects on the general heap, whichever module says `new` or `delete`. Without memory `new`
/// gives null instead of throwing.
class HeapObject
{
public:
    static void* operator new(std::size_t iBytes) noexcept { return QBase::HeapAllocate(iBytes); }
    static void* operator new(std::size_t, void* iPlace) noexcept { return iPlace; }
    static void operator delete(void* iMemory) noexcept { QBase::HeapFree(iMemory); }

protected:
    ~HeapObject() = default;
};
