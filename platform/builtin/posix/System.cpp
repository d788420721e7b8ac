#include "platform/builtin/base/System.h"

#include <fcntl.h>

#include <cstdint>

#if defined(__linux__)
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#else
#include <atomic>
#endif

namespace Builtin::System
{

namespace
{

FILETIME ToFileTime(std::uint64_t iTicks) { return {static_cast<DWORD>(iTicks), static_cast<DWORD>(iTicks >> 32)}; }

} // namespace

#if defined(__linux__)

DWORD GetThreadId() noexcept { return static_cast<DWORD>(::syscall(SYS_gettid)); }

// Cheaper than the thread's processor clock, which has no kernel time either.
bool GetThreadTimes(FILETIME& oKernel, FILETIME& oUser) noexcept
{
    rusage usage;
    if (::getrusage(RUSAGE_THREAD, &usage) != 0)
        return false;
    const auto toTicks = [](const timeval& iTime) {
        return static_cast<std::uint64_t>(iTime.tv_sec) * 10'000'000 + static_cast<std::uint64_t>(iTime.tv_usec) * 10;
    };
    oKernel = ToFileTime(toTicks(usage.ru_stime));
    oUser = ToFileTime(toTicks(usage.ru_utime));
    return true;
}

#else

// POSIX has no thread numbers: threads are counted.
DWORD GetThreadId() noexcept
{
    static constinit std::atomic<DWORD> sLastId{0};
    return sLastId.fetch_add(1, std::memory_order_relaxed) + 1;
}

bool GetThreadTimes(FILETIME& oKernel, FILETIME& oUser) noexcept
{
    timespec used;
    if (::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used) != 0)
        return false;
    oKernel = ToFileTime(0);
    oUser = ToFileTime(static_cast<std::uint64_t>(used.tv_sec) * 10'000'000 +
                       static_cast<std::uint64_t>(used.tv_nsec) / 100);
    return true;
}

#endif

std::int64_t GetTime() noexcept
{
    timespec now;
    ::clock_gettime(CLOCK_REALTIME, &now);
    return std::int64_t{now.tv_sec} * 10'000'000 + now.tv_nsec / 100;
}

bool ToLocalTime(std::time_t iTime, std::tm& oLocal) noexcept { return ::localtime_r(&iTime, &oLocal) != nullptr; }

void OpenStandardStreams() noexcept
{
    for (int stream = 0; stream <= 2; ++stream)
    {
        if (::fcntl(stream, F_GETFD) == -1)
            static_cast<void>(::open("/dev/null", O_RDWR)); // takes the lowest free number, which is this one
    }
}

} // namespace Builtin::System
