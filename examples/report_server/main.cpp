// A small analytics server: reads requests from a file and runs each as a job.
#include "Client.h"
#include "Control.h"
#include "Dump.h"
#include "Errors.h"
#include "FileAccess.h"
#include "JobItems.h"
#include "JobTable.h"
#include "Kernel.h"
#include "Keyboard.h"
#include "Mailboxes.h"
#include "Metrics.h"
#include "Options.h"
#include "Printable.h"
#include "ProfileReport.h"
#include "Request.h"
#include "StepTask.h"
#include "StopSignal.h"
#include "Text.h"
#include "Trace.h"
#include "Warehouse.h"
#include "Watch.h"
#include "platform/builtin/LogSinks.h"
#include "qorjob.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
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
};

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
void ObeyKeyboard(Kernel& ioKernel, Watch* iWatch)
{
    constexpr std::chrono::milliseconds cMoment{50};
    Keyboard keyboard;
    while (!ioKernel.WaitFor(cMoment))
    {
        while (const auto line = keyboard.TakeLine())
        {
            if (iWatch != nullptr)
                iWatch->AddTypedLine();
            try
            {
                const bool bDone = ioKernel.Obey(ParseControl(*line));
                LogError(*line + (bDone ? ": done" : ": will be done when the step comes"));
            }
            catch (const std::exception& error)
            {
                LogError(*line + ": " + error.what());
            }
        }
        if (!keyboard.IsOpen() || StopSignal::IsRaised())
            ioKernel.ResumeAll();
    }
}

/// The files that the options ask for; null those that they don't.
struct Files
{
    explicit Files(const Options& iOptions)
        : mpDump(Open<Dump>(iOptions.mDump)), mpTrace(Open<Trace>(iOptions.mTrace)),
          mpMetrics(Open<Metrics>(iOptions.mMetrics))
    {
    }

    /// None of them may be a file that the server reads or writes otherwise.
    static void Check(const Options& iOptions)
    {
        std::vector<std::filesystem::path> inUse = ListDataFiles(iOptions.mData);
        inUse.push_back(iOptions.mRequests);
        if (const char* const log = std::getenv("QORJOB_LOG_FILE"))
            inUse.emplace_back(log);
        RefuseFilesInUse({iOptions.mDump, iOptions.mTrace, iOptions.mMetrics}, std::move(inUse));
    }

    /// False when not all of it could be written.
    bool Close()
    {
        const bool bDump = mpDump == nullptr || mpDump->Close();
        const bool bTrace = mpTrace == nullptr || mpTrace->Close();
        const bool bMetrics = mpMetrics == nullptr || mpMetrics->Write();
        return bDump && bTrace && bMetrics;
    }

    template <class File>
    static std::unique_ptr<File> Open(const std::filesystem::path& iPath)
    {
        return iPath.empty() ? nullptr : std::make_unique<File>(iPath);
    }

    std::unique_ptr<Dump> mpDump;
    std::unique_ptr<Trace> mpTrace;
    std::unique_ptr<Metrics> mpMetrics;
};

/// While the jobs are watched, their results are held back.
void Run(const Options& iOptions, const RequestFile& iFile, Client& ioClient, Kernel& ioKernel)
{
    std::optional<Watch> watch;
    if (iOptions.mbWatch)
        watch.emplace(ioKernel, std::cout, isatty(STDOUT_FILENO) == 1).Start();
    for (const Request& request : iFile.mRequests)
        ioClient.Send(request, ioKernel);
    ObeyKeyboard(ioKernel, watch ? &*watch : nullptr);
}

/// True when all requests have their results. The kernel with all its threads has ended then.
bool ServeRequests(const Options& iOptions, const Warehouse& iWarehouse, const RequestFile& iFile, const Files& iFiles)
{
    std::ostringstream held;
    Client client(iOptions.mbWatch ? held : std::cout, iOptions.mbResultsOnly);
    Mailboxes mailboxes;
    Kernel kernel(iWarehouse, mailboxes, iOptions.mThreadsPerUnit, iOptions.mLimits,
                  {iFiles.mpDump.get(), iFiles.mpTrace.get()});
    for (const Control& control : iFile.mControls)
        kernel.Order(control);
    Run(iOptions, iFile, client, kernel);
    client.WriteRest();
    std::cout << held.str();
    mailboxes.Write(std::cout);
    for (const Control& order : kernel.GetOrders())
        LogError(ToText(order) + ": the step never came");

    if (!iOptions.mbResultsOnly)
        std::cout << MakeJobTable(kernel.GetRecords()) << '\n';
    if (iOptions.mbProfile)
        std::cout << MakeProfileReport() << '\n';
    std::cout << MakeSummary(kernel.GetRecords(), iFile.mBadLines.size()) << std::flush;
    return HaveAllCompleted(kernel.GetRecords()) && iFile.mBadLines.empty() && kernel.GetOrders().empty();
}

/// False, with an error told, when not all of it could be written.
bool FlushOutput()
{
    if (std::cout << std::flush)
        return true;
    LogError("standard output can't be written");
    return false;
}

int Serve(const Options& iOptions)
{
    Files::Check(iOptions);
    const QORJOB::Initializer initializer;
    NameJobItems();
    NameTasks();
    if (!iOptions.mLogRouters.empty())
        SwitchLogOn(iOptions.mLogRouters);
    if (iOptions.mbProfile)
        StartProfile();

    const RequestFile file = ReadRequests(iOptions.mRequests);
    for (const std::string& line : file.mBadLines)
        LogError(line);
    const Warehouse warehouse(iOptions.mData);
    Files files(iOptions); // one that is a pipe waits for its reader: until then a signal ends the process
    StopSignal::Install(); // from here on there is work to end
    const bool bAllDone = ServeRequests(iOptions, warehouse, file, files);
    const bool bFilesWritten = files.Close();
    const bool bAllWritten = FlushOutput() && bFilesWritten;
    if (StopSignal::IsRaised())
        return StopSignal::GetExitCode();
    return bAllDone && bAllWritten ? ExitAllDone : ExitNotAllDone;
}

} // namespace

int main(int argc, char** argv)
{
    try
    {
        OpenStandardStreams();
        UseUtf8();
        const Options options = ParseOptions(std::vector<std::string>(argv + 1, argv + argc));
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
