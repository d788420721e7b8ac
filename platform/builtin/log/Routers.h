// The table of log routers, and of those that are switched on.
#pragma once

#include "platform/QLog.h"

#include <string>
#include <utility>

namespace Builtin::Routers
{

using Key = std::pair<std::string, std::string>; // component, name

/// As component or name: all of them.
inline constexpr const char* cAny = "*";

/// The router of that key, made when it is not there yet. Throws std::bad_alloc.
QBase::ReturnPtrI<QLog::Router> Open(const Key& iKey);

/// Switches routers on or off, also those that are made later.
void Enable(Key iKey, bool ibEnabled);

/// Switches routers on, and keeps the key until there is a router that it covers.
void EnableExpected(Key iKey);

/// Reports on standard error the expected keys that have covered no router, and removes them.
void ReportMissing() noexcept;

} // namespace Builtin::Routers
