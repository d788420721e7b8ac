// Places in a table of operations whose operations are other modules' business.
#pragma once

#include "platform/Windows.h"

#include <type_traits>

/// `Interface` followed by `Count` operations that nobody calls.
template <class Interface, int Count>
class ReservedSlots : public ReservedSlots<Interface, Count - 1>
{
public:
    using ReservedSlots<Interface, Count - 1>::Reserved;
    virtual HRESULT Reserved(std::integral_constant<int, Count>) { return E_NOTIMPL; }

protected:
    ~ReservedSlots() = default;
};

template <class Interface>
class ReservedSlots<Interface, 0> : public Interface
{
public:
    void Reserved(std::integral_constant<int, 0>) = delete;

protected:
    ~ReservedSlots() = default;
};
