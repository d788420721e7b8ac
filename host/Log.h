// The host's log: the routers Error, Warning and Info of the component "Host".
#pragma once

#include "host/Boundary.h"
#include "qorjob.h"

#include <cstddef>
#include <exception>
#include <string>

namespace QORHOST
{

enum class EnumRouter
{
    Error,
    Warning,
    Info,
};

/// Threads: any.
/// Owns:    a reference to each router.
/// Errors:  the constructor throws QBase::Message or std::bad_alloc. What can't be written is left out: logging never
///          changes what becomes of a job.
/// Locks:   the log sinks'.
class Log
{
public:
    Log();

    /// Fills `iTemplate` with the arguments: numbers, texts, and exceptions, of which the reason is shown.
    template <class... Arguments>
    void Write(EnumRouter iRouter, const char* iTemplate, const Arguments&... iArguments) const noexcept
    {
        QLog::Router* const router = mRouters[static_cast<std::size_t>(iRouter)].Get();
        if (!router->IsEnabled())
            return;
        const std::exception_ptr failure = Catch([&] {
            QLog::MessageFormatter formatter;
            static_cast<void>((formatter << ... << Show(iArguments)));
            router->LogLine(iTemplate, formatter);
        });
        if (failure != nullptr)
            ReportLost(iTemplate);
    }

private:
    template <class Argument>
    static const Argument& Show(const Argument& iArgument)
    {
        return iArgument;
    }
    static std::string Show(const std::exception_ptr& iFailure);
    static void ReportLost(const char* iTemplate) noexcept;

    QLog::Initializer mInitializer;
    QBase::PtrI<QLog::Router> mRouters[3];
};

} // namespace QORHOST
