// The server's answer to a request: the output message of the request's process context. Errors of a job are written
// there by the job itself: see Failure.h. All throw JobCallError.
#pragma once

#include "qorjob.h"

#include <string>

void PackResult(ICKDXProcessContext& ioContext, const std::string& iText);

/// What the answer holds so far goes.
void ForgetAnswer(ICKDXProcessContext& ioContext);

/// Both in place of what the answer holds so far. The error is that of a request that hasn't become a job; `iWhere`:
/// what the server was doing.
void PackError(ICKDXProcessContext& ioContext, int iJobId, const std::string& iWhere, const std::string& iReason);
void PackCancelled(ICKDXProcessContext& ioContext);

/// The answer as it stands; without any entry it says that nothing will come.
void SendAnswer(ICKDXProcessContext& ioContext, QORChannel& ioClient);
/// The same by the context's delivery object.
void DeliverAnswer(ICKDXProcessContext& ioContext);

/// To a client whose result will be delivered elsewhere: the one answer that it gets.
void SendAccepted(ICKDXReadMessage* iRequest, QORChannel& ioClient);
