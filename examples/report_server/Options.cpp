#include "Options.h"

#include "Errors.h"
#include "Text.h"

namespace
{

constexpr int cMostThreads = 64;
constexpr int cMostMegabytes = 1'000'000;
constexpr std::uint64_t cMegabyte = 1'024 * 1'024;

std::size_t ReadNumber(const std::string& iOption, const std::string& iText, int iMost)
{
    int number = 0;
    if (!ParseInt(iText, number) || number < 1 || number > iMost)
        throw SetupError(iOption + " takes a number from 1 to " + std::to_string(iMost) + ", not \"" + iText + "\"");
    return static_cast<std::size_t>(number);
}

/// True when the option is one that stands alone.
bool ReadFlag(const std::string& iOption, Options& ioOptions)
{
    if (iOption == "--profile")
        ioOptions.mbProfile = true;
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
        if (option != "--data" && option != "--requests" && option != "--threads" && option != "--job-memory" &&
            option != "--log")
            throw SetupError("unknown option " + option);
        if (++argument == iArguments.end())
            throw SetupError(option + " needs a value");
        if (option == "--data")
            options.mData = *argument;
        else if (option == "--requests")
            options.mRequests = *argument;
        else if (option == "--threads")
            options.mThreadsPerUnit = ReadNumber(option, *argument, cMostThreads);
        else if (option == "--job-memory")
            options.mJobMemory = cMegabyte * ReadNumber(option, *argument, cMostMegabytes);
        else
            options.mLogRouters = *argument;
    }
    if (options.mbHelp)
        return options;
    if (options.mData.empty() || options.mRequests.empty())
        throw SetupError("--data and --requests are needed");
    if (options.mbProfile && options.mbResultsOnly)
        throw SetupError("--profile and --results-only exclude each other");
    return options;
}

const char* GetUsage()
{
    return R"(usage: report_server --data DIR --requests FILE [options]

Loads the CSV files of DIR, serves the requests in FILE, and shows the results and how the jobs went.

  --threads N      worker threads in each of the four processing units (2)
  --job-memory MB  what a job may take of memory for rows; one that asks for more fails (no limit)
  --log ROUTERS    switch log routers on, to standard error: "Kernel/Job Trace,Kernel/Error", or "all"
  --profile        show step times, waits in the queues and counters at the end
  --results-only   leave out the table of jobs, so that two runs print the same
  --help           show this

Meanwhile it takes lines like these from a terminal: cancel 7, pause 22, resume 22, timeout 20 after 300. The numbers
are those of the requests.

Exit code: 0 all requests were answered, with a result or an error; 1 some were not, or a line of FILE came to nothing;
2 it couldn't start (options, data, requests); 130 it was interrupted.
)";
}
