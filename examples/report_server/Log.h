// The server's own log: a line to standard error for each thing that somebody should know.
#pragma once

#include <functional>
#include <string>

/// Any thread. `iRequest`: the number of the request that it is about; 0: none.
void LogError(const std::string& iText, int iRequest = 0);
/// What went as it should; told only after LogAsService.
void LogInfo(const std::string& iText, int iRequest = 0);

/// Before other threads are there: from here on each line has its time, its thread and its request.
void LogAsService();

/// For who draws on the terminal: takes the lines in place of standard error. Must not log errors. An empty one:
/// standard error again.
using LogTaker = std::function<void(const std::string& iText)>;
void SetLogTaker(LogTaker iTaker);
