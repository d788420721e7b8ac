// The calling thread's id, for those who ask for it all the time.
#pragma once

#include "platform/QBase.h"
#include "platform/builtin/base/ThreadLocal.h"

namespace Builtin
{

QORJOB_NEAR_THREAD_LOCAL inline DWORD tThreadId = 0; // 0: not asked for yet

/// QBase::GetCurrentThreadID, mostly without a call.
inline DWORD GetOwnThreadId() noexcept
{
    const DWORD id = tThreadId;
    return id != 0 ? id : QBase::GetCurrentThreadID();
}

} // namespace Builtin
