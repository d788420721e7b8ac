// The ten routers of the "Kernel" component, and the one call that writes a line to one of them.
#pragma once

#include "platform/QLog.h"

#include <array>
#include <atomic>
#include <cstddef>

enum class EnumKernelRouter
{
    Fatal,
    Error,
    Warning,
    Info,
    Trace,
    ScopeTrace,
    JobTrace,
    PerfTrace,
    DisplayTrace,
    MemoryTrace,
};

namespace KernelLog
{

inline constexpr std::size_t cRouterCount = 10;

/// Filled and emptied by QORJOB::Initializer; all null while no initialiser lives.
extern std::array<std::atomic<QLog::Router*>, cRouterCount> gRouters;

/// The router when it is there and switched on, else null.
inline QLog::Router* EnabledRouter(EnumKernelRouter iRouter)
{
    QLog::Router* router = gRouters[static_cast<std::size_t>(iRouter)].load(std::memory_order_acquire);
    return router != nullptr && router->IsEnabled() ? router : nullptr;
}

/// For a line that could not be written: its template goes to standard error, which needs no memory.
void ReportLostLine(const char* iTemplate) noexcept;

/// Where a call of an operation without a body ends, and with it the process.
[[noreturn]] void EndOfPureCall() noexcept;

// A log line must never change what an operation does: whatever goes wrong while it is formatted or written ends here.
template <class... Arguments>
[[gnu::noinline, gnu::cold]] void WriteLine(QLog::Router* iRouter, const char* iTemplate,
                                            const Arguments&... iArguments) noexcept
{
    try
    {
        QLog::MessageFormatter formatter;
        static_cast<void>((formatter << ... << iArguments));
        iRouter->LogLine(iTemplate, formatter);
    }
    catch (...)
    {
        ReportLostLine(iTemplate);
    }
}

template <class... Arguments>
[[gnu::noinline, gnu::cold]] void WriteCoded(QLog::Router* iRouter, HRESULT iCode, const char* iTemplateName,
                                             const char* iOrigin, const Arguments&... iArguments) noexcept
{
    try
    {
        QLog::MessageFormatter formatter;
        static_cast<void>((formatter << ... << iArguments));
        iRouter->LogCoded(iCode, iTemplateName, iOrigin, formatter);
    }
    catch (...)
    {
        ReportLostLine(iTemplateName);
    }
}

} // namespace KernelLog

/// Writes `iTemplate` with the arguments (numbers, texts, QLog::Format manipulators) when the router is switched on.
template <class... Arguments>
void LogLine(EnumKernelRouter iRouter, const char* iTemplate, const Arguments&... iArguments) noexcept
{
    if (QLog::Router* router = KernelLog::EnabledRouter(iRouter)) [[unlikely]]
        KernelLog::WriteLine(router, iTemplate, iArguments...);
}

/// Writes an entry of the message catalogue when the router is switched on.
template <class... Arguments>
void LogCoded(EnumKernelRouter iRouter, HRESULT iCode, const char* iTemplateName, const char* iOrigin,
              const Arguments&... iArguments) noexcept
{
    if (QLog::Router* router = KernelLog::EnabledRouter(iRouter)) [[unlikely]]
        KernelLog::WriteCoded(router, iCode, iTemplateName, iOrigin, iArguments...);
}
