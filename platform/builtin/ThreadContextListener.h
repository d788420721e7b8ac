// A listener to changes of the threads' process contexts, for a monitor outside the library.
#pragma once

#include "platform/Export.h"

#include <functional>

namespace Builtin::ThreadContextListener
{

/// The listener is called in the thread whose process context has changed, by several threads at once when theirs
/// change at once. A new one replaces the old one; an empty one removes it. A call that has begun goes on.
QORJOB_API void Set(std::function<void()> iListener);

/// The platform's side: calls the listener, if there is one.
void Call();

} // namespace Builtin::ThreadContextListener
