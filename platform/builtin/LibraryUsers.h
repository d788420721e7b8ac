// Who holds the platform's libraries up at this moment, for reports and tests.
#pragma once

#include "platform/Export.h"

#include <cstddef>

namespace Builtin::LibraryUsers
{

/// Live initialisers of the library; it is down while there are none.
QORJOB_API unsigned GetLogUsers();
QORJOB_API unsigned GetPerformanceMonitorUsers() noexcept;
QORJOB_API unsigned GetThreadSpaceUsers() noexcept;

/// Registered memory-governor proxies.
QORJOB_API std::size_t GetMemGovernorCount();

} // namespace Builtin::LibraryUsers
