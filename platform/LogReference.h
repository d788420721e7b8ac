// The stack library's log of references to counted objects.
#pragma once

#include "platform/Export.h"

enum EnumReferenceKind : int
{
    ReferenceKindJob = 1,
    ReferenceKindProcessContext = 4,
};

/// `iAdd`: 1 a reference is taken, 0 it is released. Called before the count changes.
QORJOB_API void LogReference(const void* iObject, int iAdd, int iKind) noexcept;
