// A small analytics server: reads requests from a file and runs each as a job.
#include "Client.h"
#include "Control.h"
#include "Errors.h"
#include "JobItems.h"
#include "JobTable.h"
#include "Kernel.h"
#include "Keyboard.h"
#include "Mailboxes.h"
#include "Options.h"
#include "ProfileReport.h"
#include "Request.h"
#include "StepTask.h"
#include "StopSignal.h"
#include "Text.h"
#include "Warehouse.h"
#include "platform/builtin/LogSinks.h"
#include "qorjob.h"

#include <chrono>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

namespace
{

enum EnumExitCode : int
{
    ExitAllAnswered = 0,
    ExitNotAllAnswered = 1,
    ExitNotStarted = 2,
    ExitInterrupted = 130,
};

void SwitchLogOn(const std::string& iRouters)
{
    for (const std::string& router : SplitOutsideQuotes(iRouters, ','))
    {
        const std::size_t slash = router.find('/');
        if (router == "all")
            LogSinks::Enable("*", "*", true);
        else if (slash != std::string::npos)
            LogSinks::Enable(router.substr(0, slash), router.substr(slash + 1), true);
        else
            throw SetupError("--log takes routers such as \"Kernel/Job Trace\", or \"all\", not \"" + router + "\"");
    }
    LogSinks::AddStandardErrorSink();
}

/// Until all jobs have ended. A paused one that nobody will resume any more goes on.
void ObeyKeyboard(Kernel& ioKernel)
{
    constexpr std::chrono::milliseconds cMoment{50};
    Keyboard keyboard;
    while (!ioKernel.WaitFor(cMoment))
    {
        while (const auto line = keyboard.TakeLine())
        {
            try
            {
                ioKernel.Obey(ParseControl(*line));
            }
            catch (const RequestError& error)
            {
                LogError(*line + ": " + error.what());
            }
        }
        if (!keyboard.IsOpen() || StopSignal::IsRaised())
            ioKernel.ResumeAll();
    }
}

int Serve(const Options& iOptions)
{
    StopSignal::Install();
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
    Client client(std::cout);
    Mailboxes mailboxes;
    Kernel kernel(warehouse, mailboxes, iOptions.mThreadsPerUnit, iOptions.mJobMemory);
    for (const Control& control : file.mControls)
        kernel.Order(control);
    for (const Request& request : file.mRequests)
        client.Send(request, kernel);
    ObeyKeyboard(kernel);
    client.WriteRest();
    mailboxes.Write(std::cout);
    for (const Control& order : kernel.GetOrders())
        LogError(ToText(order) + ": the step never came");

    if (!iOptions.mbResultsOnly)
        std::cout << MakeJobTable(kernel.GetRecords()) << '\n';
    if (iOptions.mbProfile)
        std::cout << MakeProfileReport() << '\n';
    std::cout << MakeSummary(kernel.GetRecords(), file.mBadLines.size()) << std::flush;

    bool bAllAnswered =
        client.CountAnswers() == file.mRequests.size() && file.mBadLines.empty() && kernel.GetOrders().empty();
    if (!std::cout)
    {
        LogError("standard output can't be written");
        bAllAnswered = false;
    }
    if (StopSignal::IsRaised())
        return ExitInterrupted;
    return bAllAnswered ? ExitAllAnswered : ExitNotAllAnswered;
}

} // namespace

int main(int argc, char** argv)
{
    try
    {
        const Options options = ParseOptions(std::vector<std::string>(argv + 1, argv + argc));
        if (options.mbHelp)
        {
            std::cout << GetUsage();
            return ExitAllAnswered;
        }
        return Serve(options);
    }
    catch (const std::exception& error)
    {
        LogError(error.what());
        return ExitNotStarted;
    }
}
