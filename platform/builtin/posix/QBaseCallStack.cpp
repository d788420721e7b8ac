#include "platform/QBase.h"

#if __has_include(<execinfo.h>)

#include "platform/QResource.h"
#include "platform/builtin/base/System.h"

#include <execinfo.h>
#include <unistd.h>

#include <cstdlib>
#include <iterator>
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

void Builtin::System::CallStack::Capture() noexcept { mCount = ::backtrace(mCalls, std::size(mCalls)); }

void Builtin::System::CallStack::Print() const noexcept { ::backtrace_symbols_fd(mCalls, mCount, STDERR_FILENO); }

#else

#include "platform/builtin/base/System.h"

// The C library knows no call stacks.
std::string QBase::GetCallStackText() { return {}; }

void Builtin::System::CallStack::Capture() noexcept {}

void Builtin::System::CallStack::Print() const noexcept {}

#endif
