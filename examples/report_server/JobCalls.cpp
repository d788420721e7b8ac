#include "JobCalls.h"

#include <array>
#include <cstdio>

void Expect(HRESULT iCode, const char* iOperation)
{
    if (SUCCEEDED(iCode))
        return;
    std::array<char, 16> code{};
    std::snprintf(code.data(), code.size(), "0x%08X", static_cast<unsigned>(iCode));
    throw JobCallError(std::string(iOperation) + " failed with " + code.data());
}

std::string StepNameOf(int iStepId) { return QBase::WideCharToUTF8(GetStepName(iStepId)); }

HRESULT GiveText(const std::string& iText, BSTR* oText)
{
    if (oText == nullptr)
        return E_POINTER;
    *oText = SysAllocString(QBase::UTF8ToWideChar(iText).c_str());
    return *oText == nullptr ? E_OUTOFMEMORY : S_OK;
}

int StatusOf(const QORJob& iJob)
{
    int status = JobReady;
    Expect(iJob.GetStatus(&status), "GetStatus");
    return status;
}
