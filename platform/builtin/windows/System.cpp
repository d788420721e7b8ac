#include "platform/builtin/base/System.h"

namespace Builtin::System
{

bool GetThreadTimes(FILETIME& oKernel, FILETIME& oUser) noexcept
{
    FILETIME created;
    FILETIME exited;
    return ::GetThreadTimes(::GetCurrentThread(), &created, &exited, &oKernel, &oUser) != 0;
}

// MinGW's system clock moves in steps of some milliseconds.
std::int64_t GetTime() noexcept
{
    constexpr std::int64_t c1970 = 116'444'736'000'000'000; // in units since 1601
    FILETIME time;
    ::GetSystemTimePreciseAsFileTime(&time);
    return static_cast<std::int64_t>(ToUint64(time)) - c1970;
}

bool ToLocalTime(std::time_t iTime, std::tm& oLocal) noexcept { return ::localtime_s(&oLocal, &iTime) == 0; }

// A file never gets the handle of a standard stream.
void OpenStandardStreams() noexcept {}

} // namespace Builtin::System
