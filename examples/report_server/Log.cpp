#include "Log.h"

#include "Text.h"

#include <cstdio>
#include <mutex>
#include <utility>

namespace
{

std::mutex gMutex; // guards the taker
LogTaker gTaker;

} // namespace

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

void SetLogTaker(LogTaker iTaker)
{
    const std::lock_guard hold(gMutex);
    gTaker = std::move(iTaker);
}
