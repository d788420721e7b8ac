// The sinks of log lines. Without a sink nothing is written. The environment variable QORJOB_LOG names the routers that
// are on from the start ("Kernel/Job Trace,Kernel/Error", or "all") and sends their lines to standard error, or to the
// file that QORJOB_LOG_FILE names. Mistakes in the two are reported on standard error: at once, or at the end when
// there never was a router of that name.
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

/// Sinks are called one line at a time, under the sinks' own lock: a sink must not log. The result is the id for
/// RemoveSink.
QORJOB_API int AddSink(Sink iSink);
QORJOB_API void RemoveSink(int iSinkId);

/// The line as it is written to standard error and to files.
QORJOB_API std::string ToText(const Line& iLine);

/// Adds a sink that appends to a file; throws QBase::Message when it can't be opened. A file
/// or standard error that is added twice gets each line once.
QORJOB_API int AddFileSink(const std::string& iPath);
QORJOB_API int AddStandardErrorSink();

/// Switches a router on or off, also before it is made. `iName` "*" means all of the component.
QORJOB_API void Enable(const std::string& iComponent, const std::string& iName, bool ibEnabled);

/// The platform's side: passes a line to the sinks. Without sinks callers need not make it.
bool HasSinks() noexcept;
void Write(const Line& iLine);

} // namespace Builtin::LogSinks
