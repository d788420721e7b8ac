#include "host/Log.h"

#include "host/Boundary.h"

#include <cstdio>

namespace QORHOST
{

namespace
{

constexpr int cRouterLocks = 0; // the category is for diagnostics

} // namespace

Log::Log()
    : mRouters{QLog::CreateRouter("Host", "Error", cRouterLocks), QLog::CreateRouter("Host", "Warning", cRouterLocks),
               QLog::CreateRouter("Host", "Info", cRouterLocks)}
{
}

std::string Log::Show(const std::exception_ptr& iFailure) { return ReasonOf(iFailure); }

/// To standard error, which takes no memory.
void Log::ReportLost(const char* iTemplate) noexcept
{
    std::fprintf(stderr, "Host: a line couldn't be logged: %s\n", iTemplate);
}

} // namespace QORHOST
