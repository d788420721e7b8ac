// How many users the platform's libraries have at this moment, for reports and tests.
#pragma once

#include "platform/Export.h"

#include <cstddef>

namespace Builtin::LibraryUsers
{

/// Live initialisers of the library; it is down while there are none.
QORJOB_API unsigned GetLogUsers() noexcept;
QORJOB_API unsigned GetPerformanceMonitorUsers() noexcept;
QORJOB_API unsigned GetThreadSpaceUsers() noexcept;

/// Registered memory-governor proxies.
QORJOB_API std::size_t GetMemGovernorCount() noexcept;

} // namespace Builtin::LibraryUsers
