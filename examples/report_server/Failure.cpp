#include "Failure.h"

#include "Errors.h"
#include "JobCalls.h"
#include "JobMemory.h"
#include "Printable.h"

#include <new>

namespace
{

// Codes of the kernel's catalogue, with their texts.

/// "%1 of job %2 failed: %3": for what a user can understand.
constexpr auto cStepFailed = static_cast<HRESULT>(0x80043095);

/// "An exception was thrown in %1 for job %2: %3"
constexpr auto cJobException = static_cast<HRESULT>(0x8004308E);

/// "An unknown exception was thrown in %1 for job %2."
constexpr auto cUnknownException = static_cast<HRESULT>(0x8004308F);

/// The builder holds the job's lock, sets the job's status and rewrites its list of steps; as it goes the error is in
/// the job's answer, as code and arguments.
template <class... Arguments>
void Report(QORJob& ioJob, HRESULT iCode, const Arguments&... iArguments)
{
    const auto error = ioJob.GetJobErrorBuilder(iCode);
    if (!error)
        throw std::bad_alloc();
    static_cast<void>((*error << ... << iArguments));
}

} // namespace

std::string ReportFailure(QORJob& ioJob, int iStepId, const std::exception_ptr& iFailure)
{
    const QBase::WCHAR* const step = GetStepName(iStepId);
    const int job = ioJob.GetId().Get();
    try
    {
        std::rethrow_exception(iFailure);
    }
    catch (const MemoryRefusal& refusal)
    {
        Report(ioJob, cMemoryRefused, refusal.GetJobId(), refusal.GetLimitMegabytes());
    }
    catch (const RequestError& error)
    {
        Report(ioJob, cStepFailed, step, job, QBase::UTF8ToWideChar(OnOneLine(error.what())).c_str());
    }
    catch (const std::bad_alloc&)
    {
        Report(ioJob, E_OUTOFMEMORY); // a text without arguments
    }
    catch (const std::exception& error) // QBase::Message is one, too
    {
        Report(ioJob, cJobException, step, job, QBase::UTF8ToWideChar(OnOneLine(error.what())).c_str());
    }
    catch (...)
    {
        Report(ioJob, cUnknownException, step, job);
    }
    return ReasonOf(iFailure);
}

void ReportException(QORJob& ioJob, const std::string& iWhere, const std::string& iReason)
{
    Report(ioJob, cJobException, QBase::UTF8ToWideChar(iWhere).c_str(), ioJob.GetId().Get(),
           QBase::UTF8ToWideChar(OnOneLine(iReason)).c_str());
}

std::string ReasonOf(const std::exception_ptr& iFailure)
{
    try
    {
        std::rethrow_exception(iFailure);
    }
    catch (const std::exception& error)
    {
        return error.what();
    }
    catch (...)
    {
        return "an unknown exception";
    }
}
