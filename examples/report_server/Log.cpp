#include "Log.h"

#include "Text.h"
#include "qorjob.h"
#include "qormonitor.h"

#include <cstdio>
#include <mutex>
#include <utility>

namespace
{

std::mutex gMutex; // guards the taker
LogTaker gTaker;
bool gbService = false;

void Log(const char* iLevel, const std::string& iText, int iRequest)
{
    const std::string text = OnOneLine(iText);
    std::string head = "report_server: ";
    if (gbService)
        head = QORMONITOR::ToIso(QORMonitor::Now()) + " thread " + std::to_string(QBase::GetCurrentThreadID()) +
               " request " + (iRequest == 0 ? "-" : std::to_string(iRequest)) + " " + iLevel + ": ";
    const std::lock_guard hold(gMutex);
    if (gTaker)
        gTaker(text);
    else
        // One call: lines of several threads stay whole.
        std::fprintf(stderr, "%s%s\n", head.c_str(), text.c_str());
}

} // namespace

void LogError(const std::string& iText, int iRequest) { Log("error", iText, iRequest); }

void LogInfo(const std::string& iText, int iRequest)
{
    if (gbService)
        Log("info", iText, iRequest);
}

void LogAsService() { gbService = true; }

void SetLogTaker(LogTaker iTaker)
{
    const std::lock_guard hold(gMutex);
    gTaker = std::move(iTaker);
}
