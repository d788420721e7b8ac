// The slot of an operation in its table: other modules reach it by that number.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(_MSC_VER)

#include <array>
#include <utility>

// Microsoft's compilers write a pointer to a virtual operation as the address of code that jumps to what the object's
// table has in that slot. So it is called for an object whose table has functions that return their slot. In programs
// of 32 bits that code expects the object in the first register or on the stack, as the operation does: it is in both.
using SlotFunction = std::size_t(__fastcall*)(void* iObject, void* iUnused, void* iObjectOnStack);

template <std::size_t Slot>
std::size_t __fastcall GetSlot(void*, void*, void*)
{
    return Slot;
}

template <std::size_t... Slots>
constexpr std::array<SlotFunction, sizeof...(Slots)> MakeSlots(std::index_sequence<Slots...>)
{
    return {&GetSlot<Slots>...};
}

/// `PlaceOf(&IUnknown::AddRef)` is 1.
template <class Operation>
std::size_t PlaceOf(Operation iOperation)
{
    static constexpr auto cSlots = MakeSlots(std::make_index_sequence<200>());
    const SlotFunction* object = cSlots.data();
    SlotFunction jump;
    static_assert(sizeof(iOperation) >= sizeof(jump));
    std::memcpy(&jump, &iOperation, sizeof(jump));
    return jump(&object, nullptr, &object);
}

#else

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

#endif

/// The operations are in consecutive slots, from that one on.
template <class... Operation>
void ExpectPlaces(std::size_t iFirst, Operation... iOperations)
{
    std::size_t expected = iFirst;
    for (const std::size_t place : {PlaceOf(iOperations)...})
        EXPECT_EQ(place, expected++);
}
