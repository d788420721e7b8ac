// Reserved slots in a table of operations, for operations that only other modules know.
#pragma once

#include "platform/Windows.h"

/// Tells the slots apart: those of one interface, and those of an interface that has reserved slots in its middle, too.
template <class Interface, int Count>
struct ReservedPlace
{
};

/// `Interface` followed by `Count` operations that this library never calls.
template <class Interface, int Count>
class ReservedSlots : public ReservedSlots<Interface, Count - 1>
{
public:
    using HasReservedSlots = void;
    using ReservedSlots<Interface, Count - 1>::Reserved;
    virtual HRESULT QORJOB_STDCALL Reserved(ReservedPlace<Interface, Count>) { return E_NOTIMPL; }

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

/// For an interface that has reserved slots already: they stay visible.
template <class Interface>
requires requires { typename Interface::HasReservedSlots; }
class ReservedSlots<Interface, 0> : public Interface
{
public:
    using Interface::Reserved;

protected:
    ~ReservedSlots() = default;
};
