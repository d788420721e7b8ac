#include "base/ExceptionBoundary.h"

#include "base/KernelLog.h"

HRESULT CodeOfExceptionInFlight(const char* iOperation, int iJobId) noexcept
{
    return CodeOfExceptionInFlight([=](const char* iText) {
        if (iText != nullptr)
            LogCoded(EnumKernelRouter::Error, cMessageExceptionLogged, "QOR_JOB_EXCEPTION", iOperation, iOperation,
                     iJobId, iText);
        else
            LogCoded(EnumKernelRouter::Fatal, cSystemExceptionLogged, "QOR_JOB_SYSTEMEXCEPTION", iOperation, iOperation,
                     iJobId);
    });
}
