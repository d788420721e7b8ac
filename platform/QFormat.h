// The format library: the locale in which numbers and texts are shown.
#pragma once

#include "platform/Export.h"

namespace QFormat
{

/// The user's default locale; its low 16 bits are the language, such as 0x409.
QORJOB_API unsigned GetUserDefaultLCID() noexcept;

} // namespace QFormat
