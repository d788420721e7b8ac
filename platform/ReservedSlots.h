// Places in a table of operations whose operations are other modules' business.
#pragma once

#include "platform/Windows.h"

/// Tells the places apart: those of one interface, and those of an interface that has reserved places in its middle
/// too.
template <class Interface, int Count>
struct ReservedPlace
{
};

/// `Interface` followed by `Count` operations that nobody calls.
template <class Interface, int Count>
class ReservedSlots : public ReservedSlots<Interface, Count - 1>
{
public:
    using HasReservedSlots = void;
    using ReservedSlots<Interface, Count - 1>::Reserved;
    virtual HRESULT Reserved(ReservedPlace<Interface, Count>) { return E_NOTIMPL; }

protected:
    ~ReservedSlots() = default;
};

template <class Interface>
class ReservedSlots<Interface, 0> : public Interface
{
public:
    void Reserved(ReservedPlace<Interface, 0>) = delete;

protected:
    ~ReservedSlots() = default;
};

/// On an interface that has reserved places already: they stay visible.
template <class Interface>
requires requires { typename Interface::HasReservedSlots; }
class ReservedSlots<Interface, 0> : public Interface
{
public:
    using Interface::Reserved;

protected:
    ~ReservedSlots() = default;
};
