#include "platform/QBase.h"

#if __has_include(<execinfo.h>)

#include "platform/QResource.h"
#include "platform/builtin/base/System.h"

#include <execinfo.h>
#include <pthread.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
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

#if defined(__GLIBC__)

namespace
{

/// What a function that keeps its frame pointer, as in builds for debugging, has put on the stack first.
struct Frame
{
    const Frame* mpCaller;
    void* mpReturn;
};

const void* FindStackEnd() noexcept
{
    pthread_attr_t attributes;
    void* begin = nullptr;
    std::size_t size = 0;
    if (::pthread_getattr_np(::pthread_self(), &attributes) != 0)
        return nullptr;
    ::pthread_attr_getstack(&attributes, &begin, &size);
    ::pthread_attr_destroy(&attributes);
    return static_cast<std::byte*>(begin) + size;
}

} // namespace

/// From frame to frame: a debug build captures a stack with each lock, and to unwind it would cost a hundred times
/// that. A function that keeps no frame may end the row, but leads nowhere outside of the thread's own stack: what lies
/// there is read, whatever it is.
__attribute__((no_sanitize("address"))) void Builtin::System::CallStack::Capture() noexcept
{
    static thread_local const void* const tStackEnd = FindStackEnd();
    const std::less<const void*> isBelow;
    const auto* frame = static_cast<const Frame*>(__builtin_frame_address(0));
    mCount = 0;
    while (mCount < static_cast<int>(std::size(mCalls)) && isBelow(frame + 1, tStackEnd))
    {
        mCalls[mCount++] = frame->mpReturn;
        const Frame* const caller = frame->mpCaller;
        if (!isBelow(frame, caller) || reinterpret_cast<std::uintptr_t>(caller) % alignof(Frame) != 0)
            break;
        frame = caller;
    }
}

#else

void Builtin::System::CallStack::Capture() noexcept { mCount = ::backtrace(mCalls, std::size(mCalls)); }

#endif

void Builtin::System::CallStack::Print() const noexcept { ::backtrace_symbols_fd(mCalls, mCount, STDERR_FILENO); }

#else

#include "platform/builtin/base/System.h"

// The C library knows no call stacks.
std::string QBase::GetCallStackText() { return {}; }

void Builtin::System::CallStack::Capture() noexcept {}

void Builtin::System::CallStack::Print() const noexcept {}

#endif
