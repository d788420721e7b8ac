// The server's own log: a line to standard error for each thing that somebody should know.
#pragma once

#include <functional>
#include <string>

/// Any thread.
void LogError(const std::string& iText);

/// For who draws on the terminal: takes the lines in place of standard error. Must not log errors. An empty one:
/// standard error again.
using LogTaker = std::function<void(const std::string& iText)>;
void SetLogTaker(LogTaker iTaker);
