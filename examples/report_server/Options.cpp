#include "Options.h"

#include "Errors.h"
#include "Text.h"

namespace
{

constexpr int cMostThreads = 64;

std::size_t ReadThreads(const std::string& iText)
{
    int threads = 0;
    if (!ParseInt(iText, threads) || threads < 1 || threads > cMostThreads)
        throw SetupError("--threads takes a number from 1 to " + std::to_string(cMostThreads) + ", not \"" + iText +
                         "\"");
    return static_cast<std::size_t>(threads);
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
        if (option != "--data" && option != "--requests" && option != "--threads" && option != "--log")
            throw SetupError("unknown option " + option);
        if (++argument == iArguments.end())
            throw SetupError(option + " needs a value");
        if (option == "--data")
            options.mData = *argument;
        else if (option == "--requests")
            options.mRequests = *argument;
        else if (option == "--threads")
            options.mThreadsPerUnit = ReadThreads(*argument);
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
