// The web server's one boundary to what may throw: the handler, what is told that a client has gone, and want of
// memory.
#pragma once

#include <exception>
#include <string>

/// What the body throws; null when it throws nothing.
template <class Body>
std::exception_ptr CatchAll(Body&& iBody) noexcept
{
    try
    {
        iBody();
        return nullptr;
    }
    catch (...)
    {
        return std::current_exception();
    }
}

/// In words, whatever it is.
inline std::string ReasonOf(const std::exception_ptr& iFailure)
{
    try
    {
        std::rethrow_exception(iFailure);
    }
    catch (const std::exception& failure)
    {
        return failure.what();
    }
    catch (...)
    {
        return "unknown failure";
    }
}
