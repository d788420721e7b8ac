// The command line.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

struct Options
{
    std::filesystem::path mData;
    std::filesystem::path mRequests;
    std::string mListen;                 ///< "127.0.0.1:8080"; empty: the requests of the file are all there are
    std::filesystem::path mTokenFile;    ///< empty: no token is asked for
    std::vector<std::string> mHostNames; ///< that the service is known by, beside loopback's
    std::size_t mMostJobs = 10'000;      ///< that are open at a time
    unsigned mThreadsPerUnit = 2;
    std::uint64_t mJobMemory = ~std::uint64_t{0}; ///< of a job and its children, in bytes
    std::chrono::seconds mStepTime{60};           ///< of each step that works; one that takes longer is stopped
    std::string mLogRouters;                      ///< "Kernel/Job Trace,Kernel/Error", or "all"; empty: none
    std::filesystem::path mDump;                  ///< these three: empty for none
    std::filesystem::path mTrace;
    std::filesystem::path mMetrics;
    bool mbWatch = false;
    bool mbProfile = false;
    bool mbResultsOnly = false;
    bool mbHelp = false;

    bool IsService() const { return !mListen.empty(); }
};

/// Throws SetupError for what it doesn't know.
Options ParseOptions(const std::vector<std::string>& iArguments);

const char* GetUsage();
