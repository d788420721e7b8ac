// The slot of an operation in its table: other modules reach it by that number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

/// `PlaceOf(&IUnknown::AddRef)` is 1. Reads how GCC and clang write a pointer to a virtual operation: one more than its
/// offset in the table.
template <class Operation>
std::size_t PlaceOf(Operation iOperation)
{
    std::uintptr_t words[2];
    static_assert(sizeof(iOperation) == sizeof(words));
    std::memcpy(words, &iOperation, sizeof(words));
    return words[0] / sizeof(void*);
}
