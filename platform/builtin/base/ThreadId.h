// The calling thread's id and its mark, for those who ask for them all the time.
#pragma once

#include "platform/Windows.h"

#include <cstdint>

#if !defined(_WIN32)
#include "platform/builtin/base/System.h"
#include "platform/builtin/base/ThreadLocal.h"
#endif

namespace Builtin
{

#if defined(_WIN32)

// Windows keeps the id where a thread finds it by itself.
inline DWORD GetOwnThreadId() noexcept { return ::GetCurrentThreadId(); }
inline std::uintptr_t GetThreadMark() noexcept { return ::GetCurrentThreadId(); }

#else

QORJOB_NEAR_THREAD_LOCAL inline DWORD tThreadId = 0; // 0: not asked for yet

inline DWORD GetOwnThreadId() noexcept
{
    if (tThreadId == 0) [[unlikely]]
        tThreadId = System::GetThreadId();
    return tThreadId;
}

/// What no other live thread has; never 0. It stays the thread's in a forked process, whose new threads may get the ids
/// of threads before.
inline std::uintptr_t GetThreadMark() noexcept { return reinterpret_cast<std::uintptr_t>(&tThreadId); }

#endif

} // namespace Builtin
