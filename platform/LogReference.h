// The stack library's reference logger: who took and dropped references to what.
#pragma once

#include "platform/Export.h"

enum EnumReferenceKind : int
{
    ReferenceKindJob = 1,
    ReferenceKindProcessContext = 4,
};

/// `iAdd`: 1 a reference is taken, 0 it is dropped. Called before the count changes.
QORJOB_API void LogReference(const void* iObject, int iAdd, int iKind) noexcept;
