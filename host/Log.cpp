#include "host/Log.h"

#include "host/Boundary.h"

#include <cstdio>

namespace QORHOST
{

Log::Log()
{
    constexpr int cRouterLocks = 0; // the category is for diagnostics
    constexpr const char* cNames[] = {"Error", "Warning", "Info"};
    for (std::size_t i = 0; i < std::size(cNames); ++i)
        mRouters[i] = QLog::CreateRouter("Host", cNames[i], cRouterLocks);
}

std::string Log::Show(const std::exception_ptr& iFailure) { return ReasonOf(iFailure); }

/// To standard error, which takes no memory.
void Log::ReportLost(const char* iTemplate) noexcept
{
    std::fprintf(stderr, "Host: a line couldn't be logged: %s\n", iTemplate);
}

} // namespace QORHOST
