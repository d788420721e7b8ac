#include "job/ExceptionBoundary.h"

#include "platform/QBase.h"
#include "task/KernelLog.h"

HRESULT CodeOfExceptionInFlight(const char* iOperation, int iJobId) noexcept
{
    try
    {
        throw;
    }
    catch (const QBase::Message& message)
    {
        LogCoded(EnumKernelRouter::Error, cMessageExceptionLogged, "QOR_JOB_EXCEPTION", iOperation, iOperation, iJobId,
                 message.what());
        return cMessageExceptionMet;
    }
    catch (...)
    {
        LogCoded(EnumKernelRouter::Fatal, cSystemExceptionLogged, "QOR_JOB_SYSTEMEXCEPTION", iOperation, iOperation,
                 iJobId);
        return cSystemExceptionMet;
    }
}
