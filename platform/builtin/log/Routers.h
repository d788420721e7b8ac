// The log routers that there are, and which of them are on.
#pragma once

#include "platform/QLog.h"

#include <string>
#include <utility>

namespace Builtin::Routers
{

using Key = std::pair<std::string, std::string>; // component, name

/// As component or name: all there are.
inline constexpr const char* cAny = "*";

/// The router of that key, made when it is not there yet. Throws std::bad_alloc.
QBase::ReturnPtrI<QLog::Router> Open(const Key& iKey);

/// Switches routers on or off, also those that are made later.
void Enable(Key iKey, bool ibEnabled);

/// Switches routers on, and remembers the key until there is a router that it covers.
void EnableExpected(Key iKey);

/// Says on standard error which expected keys have covered no router, and forgets them.
void ReportMissing() noexcept;

} // namespace Builtin::Routers
