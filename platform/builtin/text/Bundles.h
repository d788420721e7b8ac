// The message bundles of the catalogue.
#pragma once

#include "platform/QBase.h"
#include "platform/QResource.h"

namespace Builtin
{

/// The bundle of that name; empty when there is none. `iLanguageId`: the meaning of language 0 in it; 0: the calling
/// thread's.
QBase::ReturnPtrI<QResource::Bundle> OpenBundle(const char* iName, unsigned iLanguageId);

} // namespace Builtin
