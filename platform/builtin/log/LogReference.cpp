#include "platform/LogReference.h"

#include "platform/builtin/EventTrace.h"

void LogReference(const void*, int iAdd, int iKind) noexcept
{
    Builtin::EventTrace::Note("LogReference", {iAdd, iKind});
}
