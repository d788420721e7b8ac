// What an operation that gives a code does with the exceptions of what it uses.
#pragma once

#include "platform/Windows.h"

#include <new>

namespace Builtin
{

/// Runs `iBody` and gives its code: E_OUTOFMEMORY for missing memory, E_FAIL for anything else that it, or a stranger's
/// object that it calls, throws.
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
    catch (...)
    {
        return E_FAIL;
    }
}

} // namespace Builtin
