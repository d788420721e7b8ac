#include "platform/QBase.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>

#if defined(__has_include)
#if __has_include(<execinfo.h>)
#define QORJOB_HAS_BACKTRACE 1
#include <execinfo.h>

#include <cstdlib>
#include <memory>
#endif
#endif

namespace
{

constexpr unsigned cMaxCalls = 62; // what the older systems of Windows capture at most

using Calls = std::array<void*, cMaxCalls>;

unsigned CaptureCalls([[maybe_unused]] Calls& oCalls)
{
#if defined(_WIN32)
    return CaptureStackBackTrace(0, cMaxCalls, oCalls.data(), nullptr);
#elif defined(QORJOB_HAS_BACKTRACE)
    return static_cast<unsigned>(backtrace(oCalls.data(), cMaxCalls));
#else
    return 0;
#endif
}

std::string AddressOf(const void* iCall)
{
    char text[24];
    std::snprintf(text, sizeof(text), "0x%llX",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(iCall)));
    return text;
}

} // namespace

std::string QBase::GetCallStackText()
{
    Calls calls{};
    const unsigned count = CaptureCalls(calls);
#if defined(QORJOB_HAS_BACKTRACE)
    const std::unique_ptr<char*, decltype(&std::free)> names(backtrace_symbols(calls.data(), static_cast<int>(count)),
                                                             &std::free);
#endif
    std::string text;
    for (unsigned call = 1; call < count; ++call) // the first one is this function's own
    {
        if (call != 1)
            text += '\n';
#if defined(QORJOB_HAS_BACKTRACE)
        text += names != nullptr ? names.get()[call] : AddressOf(calls[call]);
#else
        text += AddressOf(calls[call]);
#endif
    }
    return text;
}
