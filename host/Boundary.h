// The host's one boundary to what may throw: the server's code, and calls of the job library that fail.
#pragma once

#include "host/QORHostJob.h"

#include <exception>
#include <new>
#include <stdexcept>
#include <string>

namespace QORHOST
{

/// An operation of the job library has failed.
class CallError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

[[noreturn]] void ThrowCallError(HRESULT iCode, const char* iOperation);

/// Throws CallError, with the operation's name and the code, unless the code is a success.
inline void Expect(HRESULT iCode, const char* iOperation)
{
    if (FAILED(iCode)) [[unlikely]]
        ThrowCallError(iCode, iOperation);
}

/// For calls that can lack nothing else.
inline void ExpectMemory(HRESULT iCode)
{
    if (FAILED(iCode)) [[unlikely]]
        throw std::bad_alloc();
}

int StatusOf(const QORJob& iJob);

/// The steps that are still run in a job that has failed or was cancelled, beside the closing one.
constexpr bool IsReportingStep(int iStepId)
{
    return iStepId == StepSendingErrorMessage || iStepId == StepSendingOutputMessage ||
           iStepId == StepSendingDocumentResult || iStepId == StepDelivery;
}

/// "0x80043095"
std::string ToText(HRESULT iCode);

/// In words, whatever it is.
std::string ReasonOf(const std::exception_ptr& iFailure);

/// What the body throws; null when it throws nothing.
template <class Body>
std::exception_ptr Catch(Body&& iBody) noexcept
{
    try
    {
        iBody();
        return nullptr;
    }
    catch (...)
    {
        return std::current_exception();
    }
}

/// What the body gives; that there is no memory, where that is what it lacks.
template <class Body>
QORHostSubmission OrNoMemory(Body&& iBody)
{
    try
    {
        return iBody();
    }
    catch (const std::bad_alloc&)
    {
        return {EnumHostSubmit::NoMemory, {}};
    }
}

/// Whether it was thrown as `Exception`; `iThen` gets it.
template <class Exception, class Then>
bool IsA(const std::exception_ptr& iFailure, Then&& iThen)
{
    try
    {
        std::rethrow_exception(iFailure);
    }
    catch (const Exception& exception)
    {
        iThen(exception);
        return true;
    }
    catch (...)
    {
        return false;
    }
}

} // namespace QORHOST
