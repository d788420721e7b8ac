// The logging library: routers that can be switched on, and the lines that go through them.
#pragma once

#include "platform/Export.h"
#include "platform/QBase.h"
#include "platform/QResource.h"
#include "platform/Windows.h"

#include <atomic>

namespace QLog
{

using QResource::MessageFormatter;

/// Manipulators: stream them into a formatter before the numbers that they are for.
namespace Format
{
QORJOB_API void Hex(MessageFormatter& ioFormatter);
QORJOB_API void Dec(MessageFormatter& ioFormatter);
QORJOB_API void WideHex(MessageFormatter& ioFormatter);
} // namespace Format

/// One category of one component's log, such as "Kernel"/"Job Trace". It is a source of messages, too: it has the texts
/// of its component, and records the finished messages.
///
/// Threads: any.
/// Owns:    itself, by reference count.
/// Errors:  its operations throw std::bad_alloc only.
/// Locks:   the sinks' own.
class QORJOB_API Router : public QResource::MessageSource
{
public:
    /// To be tested before anything is formatted.
    bool IsEnabled() const noexcept { return mbEnabled.load(std::memory_order_relaxed); }

    /// Writes `iTemplate`, filled with the arguments.
    virtual void LogLine(const char* iTemplate, const MessageFormatter& iArguments) = 0;

    /// Writes an entry of the message catalogue: its code, the name of its template, the operation it comes from (may
    /// be null), and its arguments.
    virtual void LogCoded(HRESULT iCode, const char* iTemplateName, const char* iOrigin,
                          const MessageFormatter& iArguments) = 0;

protected:
    virtual ~Router() = default;

    std::atomic<bool> mbEnabled{false};
};

/// Hands out the router of that component and name, making it when it is not there yet. Throws QBase::Message when it
/// can't be made.
QORJOB_API QBase::ReturnPtrI<Router> CreateRouter(const char* iComponent, const char* iName, int iLockCategory);

/// Brings the logging library up with the first object and down with the last one. Throws QBase::Message when it can't
/// be brought up.
class QORJOB_API Initializer
{
public:
    Initializer();
    ~Initializer();
    Initializer(const Initializer&) = delete;
    Initializer& operator=(const Initializer&) = delete;
};

} // namespace QLog
