// The server's answer to a request: the output message of the request's process context. All throw JobCallError.
#pragma once

#include "qorjob.h"

#include <string>

void PackResult(ICKDXProcessContext& ioContext, const std::string& iText);

/// Both in place of what the answer holds so far. `iWhere`: what the server was doing.
void PackError(ICKDXProcessContext& ioContext, int iJobId, const std::string& iWhere, const std::string& iReason);
void PackCancelled(ICKDXProcessContext& ioContext);

/// The answer as it stands; without any entry it says that nothing will come.
void SendAnswer(ICKDXProcessContext& ioContext, QORChannel& ioClient);
