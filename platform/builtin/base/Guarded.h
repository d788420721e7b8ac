// The exception boundary of the platform's operations that return a code.
#pragma once

#include "platform/Windows.h"

#include <new>

namespace Builtin
{

/// Runs `iBody` and returns its code: E_OUTOFMEMORY when it throws std::bad_alloc, E_FAIL for any other exception, its
/// own or a collaborator's.
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
