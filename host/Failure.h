// From what a step throws to the error of its job.
#pragma once

#include "host/QORHostTypes.h"

#include <exception>
#include <string>

namespace QORHOST
{

// Codes of the kernel's catalogue, with their texts.

/// "%1 of job %2 failed: %3"
inline constexpr auto cStepFailed = static_cast<HRESULT>(0x80043095);
/// "An exception was thrown in %1 for job %2: %3"
inline constexpr auto cJobException = static_cast<HRESULT>(0x8004308E);
/// "An unknown exception was thrown in %1 for job %2."
inline constexpr auto cUnknownException = static_cast<HRESULT>(0x8004308F);
/// "The job was cancelled."
inline constexpr auto cJobCancelled = static_cast<HRESULT>(0x80043014);
/// "The task was aborted."
inline constexpr auto cTaskAborted = static_cast<HRESULT>(0x8004FE0F);

/// The error of a job whose step threw that, as what a step can throw itself. A code without a text in any catalogue is
/// replaced by cStepFailed.
QORHostError ToError(const std::exception_ptr& iFailure, const std::string& iStep, int iJobId);

/// "%1 of job %2 failed: %3", for what the host has found out.
QORHostError MakeError(const std::string& iStep, int iJobId, const std::string& iReason);

/// Makes the job an error job, as QORJob::GetJobErrorBuilder says; what the output message has of an answer is
/// forgotten before. Throws std::bad_alloc, and what the objects of the job's context throw.
void ReportError(QORJob& ioJob, ICKDXProcessContext* ioContext, const QORHostError& iError);

/// The cancellation is the answer in the output message, and nothing else.
void ReportCancellation(ICKDXProcessContext* ioContext, const std::string& iReason);

} // namespace QORHOST
