// A listener outside the library, such as a monitor, to changes of the threads' process contexts.
#pragma once

#include "platform/Export.h"

#include <functional>

namespace Builtin::ThreadContextListener
{

/// The listener is called in the thread whose process context has changed, by several threads at once when theirs
/// change at once. A new one takes the place of the old one; an empty one ends it. A call that is under way goes on.
QORJOB_API void Set(std::function<void()> iListener);

/// The platform's side: calls the listener, if there is one.
void Call();

} // namespace Builtin::ThreadContextListener
