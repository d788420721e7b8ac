// Brings the services that the job library needs up before its first use and down after its last.
#pragma once

#include "platform/Export.h"

namespace QORJOB
{

/// The first one brings up what the library works with and the module's log routers, the last one takes it down, in
/// reverse order. The library holds one itself while it is loaded; a module whose static objects use it before or after
/// that holds another, typically as a static object, too. Without memory for the services the library works all the
/// same, and logs nothing.
///
/// Threads: any; set-up and teardown are serialised. Nobody uses the library any more when the last one goes: threads
///          that do end before the library is unloaded, or the program returns.
/// Owns:    together, one reference to each router of the "Kernel" component, one initialiser each of the logging
///          library, the performance monitor and the thread library, and the registration of the module's memory
///          governors.
/// Errors:  the constructor passes on what those throw; nothing is then up. What the library's own throws ends the
///          process, as for any static object.
/// Locks:   a spin guard of its own, held during set-up and teardown.
class QORJOB_API Initializer
{
public:
    Initializer();
    ~Initializer();
    Initializer(const Initializer&) = delete;
    // Initialisers carry no state of their own: assigning one changes nothing.
    Initializer& operator=(const Initializer&) = default;
};

} // namespace QORJOB
