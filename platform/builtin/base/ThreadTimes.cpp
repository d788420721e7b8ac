#include "platform/ThreadTimes.h"

#include "platform/builtin/EventTrace.h"
#include "platform/builtin/base/SetValues.h"
#include "platform/builtin/base/System.h"

using Builtin::SetValues::EnumThreadTimes;

static FILETIME ToFileTime(std::uint64_t iTicks)
{
    return {static_cast<DWORD>(iTicks), static_cast<DWORD>(iTicks >> 32)};
}

int GetCurrentThreadTimes(FILETIME* oKernel, FILETIME* oUser) noexcept
{
    Builtin::EventTrace::Note("GetCurrentThreadTimes");
    if (oKernel == nullptr || oUser == nullptr)
        return 0;
    std::uint64_t kernel = 0;
    std::uint64_t user = 0;
    switch (Builtin::SetValues::GetThreadTimes(kernel, user))
    {
    case EnumThreadTimes::Released:
        return Builtin::System::GetThreadTimes(*oKernel, *oUser) ? 1 : 0;
    case EnumThreadTimes::Set:
        *oKernel = ToFileTime(kernel);
        *oUser = ToFileTime(user);
        return 1;
    case EnumThreadTimes::Failing:
        break;
    }
    return 0;
}
