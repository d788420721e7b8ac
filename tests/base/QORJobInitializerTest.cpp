#include "base/QORJobInitializer.h"

#include "base/KernelLog.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/Faults.h"
#include "platform/builtin/LibraryUsers.h"
#include "platform/builtin/LogSinks.h"
#include "tests/support/OwnInitializerAway.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>

using Builtin::Faults::EnumFault;
using QORJOB::Initializer;

/// The users of log, monitor and threads, the proxies, and the number of missing routers.
static std::vector<std::size_t> Census()
{
    const auto missing = std::count(KernelLog::gRouters.begin(), KernelLog::gRouters.end(), nullptr);
    return {Builtin::LibraryUsers::GetLogUsers(), Builtin::LibraryUsers::GetPerformanceMonitorUsers(),
            Builtin::LibraryUsers::GetThreadSpaceUsers(), Builtin::LibraryUsers::GetMemGovernorCount(),
            static_cast<std::size_t>(missing)};
}

/// What was taken down since the trace was started, a letter each: proxy, threads, monitor, routers, log.
static std::string TakeEnds()
{
    std::string ends;
    for (const std::string& call : Builtin::EventTrace::Stop())
        if (call.find('~') != std::string::npos || call.find("Unreg") != std::string::npos)
            ends += call.starts_with("QLog::~R") ? 'r' : call[3];
    return ends;
}

static const std::vector<std::size_t> cUp{1, 1, 1, 1, 0}, cDown{0, 0, 0, 0, 10};
static const std::string cEnds = "sTPrrrrrrrrrrg";

TEST(Initializer, IsHeldByTheLibraryItself)
{
    EXPECT_EQ(Census(), cUp);
    {
        const OwnInitializerAway away;
        EXPECT_EQ(Census(), cDown);
    }
    EXPECT_EQ(Census(), cUp);
}

TEST(Initializer, LeavesNothingUpWhereAMemberCannotBeMade)
{
    const OwnInitializerAway away;
    for (int made = 0; made <= 13; ++made)
    {
        // The log, ten routers, the monitor, the threads; the proxy's allocation comes behind those of the state and
        // the routers.
        if (made >= 1 && made <= 10)
            Builtin::Faults::FailNth(EnumFault::RouterCreation, made);
        else
            Builtin::Faults::FailNth(made == 13 ? EnumFault::Allocation : EnumFault::LibraryStart,
                                     made == 13 ? 12 : std::max(1, made - 9));
        Builtin::EventTrace::Start();
        EXPECT_ANY_THROW(const Initializer failing) << made;
        EXPECT_EQ(TakeEnds(), cEnds.substr(14 - static_cast<std::size_t>(made)));
        EXPECT_EQ(Census(), cDown) << made;
        Builtin::EventTrace::Start();
        {
            const Initializer first; // the guard is free and the count is right
            static_cast<void>(Initializer());
            EXPECT_EQ(Census(), cUp) << made;
        }
        EXPECT_EQ(TakeEnds(), cEnds);
    }
    Builtin::Faults::FailNth(EnumFault::Allocation, 1);
    const Initializer stateless;
    EXPECT_EQ(Census(), cDown);
    LogLine(EnumKernelRouter::Fatal, "nobody hears it");
}

TEST(Initializer, MakesTheRoutersByTheirNames)
{
    std::string names;
    const int sink = Builtin::LogSinks::AddSink([&](const Builtin::LogSinks::Line& iLine) {
        names += iLine.mComponent + "/" + iLine.mRouter + " " + iLine.mText + ";";
    });
    Builtin::LogSinks::Enable("Kernel", "*", true);
    for (int router = 0; router < int{KernelLog::cRouterCount}; ++router)
        LogLine(static_cast<EnumKernelRouter>(router), "%1", router);
    Builtin::LogSinks::Enable("Kernel", "*", false);
    Builtin::LogSinks::RemoveSink(sink);
    EXPECT_EQ(names, "Kernel/Fatal 0;Kernel/Error 1;Kernel/Warning 2;Kernel/Info 3;Kernel/Trace 4;Kernel/Scope Trace 5;"
                     "Kernel/Job Trace 6;Kernel/Perf Trace 7;Kernel/Display Trace 8;Kernel/Memory Trace 9;");
}

TEST(KernelLog, TellsOfALineThatIsLostByItsTemplate)
{
    const int sink = Builtin::LogSinks::AddSink([](const Builtin::LogSinks::Line&) { throw 1; });
    Builtin::LogSinks::Enable("Kernel", "Error", true);
    testing::internal::CaptureStderr();
    LogLine(EnumKernelRouter::Error, "job %1", 7);
    LogCoded(EnumKernelRouter::Error, E_FAIL, "NAME", "origin", 7);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "qorjob: log line lost: job %1\nqorjob: log line lost: NAME\n");
    Builtin::LogSinks::Enable("Kernel", "Error", false);
    Builtin::LogSinks::RemoveSink(sink);
}

TEST(Initializer, LetsTheRoutersGoFromTheLastToTheFirst)
{
    const OwnInitializerAway away;
    for (int round = 0; round < 100; ++round)
    {
        std::optional<Initializer> initializer(std::in_place);
        std::atomic<bool> bWatching{false};
        std::thread watcher([&] {
            for (bool bLeft = true; bLeft; bWatching = true)
                for (std::size_t router = 1; router < KernelLog::cRouterCount; ++router)
                {
                    bLeft = KernelLog::gRouters[0] != nullptr; // the earlier one is looked at first
                    const bool bEarlier = KernelLog::gRouters[router - 1] != nullptr;
                    const bool bLater = KernelLog::gRouters[router] != nullptr;
                    EXPECT_TRUE(bEarlier || !bLater) << router;
                }
        });
        EXPECT_TRUE(WaitFor([&] { return bWatching.load(); }));
        initializer.reset();
        watcher.join();
    }
}
