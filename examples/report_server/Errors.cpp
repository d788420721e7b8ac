#include "Errors.h"

#include "Printable.h"

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
