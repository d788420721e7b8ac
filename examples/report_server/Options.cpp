#include "Options.h"

#include "Errors.h"
#include "Text.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace
{

constexpr std::uint64_t cMegabyte = 1'024 * 1'024;

constexpr int cMost = 1'000'000;

unsigned ReadNumber(const std::string& iText, int iMost)
{
    int number = 0;
    if (!ParseNumber(iText, number) || number < 1 || number > iMost)
        throw SetupError("a number from 1 to " + std::to_string(iMost) + " is needed, not \"" + iText + "\"");
    return static_cast<unsigned>(number);
}

struct OptionEntry
{
    std::string_view mName;
    bool mbValue;
    void (*mpRead)(Options& ioOptions, const std::string& iValue); ///< throws SetupError
};

constexpr OptionEntry cOptions[] = {
    {"--data", true, [](auto& ioOptions, auto& iValue) { ioOptions.mData = iValue; }},
    {"--requests", true, [](auto& ioOptions, auto& iValue) { ioOptions.mRequests = iValue; }},
    {"--listen", true, [](auto& ioOptions, auto& iValue) { ioOptions.mListen = iValue; }},
    {"--token-file", true, [](auto& ioOptions, auto& iValue) { ioOptions.mTokenFile = iValue; }},
    {"--host-name", true, [](auto& ioOptions, auto& iValue) { ioOptions.mHostNames.push_back(iValue); }},
    {"--most-jobs", true, [](auto& ioOptions, auto& iValue) { ioOptions.mMostJobs = ReadNumber(iValue, cMost); }},
    {"--threads", true, [](auto& ioOptions, auto& iValue) { ioOptions.mThreadsPerUnit = ReadNumber(iValue, 64); }},
    {"--job-memory", true,
     [](auto& ioOptions, auto& iValue) { ioOptions.mJobMemory = cMegabyte * ReadNumber(iValue, cMost); }},
    {"--step-time", true,
     [](auto& ioOptions, auto& iValue) { ioOptions.mStepTime = std::chrono::seconds(ReadNumber(iValue, cMost)); }},
    {"--log", true, [](auto& ioOptions, auto& iValue) { ioOptions.mLogRouters = iValue; }},
    {"--dump", true, [](auto& ioOptions, auto& iValue) { ioOptions.mDump = iValue; }},
    {"--trace", true, [](auto& ioOptions, auto& iValue) { ioOptions.mTrace = iValue; }},
    {"--metrics", true, [](auto& ioOptions, auto& iValue) { ioOptions.mMetrics = iValue; }},
    {"--profile", false, [](auto& ioOptions, auto&) { ioOptions.mbProfile = true; }},
    {"--watch", false, [](auto& ioOptions, auto&) { ioOptions.mbWatch = true; }},
    {"--results-only", false, [](auto& ioOptions, auto&) { ioOptions.mbResultsOnly = true; }},
    {"--help", false, [](auto& ioOptions, auto&) { ioOptions.mbHelp = true; }},
    {"-h", false, [](auto& ioOptions, auto&) { ioOptions.mbHelp = true; }},
};

const OptionEntry& Find(std::string_view iName)
{
    const auto* const option = std::find_if(std::begin(cOptions), std::end(cOptions),
                                            [iName](const OptionEntry& iOption) { return iOption.mName == iName; });
    if (option == std::end(cOptions))
        throw SetupError("unknown option " + std::string(iName) + "; --help shows those that there are");
    return *option;
}

void CheckOptions(const Options& iOptions)
{
    const bool bService = iOptions.IsService();
    if (iOptions.mData.empty() || (iOptions.mRequests.empty() && !bService))
        throw SetupError("--data and --requests or --listen are needed");
    if (iOptions.mbProfile && iOptions.mbResultsOnly)
        throw SetupError("--profile and --results-only exclude each other");
    if (iOptions.mbWatch && iOptions.mbResultsOnly)
        throw SetupError("--watch and --results-only exclude each other");
    if (bService && (iOptions.mbProfile || iOptions.mbWatch || iOptions.mbResultsOnly))
        throw SetupError("--listen excludes --profile, --watch and --results-only: look at the service's page");
    if (!bService && !(iOptions.mTokenFile.empty() && iOptions.mHostNames.empty()))
        throw SetupError("--token-file and --host-name go with --listen");
}

} // namespace

/// A value stands behind its option, as an argument of its own or with a = between them.
Options ParseOptions(const std::vector<std::string>& iArguments)
{
    Options options;
    std::set<std::string> given;
    for (auto argument = iArguments.begin(); argument != iArguments.end(); ++argument)
    {
        const std::size_t equals = std::min(argument->find('='), argument->size());
        const std::string name = argument->substr(0, equals);
        const OptionEntry& option = Find(name);
        if (!given.insert(name).second && name != "--host-name")
            throw SetupError(name + " is given twice");
        if (!option.mbValue && equals != argument->size())
            throw SetupError(name + " takes no value");
        std::string value;
        if (equals != argument->size())
            value = argument->substr(equals + 1);
        else if (option.mbValue && ++argument != iArguments.end())
            value = *argument;
        if (option.mbValue && value.empty())
            throw SetupError(name + " needs a value");
        try
        {
            option.mpRead(options, value);
        }
        catch (const SetupError& error)
        {
            throw SetupError(name + ": " + error.what());
        }
        if (options.mbHelp)
            return options;
    }
    CheckOptions(options);
    return options;
}

const char* GetUsage()
{
    return R"(usage: report_server --data DIR --requests FILE [options]
       report_server --data DIR --listen ADDRESS:PORT [options]
       report_server ctl --help

Loads the CSV files of DIR, serves the requests in FILE, and shows the results as they come and how
the jobs went. Or it is a service: clients send it requests, and a page shows the jobs.

  --threads N      worker threads in each of the four processing units (2)
  --job-memory MB  what a job may take of memory for rows; one that asks for more fails (no limit)
  --step-time S    seconds that a step may work; one that takes longer is stopped (60)
  --log ROUTERS    switch log routers on, to standard error: "Kernel/Job Trace,Kernel/Error", "all"
  --most-jobs N    jobs that are open at a time, children of documents not counted (10000)
  --profile        show step times, waits in the queues and counters at the end
  --watch          show the open jobs while they run: a table on a terminal, elsewhere a line for
                   each thing that happens to one; the results come afterwards
  --dump FILE      write all that is known of each job at its end
  --trace FILE     write the jobs' ways through units and steps as Chrome trace events at the end
  --metrics FILE   write what the monitor has counted as Prometheus text at the end
  --results-only   results in the order of the requests, no table of jobs: two runs print the same
  --help, -h       show this

A value may also follow a =, as in --threads=4. What --dump, --trace and --metrics write replaces
FILE at the end, when it is whole; a file in use is refused.

A service has these, too; --requests is sent to it first, if it is given.

  --listen ADDRESS:PORT   where; with port 0 any that is free. A line on standard output says which
                          that is. Beyond 127.0.0.1 and [::1] it needs a token
  --token-file FILE       clients have to send the token in its first line
  --host-name NAME        it is known by this name; may be given several times

  POST /requests          a request, as a line of FILE: 202 and its address. ?wait=10 waits for the
                          result, ?lang=de answers in German, ?cancel-when-gone=1 cancels it when
                          the client goes away
  GET /requests/7         200 its result; 422 its error; 202 it isn't there yet; 410 not any more
  DELETE /requests/7      cancels it
  GET /mailboxes          what was delivered
  GET /                   the page; its other addresses stand in docs/monitor.md

Without --listen the server takes lines like these from a terminal: cancel 7, pause 22, resume 22,
timeout 20 after 300. The numbers are those of the requests.

Exit code: 0 each request, and each report of a document, has its result; 1 one of them has none but
an error, or a line of FILE came to nothing, or output couldn't be written; 2 it couldn't start
(options, data, requests, files to write); 129, 130, 143 it was interrupted by SIGHUP, Ctrl-C or
SIGTERM: the first of them ends the jobs, a second one the process. A service that gets one of these
takes no more requests, answers those that it has, and gives 0 when all of that has been sent.
)";
}
