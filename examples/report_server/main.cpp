// A small analytics server: reads requests from a file and runs each as a job.
#include "Errors.h"
#include "Log.h"
#include "Options.h"
#include "Profile.h"
#include "Server.h"
#include "Text.h"
#include "Watch.h"
#include "client/Client.h"
#include "client/Request.h"
#include "platform/builtin/LogSinks.h"
#include "qormonitor.h"
#include "service/Ctl.h"
#include "service/Service.h"
#include "tasks/Steps.h"
#include "warehouse/Warehouse.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace
{

enum EnumExitCode : int
{
    ExitAllDone = 0,
    ExitNotAllDone = 1,
    ExitNotStarted = 2,
    ExitSignal = 128, ///< and its number, as a shell tells of it
};

std::atomic<int> gSignal{0}; // the first that came of those that stop the server
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may touch it");

extern "C" void OnStop(int iSignal)
{
    int none = 0;
    if (gSignal.compare_exchange_strong(none, iSignal))
        return;
    std::signal(iSignal, SIG_DFL);
    std::raise(iSignal); // comes when this function has returned
}

/// From here on these signals are noted, unless they are ignored already, as nohup has it; a second one, of whatever
/// kind, ends the process at once. A reader of the output that goes away is an error of writing, no signal.
void CatchSignals()
{
    std::signal(SIGPIPE, SIG_IGN);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    {
        struct sigaction action = {};
        if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN)
            continue;
        action.sa_handler = OnStop;
        action.sa_flags = SA_RESTART; // a result that is being written stays whole
        sigaction(signal, &action, nullptr);
    }
}

void SwitchLogOn(const std::string& iRouters)
{
    for (const std::string& router : SplitOutsideQuotes(iRouters, ','))
    {
        const std::size_t slash = router.find('/');
        if (router == "all")
            Builtin::LogSinks::Enable("*", "*", true);
        else if (slash != std::string::npos)
            Builtin::LogSinks::Enable(router.substr(0, slash), router.substr(slash + 1), true);
        else
            throw SetupError("--log takes routers such as \"Kernel/Job Trace\", or \"all\", not \"" + router + "\"");
    }
    Builtin::LogSinks::AddStandardErrorSink();
}

/// Until all jobs have ended. A paused one that nobody will resume any more goes on.
void ObeyUntilEnd(Server& ioServer)
{
    constexpr std::chrono::milliseconds cMoment{20};
    Keyboard keyboard;
    while (!ioServer.WaitFor(cMoment))
    {
        if (gSignal != 0)
            ioServer.Stop();
        while (const auto line = keyboard.TakeLine())
            try
            {
                const bool bDone = ioServer.Obey(ParseControl(*line));
                LogError(*line + (bDone ? ": done" : ": will be done when the step comes"));
            }
            catch (const RequestError& error)
            {
                LogError(*line + ": " + error.what());
            }
        ioServer.ResumePaused(!keyboard.IsOpen());
    }
}

/// Null when nobody asks for it.
std::unique_ptr<OutputFile> Open(const std::filesystem::path& iPath)
{
    return iPath.empty() ? nullptr : std::make_unique<OutputFile>(iPath);
}

/// None of the outputs may be a file that the server reads or writes otherwise.
void CheckOutputs(const Options& iOptions)
{
    std::vector<std::filesystem::path> inUse = ListDataFiles(iOptions.mData);
    inUse.insert(inUse.end(), {iOptions.mRequests, iOptions.mTokenFile});
    if (const char* const log = std::getenv("QORJOB_LOG_FILE"))
        inUse.emplace_back(log);
    RefuseFilesInUse({iOptions.mDump, iOptions.mTrace, iOptions.mMetrics}, std::move(inUse));
}

/// What is written beside the results; null for none.
struct Outputs
{
    explicit Outputs(const Options& iOptions)
        : mpDump(Open(iOptions.mDump)), mpTrace(Open(iOptions.mTrace)), mpMetrics(Open(iOptions.mMetrics))
    {
    }

    /// While the server is there, which has the names.
    void Write(const QORMonitor& iMonitor) const
    {
        if (mpTrace != nullptr)
            mpTrace->Write(QORMONITOR::MakeTrace(iMonitor, mStart, QORMonitor::Now()));
        if (mpMetrics != nullptr)
            mpMetrics->Write(QORMONITOR::MakeMetrics(iMonitor));
    }

    bool Close() const
    {
        bool bAllWritten = true;
        for (const auto* const output : {&mpDump, &mpTrace, &mpMetrics})
            bAllWritten = (*output == nullptr || (*output)->Close()) && bAllWritten;
        return bAllWritten;
    }

    const QORMonitorTime mStart = QORMonitor::Now();
    const std::unique_ptr<OutputFile> mpDump;
    const std::unique_ptr<OutputFile> mpTrace;
    const std::unique_ptr<OutputFile> mpMetrics;
};

/// False, with an error told, when not all of it could be written.
bool FlushOutput()
{
    if (std::cout << std::flush)
        return true;
    LogError("standard output can't be written");
    return false;
}

/// True when all requests have their results.
bool ServeRequests(const Options& iOptions, Warehouse& ioWarehouse, const RequestFile& iFile, const Outputs& iOutputs)
{
    constexpr auto cAll = std::numeric_limits<std::size_t>::max();
    std::ostringstream held; // the results, while the jobs are watched
    Client client(iOptions.mbWatch ? held : std::cout, iOptions.mbResultsOnly);
    Mailboxes mailboxes;
    QORMonitorConfig config{.mbDumps = false};
    if (iOutputs.mpTrace != nullptr)
        config.mMostKept = config.mMostKeptBytes = cAll;
    QORMonitor monitor(config);
    std::optional<Watch> watch;
    Server::Listener listener;
    if (iOptions.mbWatch)
    {
        watch.emplace(monitor, std::cout, isatty(STDOUT_FILENO) == 1);
        listener = [&watch](int iJob, const std::string& iWhat) { watch->Tell(iJob, iWhat); };
    }
    Server server(ioWarehouse, mailboxes, monitor, iOptions, iOutputs.mpDump.get(), listener);
    for (const Control& control : iFile.mControls)
        server.Order(control);
    for (const Request& request : iFile.mRequests)
        client.Send(request, server);
    ObeyUntilEnd(server);
    watch.reset();
    iOutputs.Write(monitor);
    client.WriteRest();
    std::cout << held.str();
    mailboxes.Write(std::cout);
    for (const Control& order : server.GetOrders())
        LogError(ToText(order) + ": the step never came");

    if (!iOptions.mbResultsOnly)
        std::cout << MakeJobTable(server.GetRows()) << '\n';
    if (iOptions.mbProfile)
        std::cout << MakeProfileReport() << '\n';
    std::cout << MakeSummary(server.GetRows(), iFile.mBadLines.size()) << std::flush;
    return HaveAllCompleted(server.GetRows()) && iFile.mBadLines.empty() && server.GetOrders().empty();
}

/// Until a signal comes. True when each request that was accepted has been answered.
bool ServeClients(const Options& iOptions, Warehouse& ioWarehouse, const RequestFile& iFile, const Outputs& iOutputs)
{
    constexpr std::chrono::milliseconds cMoment{20};
    constexpr std::size_t cMostLetterBytes = 4 * 1'024 * 1'024;
    Mailboxes mailboxes(cMostLetterBytes);
    QORMonitor monitor;
    Server server(ioWarehouse, mailboxes, monitor, iOptions, iOutputs.mpDump.get(), {});
    for (const Control& control : iFile.mControls)
        server.Order(control);
    Service service(server, mailboxes, monitor, iOptions, iFile.mRequests);
    std::cout << "listening on " << service.GetAddress() << std::endl;
    while (gSignal == 0)
    {
        service.Rest(cMoment);
        server.ResumePaused(false);
    }
    LogInfo("signal " + std::to_string(gSignal) + ": no request is taken any more");
    const bool bAllSent = service.Drain();
    iOutputs.Write(monitor);
    return bAllSent;
}

int Serve(const Options& iOptions)
{
    CheckOutputs(iOptions);
    const QORJOB::Initializer initializer;
    NameSteps();
    if (iOptions.IsService())
        LogAsService();
    if (!iOptions.mLogRouters.empty())
        SwitchLogOn(iOptions.mLogRouters);
    if (iOptions.mbProfile || !iOptions.mMetrics.empty())
        StartProfile(iOptions.mbProfile);

    const RequestFile file = iOptions.mRequests.empty() ? RequestFile() : ReadRequests(iOptions.mRequests);
    for (const std::string& line : file.mBadLines)
        LogError(line);
    Warehouse warehouse(iOptions.mData);
    // One that is a pipe waits for its reader: until then a signal ends the process.
    const Outputs outputs(iOptions);
    CatchSignals(); // from here on there is work to end
    const auto serve = iOptions.IsService() ? ServeClients : ServeRequests;
    const bool bAllDone = serve(iOptions, warehouse, file, outputs);
    bool bAllWritten = FlushOutput();
    bAllWritten = outputs.Close() && bAllWritten;
    if (gSignal != 0 && !iOptions.IsService())
        return ExitSignal + gSignal;
    return bAllDone && bAllWritten ? ExitAllDone : ExitNotAllDone;
}

} // namespace

int main(int argc, char** argv)
{
    try
    {
        OpenStandardStreams();
        UseUtf8();
        const std::vector<std::string> arguments(argv + 1, argv + argc);
        if (!arguments.empty() && arguments.front() == "ctl")
            return RunCtl({arguments.begin() + 1, arguments.end()});
        const Options options = ParseOptions(arguments);
        if (options.mbHelp)
        {
            std::cout << GetUsage();
            return FlushOutput() ? ExitAllDone : ExitNotAllDone;
        }
        return Serve(options);
    }
    catch (const std::exception& error)
    {
        LogError(error.what());
        return ExitNotStarted;
    }
}
