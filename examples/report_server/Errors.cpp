#include "Errors.h"

#include "Text.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <mutex>
#include <system_error>
#include <utility>

namespace
{

std::mutex gMutex; // guards the taker
ErrorTaker gTaker;

} // namespace

void Expect(HRESULT iCode, const char* iOperation)
{
    if (SUCCEEDED(iCode))
        return;
    std::array<char, 16> code{};
    std::snprintf(code.data(), code.size(), "0x%08X", static_cast<unsigned>(iCode));
    throw std::runtime_error(std::string(iOperation) + " failed with " + code.data());
}

std::string SystemReason() { return std::generic_category().message(errno); }

void LogError(const std::string& iText)
{
    const std::string line = OnOneLine(iText);
    const std::lock_guard hold(gMutex);
    if (gTaker)
        gTaker(line);
    else
        // One call: lines of several threads stay whole.
        std::fprintf(stderr, "report_server: %s\n", line.c_str());
}

void SetErrorTaker(ErrorTaker iTaker)
{
    const std::lock_guard hold(gMutex);
    gTaker = std::move(iTaker);
}
