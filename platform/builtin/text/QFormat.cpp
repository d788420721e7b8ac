#include "platform/QFormat.h"

#include "platform/builtin/base/SetValues.h"

unsigned QFormat::GetUserDefaultLCID() noexcept { return Builtin::SetValues::GetUserDefaultLCID(); }
