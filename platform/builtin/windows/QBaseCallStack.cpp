#include "platform/QBase.h"
#include "platform/QResource.h"

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
