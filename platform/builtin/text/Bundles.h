// The message bundles, made of the catalogue.
#pragma once

#include "platform/QBase.h"
#include "platform/QResource.h"

namespace Builtin
{

/// The bundle of that name; empty when there is none. `iLanguageId`: what language 0 stands for in it; 0 for that of
/// the calling thread.
QBase::ReturnPtrI<QResource::Bundle> OpenBundle(const char* iName, unsigned iLanguageId);

} // namespace Builtin
