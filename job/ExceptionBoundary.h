// The exception boundary of operations that log what they met.
#pragma once

#include "platform/Boundary.h"

/// The log codes of the two kinds of exceptions, and that of a caught failure with its own text.
inline constexpr HRESULT cMessageExceptionLogged = static_cast<HRESULT>(0x8004308E);
inline constexpr HRESULT cSystemExceptionLogged = static_cast<HRESULT>(0x8004308F);
inline constexpr HRESULT cExceptionCaught = static_cast<HRESULT>(0x80043046);

/// To be called in a catch block: logs the exception in flight with the operation's name and the job's id and gives the
/// code that the operation returns.
HRESULT CodeOfExceptionInFlight(const char* iOperation, int iJobId) noexcept;

/// Runs the body of an operation that logs the exceptions that it keeps inside.
template <class Body>
HRESULT Boundary(const char* iOperation, int iJobId, Body&& iBody) noexcept
{
    try
    {
        return iBody();
    }
    catch (...)
    {
        return CodeOfExceptionInFlight(iOperation, iJobId);
    }
}
