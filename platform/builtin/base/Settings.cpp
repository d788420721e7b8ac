#include "platform/builtin/Settings.h"

#include "platform/builtin/base/SetValues.h"
#include "platform/builtin/base/ThreadLocal.h"

#include <atomic>

namespace Builtin
{

namespace
{

constexpr unsigned cEnglish = 0x409;

struct ThreadTimes
{
    SetValues::EnumThreadTimes mState = SetValues::EnumThreadTimes::Released;
    std::uint64_t mKernel = 0;
    std::uint64_t mUser = 0;
};

// Whether any thread has ever set its times. In a server none does, and threads read only this.
constinit std::atomic<bool> gbThreadTimesSet{false};
QORJOB_NEAR_THREAD_LOCAL ThreadTimes tThreadTimes;

constinit std::atomic<unsigned> gProcessLanguage{cEnglish};
QORJOB_NEAR_THREAD_LOCAL unsigned tThreadLanguage = 0;
constinit std::atomic<unsigned> gUserDefaultLocale{cEnglish};

} // namespace

namespace Settings
{

void SetClock(QDataType::DateTime iNow) noexcept
{
    SetValues::gClock.store(iNow.GetTicks(), std::memory_order_relaxed);
}

void ReleaseClock() noexcept { SetValues::gClock.store(SetValues::cClockReleased, std::memory_order_relaxed); }

void SetThreadTimes(std::uint64_t iKernel, std::uint64_t iUser) noexcept
{
    tThreadTimes = {SetValues::EnumThreadTimes::Set, iKernel, iUser};
    gbThreadTimesSet.store(true, std::memory_order_relaxed);
}

void FailThreadTimes() noexcept
{
    tThreadTimes = {SetValues::EnumThreadTimes::Failing, 0, 0};
    gbThreadTimesSet.store(true, std::memory_order_relaxed);
}

void ReleaseThreadTimes() noexcept { tThreadTimes = {}; }

void SetProcessLanguageID(unsigned iLanguageId) noexcept
{
    gProcessLanguage.store(iLanguageId, std::memory_order_relaxed);
}

void SetThreadLanguageID(unsigned iLanguageId) noexcept { tThreadLanguage = iLanguageId; }

void SetUserDefaultLCID(unsigned iLocale) noexcept { gUserDefaultLocale.store(iLocale, std::memory_order_relaxed); }

} // namespace Settings

namespace SetValues
{

constinit std::atomic<std::int64_t> gClock{cClockReleased};

EnumThreadTimes GetThreadTimes(std::uint64_t& oKernel, std::uint64_t& oUser) noexcept
{
    if (!gbThreadTimesSet.load(std::memory_order_relaxed))
        return EnumThreadTimes::Released;
    oKernel = tThreadTimes.mKernel;
    oUser = tThreadTimes.mUser;
    return tThreadTimes.mState;
}

unsigned GetProcessLanguageID() noexcept { return gProcessLanguage.load(std::memory_order_relaxed); }

unsigned GetThreadLanguageID() noexcept { return tThreadLanguage; }

unsigned GetUserDefaultLCID() noexcept { return gUserDefaultLocale.load(std::memory_order_relaxed); }

} // namespace SetValues

} // namespace Builtin
