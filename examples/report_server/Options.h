// The command line.
#pragma once

#include "Limits.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

struct Options
{
    std::filesystem::path mData;
    std::filesystem::path mRequests;
    std::size_t mThreadsPerUnit = 2;
    Limits mLimits;
    std::string mLogRouters;     ///< "Kernel/Job Trace,Kernel/Error", or "all"; empty: none
    std::filesystem::path mDump; ///< these three: empty for none
    std::filesystem::path mTrace;
    std::filesystem::path mMetrics;
    bool mbWatch = false;
    bool mbProfile = false;
    bool mbResultsOnly = false;
    bool mbHelp = false;
};

/// Throws SetupError for what it doesn't know.
Options ParseOptions(const std::vector<std::string>& iArguments);

const char* GetUsage();
