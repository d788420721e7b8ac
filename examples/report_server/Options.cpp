#include "Options.h"

#include "Errors.h"
#include "Text.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace
{

constexpr int cMostThreads = 64;
constexpr int cMostMegabytes = 1'000'000;
constexpr int cMostSeconds = 1'000'000;
constexpr std::uint64_t cMegabyte = 1'024 * 1'024;

std::size_t ReadNumber(const std::string& iOption, const std::string& iText, int iMost)
{
    int number = 0;
    if (!ParseInt(iText, number) || number < 1 || number > iMost)
        throw SetupError(iOption + " takes a number from 1 to " + std::to_string(iMost) + ", not \"" + iText + "\"");
    return static_cast<std::size_t>(number);
}

constexpr std::array<std::string_view, 9> cOptionsWithValue = {
    "--data", "--requests", "--threads", "--job-memory", "--step-time", "--log", "--dump", "--trace", "--metrics"};

void ReadValue(const std::string& iOption, const std::string& iValue, Options& ioOptions)
{
    if (iOption == "--data")
        ioOptions.mData = iValue;
    else if (iOption == "--requests")
        ioOptions.mRequests = iValue;
    else if (iOption == "--threads")
        ioOptions.mThreadsPerUnit = ReadNumber(iOption, iValue, cMostThreads);
    else if (iOption == "--job-memory")
        ioOptions.mLimits.mJobMemory = cMegabyte * ReadNumber(iOption, iValue, cMostMegabytes);
    else if (iOption == "--step-time")
        ioOptions.mLimits.mStepTime = std::chrono::seconds(ReadNumber(iOption, iValue, cMostSeconds));
    else if (iOption == "--log")
        ioOptions.mLogRouters = iValue;
    else if (iValue.empty())
        throw SetupError(iOption + " needs the name of a file");
    else if (iOption == "--dump")
        ioOptions.mDump = iValue;
    else if (iOption == "--trace")
        ioOptions.mTrace = iValue;
    else
        ioOptions.mMetrics = iValue;
}

/// True when the option is one that stands alone.
bool ReadFlag(const std::string& iOption, Options& ioOptions)
{
    if (iOption == "--profile")
        ioOptions.mbProfile = true;
    else if (iOption == "--watch")
        ioOptions.mbWatch = true;
    else if (iOption == "--results-only")
        ioOptions.mbResultsOnly = true;
    else if (iOption == "--help")
        ioOptions.mbHelp = true;
    else
        return false;
    return true;
}

} // namespace

Options ParseOptions(const std::vector<std::string>& iArguments)
{
    Options options;
    for (auto argument = iArguments.begin(); argument != iArguments.end(); ++argument)
    {
        const std::string& option = *argument;
        if (ReadFlag(option, options))
            continue;
        if (std::find(cOptionsWithValue.begin(), cOptionsWithValue.end(), option) == cOptionsWithValue.end())
            throw SetupError("unknown option " + option);
        if (++argument == iArguments.end())
            throw SetupError(option + " needs a value");
        ReadValue(option, *argument, options);
    }
    if (options.mbHelp)
        return options;
    if (options.mData.empty() || options.mRequests.empty())
        throw SetupError("--data and --requests are needed");
    if (options.mbProfile && options.mbResultsOnly)
        throw SetupError("--profile and --results-only exclude each other");
    if (options.mbWatch && options.mbResultsOnly)
        throw SetupError("--watch and --results-only exclude each other");
    return options;
}

const char* GetUsage()
{
    return R"(usage: report_server --data DIR --requests FILE [options]

Loads the CSV files of DIR, serves the requests in FILE, and shows the results and how the jobs went.

  --threads N      worker threads in each of the four processing units (2)
  --job-memory MB  what a job may take of memory for rows; one that asks for more fails (no limit)
  --step-time S    seconds that a step may work; one that takes longer is given up (60)
  --log ROUTERS    switch log routers on, to standard error: "Kernel/Job Trace,Kernel/Error", or "all"
  --profile        show step times, waits in the queues and counters at the end
  --watch          show the jobs that are open, while they are; the results come afterwards
  --dump FILE      write all that is known of each job at its end
  --trace FILE     write the jobs' ways through units and steps as Chrome trace events
  --metrics FILE   write counters, profiles and instance counts as Prometheus text at the end
  --results-only   results in the order of the requests and no table of jobs: two runs print the same
  --help           show this

Meanwhile it takes lines like these from a terminal: cancel 7, pause 22, resume 22, timeout 20 after 300. The numbers
are those of the requests.

Exit code: 0 each request, and each report of a document, has its result; 1 one of them has none but
an error, or a line of FILE came to nothing, or output couldn't be written; 2 it couldn't start
(options, data, requests, files to write); 130 it was interrupted: the first Ctrl-C ends the jobs, a
second one the process.
)";
}
