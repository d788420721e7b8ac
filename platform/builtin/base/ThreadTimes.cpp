#include "platform/ThreadTimes.h"

#include "platform/builtin/EventTrace.h"
#include "platform/builtin/Settings.h"
#include "platform/builtin/base/System.h"
#include "platform/builtin/base/ThreadLocal.h"

#include <atomic>

namespace
{

struct SetTimes
{
    enum class EnumState
    {
        Released,
        Set,
        Failing,
    };

    EnumState mState = EnumState::Released;
    std::uint64_t mKernel = 0;
    std::uint64_t mUser = 0;
};

// Tells whether any thread ever set its times; a server's threads read this and go on to the system.
constinit std::atomic<bool> gbEverSet{false};
QORJOB_NEAR_THREAD_LOCAL SetTimes tSetTimes;

FILETIME ToFileTime(std::uint64_t iTicks) { return {static_cast<DWORD>(iTicks), static_cast<DWORD>(iTicks >> 32)}; }

} // namespace

int GetCurrentThreadTimes(FILETIME* oKernel, FILETIME* oUser) noexcept
{
    Builtin::EventTrace::Note("GetCurrentThreadTimes");
    if (oKernel == nullptr || oUser == nullptr)
        return 0;
    if (gbEverSet.load(std::memory_order_relaxed) && tSetTimes.mState != SetTimes::EnumState::Released)
    {
        if (tSetTimes.mState == SetTimes::EnumState::Failing)
            return 0;
        *oKernel = ToFileTime(tSetTimes.mKernel);
        *oUser = ToFileTime(tSetTimes.mUser);
        return 1;
    }
    return Builtin::System::GetThreadTimes(*oKernel, *oUser) ? 1 : 0;
}

namespace Builtin::Settings
{

void SetThreadTimes(std::uint64_t iKernel, std::uint64_t iUser) noexcept
{
    tSetTimes = {SetTimes::EnumState::Set, iKernel, iUser};
    gbEverSet.store(true, std::memory_order_relaxed);
}

void FailThreadTimes() noexcept
{
    tSetTimes = {SetTimes::EnumState::Failing, 0, 0};
    gbEverSet.store(true, std::memory_order_relaxed);
}

void ReleaseThreadTimes() noexcept { tSetTimes = {}; }

} // namespace Builtin::Settings
