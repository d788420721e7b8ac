// A base class for objects that one module allocates and another frees.
#pragma once

#include "platform/QBase.h"

#include <cstddef>

/// Single objects of a derived class are allocated on the general heap, whichever module calls `new` or `delete`.
/// Without memory `new` returns null instead of throwing.
class HeapObject
{
public:
    static void* operator new(std::size_t iBytes) noexcept { return QBase::HeapAllocate(iBytes); }
    static void* operator new(std::size_t, void* iPlace) noexcept { return iPlace; }
    static void operator delete(void* iMemory) noexcept { QBase::HeapFree(iMemory); }

protected:
    ~HeapObject() = default;
};
