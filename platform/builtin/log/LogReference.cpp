#include "platform/LogReference.h"

#include "platform/builtin/EventTrace.h"

void LogReference(const void*, int iAdd, int iKind) noexcept { EventTrace::Note("LogReference", {iAdd, iKind}); }
