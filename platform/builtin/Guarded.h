// What an operation that gives a code does with the exceptions of what it uses.
#pragma once

#include "platform/Windows.h"

#include <exception>
#include <new>

namespace Builtin
{

/// Runs `iBody` and gives its code: E_OUTOFMEMORY for missing memory, E_FAIL for any other standard exception.
template <class Body>
HRESULT Guarded(Body iBody) noexcept
{
    try
    {
        return iBody();
    }
    catch (const std::bad_alloc&)
    {
        return E_OUTOFMEMORY;
    }
    catch (const std::exception&)
    {
        return E_FAIL;
    }
}

} // namespace Builtin
