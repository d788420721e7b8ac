// The messages between client and server, one entry a field, and the answer in the output message of a request's
// process context. All throw std::runtime_error for what the library refuses.
#pragma once

#include "client/Request.h"
#include "qorjob.h"

#include <string>

QBase::PtrI<ICKDXReadMessage> PackRequest(const Request& iRequest);
/// Throws RequestError for a message that is no request.
Request UnpackRequest(ICKDXReadMessage& iMessage);

/// An answer in the language of the locale; its errors are marked.
std::string ReadAnswer(ICKDXReadMessage& iAnswer, unsigned iLocale, const char* iMark = "error: ");
bool IsError(ICKDXReadMessage& iAnswer);

// --- The server's side. The errors of jobs are packed by the library. ---

void PackResult(ICKDXProcessContext& ioContext, const std::string& iText);
/// In place of what the answer holds: for a request that hasn't become a job.
void PackError(ICKDXProcessContext& ioContext, int iJobId, const std::string& iReason);
/// The answer as it stands; without any entry it says that nothing will come. By the context's delivery object, if it
/// has one.
void SendAnswer(ICKDXProcessContext& ioContext, QORChannel& ioClient);
/// To a client whose result will be delivered elsewhere: the one answer that it gets.
void SendAccepted(ICKDXReadMessage* iRequest, QORChannel& ioClient);
