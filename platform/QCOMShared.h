// The COM shared library: helpers that the modules behind COM interfaces share.
#pragma once

#include "platform/Export.h"
#include "platform/Windows.h"

#include <map>
#include <string>

namespace QCOMShared
{

/// Writes the properties as one JSON object, in the order of their keys, each value as a string. What is malformed in
/// their UTF-8 becomes U+FFFD. Errors: E_OUTOFMEMORY; `oMessage` is unchanged then.
QORJOB_API HRESULT GetLogMessageInJSON(const std::map<std::string, std::string>& iProperties, std::string& oMessage);

} // namespace QCOMShared
