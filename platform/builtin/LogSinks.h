// Where log lines go. Without a sink nothing is written. The environment variable QORJOB_LOG names the routers that are
// on from the start ("Kernel/Job Trace,Kernel/Error", or "all") and sends their lines to standard error, or to the file
// that QORJOB_LOG_FILE names. What is wrong with the two is said on standard error: at once, or, of a router that
// nobody makes, at the end.
#pragma once

#include "platform/Export.h"
#include "platform/Windows.h"

#include <functional>
#include <string>
#include <vector>

namespace Builtin::LogSinks
{

struct Line
{
    std::string mComponent;
    std::string mRouter;
    std::string mText;         ///< the filled template, the recorded text, or the arguments of a coded entry
    HRESULT mCode = 0;         ///< 0: a plain line
    std::string mTemplateName; ///< of a coded entry
    std::string mOrigin;
    DWORD mThreadId = 0;
};

using Sink = std::function<void(const Line&)>;

/// Sinks are called one line at a time, under the logging library's lock: a sink must not log. The result removes it.
QORJOB_API int AddSink(Sink iSink);
QORJOB_API void RemoveSink(int iSinkId);

/// The line as standard error and files show it.
QORJOB_API std::string ToText(const Line& iLine);

/// Adds a sink that appends to a file; throws QBase::Message when it can't be opened. What is added twice, the file of
/// a path or standard error, has each line once.
QORJOB_API int AddFileSink(const std::string& iPath);
QORJOB_API int AddStandardErrorSink();

/// Switches a router on or off, also before it is made. `iName` "*" means all of the component.
QORJOB_API void Enable(const std::string& iComponent, const std::string& iName, bool ibEnabled);

/// Platform's side: hands a line to the sinks. Without one, callers needn't make it.
bool HasSinks() noexcept;
void Write(const Line& iLine);

} // namespace Builtin::LogSinks
