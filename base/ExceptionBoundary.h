// The exception boundary of public operations: exceptions become return codes.
#pragma once

#include "platform/QBase.h"

/// What an operation returns after a message exception and after any other exception. The log has codes of its own for
/// them: 8B is returned where 8E is logged, 8C where 8F is.
inline constexpr HRESULT cMessageExceptionMet = static_cast<HRESULT>(0x8004308B);
inline constexpr HRESULT cSystemExceptionMet = static_cast<HRESULT>(0x8004308C);

/// For a catch block: returns the code for the exception in flight. `iReport` is called with the text of a message
/// exception, with null for any other.
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

/// Runs the body of an operation. Exceptions become codes; nothing is logged.
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

/// The log codes of a message exception, of any other exception, and of a failure that is logged with its own text.
inline constexpr HRESULT cMessageExceptionLogged = static_cast<HRESULT>(0x8004308E);
inline constexpr HRESULT cSystemExceptionLogged = static_cast<HRESULT>(0x8004308F);
inline constexpr HRESULT cExceptionCaught = static_cast<HRESULT>(0x80043046);

/// For a catch block: logs the exception in flight with the operation's name and the job's id, and returns its code.
HRESULT CodeOfExceptionInFlight(const char* iOperation, int iJobId) noexcept;

/// Runs the body of an operation. Exceptions become codes and are logged under `iOperation`.
template <class Body>
HRESULT Boundary(int iJobId, Body&& iBody, const char* iOperation) noexcept
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
