// The exception boundary: nothing is thrown out of a public operation.
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

/// The log codes of the two kinds of exceptions, and that of a caught failure with its own text.
inline constexpr HRESULT cMessageExceptionLogged = static_cast<HRESULT>(0x8004308E);
inline constexpr HRESULT cSystemExceptionLogged = static_cast<HRESULT>(0x8004308F);
inline constexpr HRESULT cExceptionCaught = static_cast<HRESULT>(0x80043046);

/// To be called in a catch block: logs the exception in flight with the operation's name and the job's id and gives the
/// code that the operation returns.
HRESULT CodeOfExceptionInFlight(const char* iOperation, int iJobId) noexcept;

/// Runs the body of an operation that logs the exceptions that it keeps inside. Without a name the log has that of the
/// calling function, without its class.
template <class Body>
HRESULT Boundary(int iJobId, Body&& iBody, const char* iOperation = __builtin_FUNCTION()) noexcept
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
