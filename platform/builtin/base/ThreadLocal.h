// The access to the platform's thread-local variables.
#pragma once

// In a shared library each access is a call into the loader, unless the variable has a fixed offset in the thread's
// block. A library that is loaded late finds little room there: use it for a few numbers only.
#if defined(__linux__)
#define QORJOB_NEAR_THREAD_LOCAL [[gnu::tls_model("initial-exec")]] constinit thread_local
#else
#define QORJOB_NEAR_THREAD_LOCAL constinit thread_local
#endif
