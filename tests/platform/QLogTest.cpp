#include "platform/QLog.h"

#include "platform/QCOMShared.h"
#include "platform/QDataType.h"
#include "platform/QLogRouter.h"
#include "platform/QORTask.h"
#include "platform/QPerfMon.h"
#include "platform/ThreadTimes.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/Faults.h"
#include "platform/builtin/LogSinks.h"
#include "platform/builtin/Settings.h"
#include "tests/support/OwnInitializerAway.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

#if defined(__linux__)
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <new>
#include <string>
#include <vector>

using QBase::PtrI;
using QLog::CreateRouter;
using QLog::MessageFormatter;
using QLog::Router;

namespace
{

void SetVariable(const char* iName, const std::string& iValue)
{
#if defined(_WIN32)
    _putenv_s(iName, iValue.c_str());
#else
    setenv(iName, iValue.c_str(), 1);
#endif
}

std::string ReadFile(const std::string& iPath)
{
    std::ifstream file(iPath);
    return {std::istreambuf_iterator<char>(file), {}};
}

template <class Call>
std::string FailureOf(Call iCall)
{
    try
    {
        iCall();
    }
    catch (const QBase::Message& message)
    {
        return message.what();
    }
    return "";
}

class Log : public testing::Test
{
protected:
    Log()
    {
        Builtin::Settings::SetClock(QDataType::DateTime(46347.0) + QDataType::TimeSpan(10 * 3'600'000 + 123));
        Builtin::LogSinks::Enable("Kernel", "On", true);
    }

    ~Log() override
    {
        Builtin::LogSinks::RemoveSink(mSink);
        Builtin::LogSinks::Enable("*", "*", false);
        Builtin::Settings::ReleaseClock();
        std::remove(mPath.c_str());
    }

    static bool IsOn(const char* iComponent, const char* iName)
    {
        return CreateRouter(iComponent, iName, 1)->IsEnabled();
    }

    static std::string Head()
    {
        return "2026-11-21T10:00:00.123Z [" + std::to_string(QBase::GetCurrentThreadID()) + "] Kernel/On: ";
    }

    std::vector<Builtin::LogSinks::Line> mLines;
    const std::string mPath =
        testing::TempDir() + testing::UnitTest::GetInstance()->current_test_info()->name() + ".log";
    const int mSink =
        Builtin::LogSinks::AddSink([this](const Builtin::LogSinks::Line& iLine) { mLines.push_back(iLine); });
};

} // namespace

TEST(Libraries, SayWhyTheyDontComeUpAndNoteThatTheyDo)
{
    using Builtin::Faults::EnumFault;
    const auto refusal = [](auto iBringUp) {
        Builtin::Faults::FailNth(EnumFault::LibraryStart, 1);
        return FailureOf(iBringUp);
    };
    EXPECT_EQ(refusal([] { const QLog::Initializer log; }), "The logging library can't be brought up.");
    EXPECT_EQ(refusal([] { const QORPerformanceMonitor::Initializer monitor; }),
              "The performance monitor can't be brought up.");
    EXPECT_EQ(refusal([] { const QORThreadSpace::Initializer threads; }), "The thread library can't be brought up.");
    Builtin::EventTrace::Start();
    {
        const QLog::Initializer log;
        const QORPerformanceMonitor::Initializer monitor;
        const QORThreadSpace::Initializer threads;
        CreateRouter("Kernel", "Noted", 1);
        QResource::GetFileBundle("Kernel");
        QLogRouter::GetResourceBundle(2);
        QLogRouter::RefreshCurrentThreadContext();
        PULSE_RecordPulseEvent(3, 4, PulseCategoryJobFirst, 0, 0);
        QDataType::DateTime::NowUTC();
        GetCurrentThreadTimes(nullptr, nullptr);
        std::string text;
        QCOMShared::GetLogMessageInJSON({}, text);
        QBase::CreateBuffer(6, 7, 8, false)->Free();
    }
    EXPECT_EQ(Builtin::EventTrace::Stop(),
              (std::vector<std::string>{
                  "QLog::Initializer", "QORPerformanceMonitor::Initializer", "QORThreadSpace::Initializer",
                  "QLog::CreateRouter 1", "QLog::~Router", "QResource::GetFileBundle",
                  "QLogRouter::GetResourceBundle 2", "QLogRouter::RefreshCurrentThreadContext",
                  "PULSE_RecordPulseEvent 3 4 406", "QDataType::DateTime::NowUTC", "GetCurrentThreadTimes",
                  "QCOMShared::GetLogMessageInJSON", "QBase::CreateBuffer 6 7 8 0", "QBase::Buffer::Free",
                  "QORThreadSpace::~Initializer", "QORPerformanceMonitor::~Initializer", "QLog::~Initializer"}));
}

TEST_F(Log, WritesALineAsText)
{
    const PtrI<Router> router = CreateRouter("Kernel", "On", 1);
    CreateRouter("Kernel", "Off", 1)->LogLine("job %1", MessageFormatter() << 8);
    router->LogLine("job %1: 100%, %2", MessageFormatter() << 7);
    router->LogCoded(E_FAIL, "NoSuchJob", "Server::GetJob", MessageFormatter() << 7 << "" << 8);
    router->LogCoded(E_FAIL, "Bare", nullptr, MessageFormatter());
    const char* const texts[] = {"job 7: 100%, %2", "0x80004005 NoSuchJob (Server::GetJob): 7, , 8",
                                 "0x80004005 Bare: "};
    ASSERT_EQ(mLines.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(Builtin::LogSinks::ToText(mLines[i]), Head() + texts[i]);
}

TEST_F(Log, SwitchesLiveAndLaterRoutersByTheRuleSetLast)
{
    const PtrI<Router> live = CreateRouter("Kernel", "Live", 1);
    EXPECT_EQ(live->AddRef(), 2u);
    EXPECT_EQ(live->Release(), 1u);
    EXPECT_FALSE(live->IsEnabled());
    Builtin::LogSinks::Enable("Kernel", "*", true);
    EXPECT_TRUE(live->IsEnabled());
    EXPECT_EQ(CreateRouter("Kernel", "Short", 1).Detach()->Release(), 0u);
    EXPECT_FALSE(IsOn("Other", "Later"));

    Builtin::LogSinks::Enable("Kernel", "Live", false);
    EXPECT_FALSE(live->IsEnabled());
    Builtin::LogSinks::Enable("Kernel", "*", true); // overrules what was said about single routers
    EXPECT_TRUE(live->IsEnabled());
}

TEST_F(Log, SurvivesRoutersThatComeAndGoOnAllThreads)
{
    // Nobody else holds this router, so that its last release and its next making meet all the time.
    RunOnThreads(4, [](int) {
        for (int i = 0; i < 30'000; ++i)
        {
            const PtrI<Router> router = CreateRouter("Kernel", "On", 1);
            if (i % 4 == 0)
            {
                ASSERT_EQ(router.Get(), CreateRouter("Kernel", "On", 1).Get());
            }
            if (i % 100 == 0)
                router->LogLine("%1", MessageFormatter() << i);
        }
    });
    EXPECT_EQ(mLines.size(), 1200u); // the sink needs no lock of its own
}

TEST_F(Log, GoesOnWithoutARouterThatCantBeMade)
{
    Builtin::Faults::FailNth(Builtin::Faults::EnumFault::RouterCreation, 1);
    EXPECT_EQ(FailureOf([] { CreateRouter("Kernel", "Lost", 1); }), "The log router Kernel/Lost can't be made.");
    Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, 1);
    EXPECT_THROW(CreateRouter("Kernel", "Lost", 1), std::bad_alloc);
    Builtin::LogSinks::Enable("Kernel", "*", true);
    EXPECT_TRUE(IsOn("Kernel", "Lost"));
}

/// What standard error shows of one life of the library with these settings, while it logs one line.
std::string ErrorsWith(const std::string& iList, const std::string& iFile, bool ibOwnSink = false)
{
    const OwnInitializerAway away;
    SetVariable("QORJOB_LOG", iList);
    SetVariable("QORJOB_LOG_FILE", iFile);
    testing::internal::CaptureStderr();
    const int sink = ibOwnSink ? Builtin::LogSinks::AddStandardErrorSink() : 0;
    {
        const QLog::Initializer initializer;
        for (int line = 0; line < 2; ++line)
            CreateRouter("Kernel", "Job Trace", 1)->LogLine("up", MessageFormatter());
    }
    Builtin::LogSinks::RemoveSink(sink);
    Builtin::LogSinks::Enable("Kernel", "Job Trace", false);
    SetVariable("QORJOB_LOG", "");
    SetVariable("QORJOB_LOG_FILE", "");
    return testing::internal::GetCapturedStderr();
}

TEST_F(Log, SaysOnceWhatIsWrongWithItsSettings)
{
    const std::string head = Head().substr(0, Head().find("Kernel"));
    const std::string line = head + "Kernel/Job Trace: up\n";
    EXPECT_EQ(ErrorsWith("Kernel/On , Kernel/Job Trace,", mPath),
              "QORJOB_LOG names Kernel/On: there was no such log router.\n");
    EXPECT_EQ(ErrorsWith("Kernal, Kernel", mPath), "QORJOB_LOG names Kernal/*: there was no such log router.\n");
    EXPECT_EQ(ErrorsWith("", mPath), "QORJOB_LOG_FILE is of no use: QORJOB_LOG names no log router.\n");
    EXPECT_EQ(ErrorsWith("all", "", true), line + line) << "each once";
    EXPECT_EQ(ErrorsWith("all", testing::TempDir()),
              "The log file " + testing::TempDir() + " can't be opened.\n" + line + line);
    EXPECT_EQ(ReadFile(mPath), line + line + line + line) << "of the first two";
#if defined(__linux__)
    EXPECT_EQ(ErrorsWith("all", "/dev/full"), "The log file /dev/full can't be written any more.\n");
#endif
}

#if defined(__linux__)
TEST_F(Log, DoesNotMakeItsFileAStandardStreamThatIsClosed)
{
    for (const int stream : {0, 1, 2})
    {
        const int saved = ::dup(stream);
        ::close(stream);
        const int sink = Builtin::LogSinks::AddFileSink(mPath);
        struct stat opened = {};
        ::fstat(stream, &opened);
        ::dup2(saved, stream);
        ::close(saved);
        Builtin::LogSinks::RemoveSink(sink);
        EXPECT_TRUE(S_ISCHR(opened.st_mode)) << stream << " should be /dev/null";
    }
}
#endif

TEST_F(Log, TakesItsRoutersAndItsFileFromTheEnvironment)
{
    const OwnInitializerAway away;
    SetVariable("QORJOB_LOG", "Kernel/Job Trace,Dependency");
    SetVariable("QORJOB_LOG_FILE", mPath);
    std::ofstream(mPath) << "older\n";
    {
        const QLog::Initializer first;
        SetVariable("QORJOB_LOG", "all"); // too late: it was read when the first one came up
        const QLog::Initializer second;
        EXPECT_TRUE(IsOn("Dependency", "Any"));
        EXPECT_FALSE(IsOn("Kernel", "Error"));
        CreateRouter("Kernel", "Job Trace", 1)->LogLine("up", MessageFormatter());
    }
    CreateRouter("Kernel", "Job Trace", 1)->LogLine("down", MessageFormatter());
    const std::string text = ReadFile(mPath);
    EXPECT_EQ(text.find("older\n"), 0u);
    EXPECT_NE(text.find("Kernel/Job Trace: up\n"), std::string::npos);
    EXPECT_EQ(text.find("down"), std::string::npos);
    EXPECT_THROW(Builtin::LogSinks::AddFileSink(testing::TempDir() + "no/such/folder/log"), QBase::Message);
    SetVariable("QORJOB_LOG", "");
    SetVariable("QORJOB_LOG_FILE", "");
}
