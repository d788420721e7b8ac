#include "platform/builtin/base/System.h"

namespace Builtin::System
{

DWORD GetThreadId() noexcept { return ::GetCurrentThreadId(); }

bool GetThreadTimes(FILETIME& oKernel, FILETIME& oUser) noexcept
{
    FILETIME created;
    FILETIME exited;
    return ::GetThreadTimes(::GetCurrentThread(), &created, &exited, &oKernel, &oUser) != 0;
}

bool ToLocalTime(std::time_t iTime, std::tm& oLocal) noexcept { return ::localtime_s(&oLocal, &iTime) == 0; }

// A file never gets the handle of a standard stream.
void OpenStandardStreams() noexcept {}

} // namespace Builtin::System
