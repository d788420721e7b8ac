// The log lines of a test.
#pragma once

#include "platform/builtin/LogSinks.h"

#include <mutex>
#include <string>
#include <vector>

/// Switches all routers of "Kernel" on while it lives, and keeps what goes through them.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// What was logged since the last call; a line as "Job Trace: text", a coded entry as
    /// "Error: 8004308E TEMPLATE (origin): arguments".
    std::vector<std::string> Take();

private:
    std::mutex mMutex;
    std::vector<LogSinks::Line> mLines;
    int mSinkId;
};
