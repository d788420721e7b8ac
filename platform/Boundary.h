// Where exceptions end: nothing is thrown out of a public operation.
#pragma once

#include "platform/QBase.h"

/// An operation met a message exception, or any other exception.
inline constexpr HRESULT cMessageExceptionMet = static_cast<HRESULT>(0x8004308B);
inline constexpr HRESULT cSystemExceptionMet = static_cast<HRESULT>(0x8004308C);

/// To be called in a catch block: gives the code that an operation returns for the exception in flight. `iReport` is
/// told of it: the text of a message exception, null for any other.
template <class Report>
HRESULT CodeOfExceptionInFlight(Report iReport) noexcept
{
    try
    {
        throw;
    }
    catch (const QBase::Message& message)
    {
        iReport(message.what());
        return cMessageExceptionMet;
    }
    catch (...)
    {
        iReport(nullptr);
        return cSystemExceptionMet;
    }
}

/// Runs the body of an operation that logs nothing and keeps its exceptions inside.
template <class Body>
HRESULT Boundary(Body&& iBody) noexcept
{
    try
    {
        return iBody();
    }
    catch (...)
    {
        return CodeOfExceptionInFlight([](const char*) {});
    }
}
