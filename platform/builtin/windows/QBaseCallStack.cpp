#include "platform/QBase.h"
#include "platform/QResource.h"
#include "platform/builtin/base/System.h"

#include <cstdio>
#include <iterator>

std::string QBase::GetCallStackText()
{
    constexpr DWORD cMaxCalls = 62; // what the older systems capture at most
    void* calls[cMaxCalls];
    const unsigned count = ::CaptureStackBackTrace(0, cMaxCalls, calls, nullptr);

    QResource::MessageFormatter lines;
    std::string text;
    for (unsigned call = 1; call < count; ++call) // the first one is this function's own
    {
        lines << static_cast<const void*>(calls[call]);
        text.append(call == 1 ? "" : "\n").append(lines.GetArguments().back());
    }
    return text;
}

void Builtin::System::CallStack::Capture() noexcept
{
    mCount = ::CaptureStackBackTrace(0, static_cast<DWORD>(std::size(mCalls)), mCalls, nullptr);
}

void Builtin::System::CallStack::Print() const noexcept
{
    for (int call = 0; call < mCount; ++call)
        std::fprintf(stderr, "%p\n", mCalls[call]);
}
