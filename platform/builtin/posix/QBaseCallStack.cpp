#include "platform/QBase.h"

#if __has_include(<execinfo.h>)

#include "platform/QResource.h"

#include <execinfo.h>

#include <cstdlib>
#include <memory>

std::string QBase::GetCallStackText()
{
    constexpr int cMaxCalls = 62; // as many as on Windows
    void* calls[cMaxCalls];
    const int count = ::backtrace(calls, cMaxCalls);
    const std::unique_ptr<char*, decltype(&std::free)> names(::backtrace_symbols(calls, count), &std::free);

    QResource::MessageFormatter lines;
    std::string text;
    for (int call = 1; call < count; ++call) // the first one is this function's own
    {
        if (names != nullptr)
            lines << names.get()[call];
        else
            lines << static_cast<const void*>(calls[call]);
        text.append(call == 1 ? "" : "\n").append(lines.GetArguments().back());
    }
    return text;
}

#else

// The C library knows no call stacks.
std::string QBase::GetCallStackText() { return {}; }

#endif
