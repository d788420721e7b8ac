#include "platform/builtin/LibraryUsers.h"

#include "platform/builtin/base/UserCounts.h"

namespace Builtin::LibraryUsers
{

unsigned GetLogUsers() noexcept { return gLogUsers; }

unsigned GetPerformanceMonitorUsers() noexcept { return gPerformanceMonitorUsers; }

unsigned GetThreadSpaceUsers() noexcept { return gThreadSpaceUsers; }

std::size_t GetMemGovernorCount() noexcept { return gMemGovernors; }

} // namespace Builtin::LibraryUsers
