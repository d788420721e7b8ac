// The calling thread's id, for those who ask for it all the time.
#pragma once

#include "platform/Windows.h"

#if !defined(_WIN32)
#include "platform/builtin/base/System.h"
#include "platform/builtin/base/ThreadLocal.h"
#endif

namespace Builtin
{

#if defined(_WIN32)

// Windows keeps it where a thread finds it by itself.
inline DWORD GetOwnThreadId() noexcept { return ::GetCurrentThreadId(); }

#else

QORJOB_NEAR_THREAD_LOCAL inline DWORD tThreadId = 0; // 0: not asked for yet

inline DWORD GetOwnThreadId() noexcept
{
    if (tThreadId == 0) [[unlikely]]
        tThreadId = System::GetThreadId();
    return tThreadId;
}

#endif

} // namespace Builtin
