// The initialiser of the services that the job library needs.
#pragma once

#include "platform/Export.h"

namespace QORJOB
{

/// The first initialiser sets up the services and the module's log routers, the last one takes them down in reverse
/// order. The library holds one itself while it is loaded. A module whose static objects use the library before or
/// after that holds another one, typically as a static object, too. Without memory for the services the library works
/// but logs nothing.
///
/// Threads: any; set-up and teardown are serialised. No thread may use the library once the last initialiser is
///          destroyed: such threads end before the library is unloaded or the program returns.
/// Owns:    all of them together: one reference to each router of the "Kernel" component, one initialiser each of the
///          logging library, the performance monitor and the thread library, and the registration of the module's
///          memory governors.
/// Errors:  the constructor passes on what those throw; nothing is set up then. An exception from the library's own
///          initialiser ends the process, as for any static object.
/// Locks:   a spin guard of its own, held during set-up and teardown.
class QORJOB_API Initializer
{
public:
    Initializer();
    ~Initializer();
    Initializer(const Initializer&) = delete;
    // Initialisers have no state of their own, so assignment changes nothing.
    Initializer& operator=(const Initializer&) = default;
};

} // namespace QORJOB
