// The ten log routers of the "Kernel" component, and the functions that write to them.
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

/// Set and cleared by QORJOB::Initializer; all null while no initialiser exists.
extern std::array<std::atomic<QLog::Router*>, cRouterCount> gRouters;

/// The router if it exists and is enabled, else null.
inline QLog::Router* EnabledRouter(EnumKernelRouter iRouter)
{
    QLog::Router* router = gRouters[static_cast<std::size_t>(iRouter)].load(std::memory_order_acquire);
    return router != nullptr && router->IsEnabled() ? router : nullptr;
}

/// Writes the template of a line that could not be logged to standard error, which needs no memory.
void ReportLostLine(const char* iTemplate) noexcept;

// Logging must never change what an operation does: failures to format or to write a line end here.
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

/// Writes `iTemplate` with the arguments (numbers, texts, QLog::Format manipulators) if the router is enabled.
template <class... Arguments>
void LogLine(EnumKernelRouter iRouter, const char* iTemplate, const Arguments&... iArguments) noexcept
{
    if (QLog::Router* router = KernelLog::EnabledRouter(iRouter)) [[unlikely]]
        KernelLog::WriteLine(router, iTemplate, iArguments...);
}

/// Writes an entry of the message catalogue if the router is enabled.
template <class... Arguments>
void LogCoded(EnumKernelRouter iRouter, HRESULT iCode, const char* iTemplateName, const char* iOrigin,
              const Arguments&... iArguments) noexcept
{
    if (QLog::Router* router = KernelLog::EnabledRouter(iRouter)) [[unlikely]]
        KernelLog::WriteCoded(router, iCode, iTemplateName, iOrigin, iArguments...);
}
