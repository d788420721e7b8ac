#include "platform/QLog.h"

#include "platform/QDataType.h"
#include "platform/builtin/Faults.h"
#include "platform/builtin/LogSinks.h"
#include "platform/builtin/Settings.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
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

class Log : public testing::Test
{
protected:
    void SetUp() override
    {
        mSink = LogSinks::AddSink([this](const LogSinks::Line& iLine) { mLines.push_back(iLine); });
        LogSinks::Enable("Kernel", "On", true);
    }

    void TearDown() override
    {
        LogSinks::RemoveSink(mSink);
        LogSinks::Enable("*", "*", false);
        Settings::ReleaseClock();
        std::remove(mPath.c_str());
    }

    static bool IsOn(const char* iComponent, const char* iName)
    {
        return CreateRouter(iComponent, iName, 1)->IsEnabled();
    }

    static void SetClock()
    {
        const QDataType::DateTime midnight(46347.0);
        Settings::SetClock(midnight + QDataType::TimeSpan(10 * 3'600'000 + 123));
    }

    std::vector<LogSinks::Line> mLines;
    const std::string mPath =
        testing::TempDir() + testing::UnitTest::GetInstance()->current_test_info()->name() + ".log";
    int mSink = 0;
};

} // namespace

TEST_F(Log, TakesLinesOfEnabledRoutersOnly)
{
    CreateRouter("Kernel", "On", 1)->LogLine("job %1", MessageFormatter() << 7);
    CreateRouter("Kernel", "Off", 1)->LogLine("job %1", MessageFormatter() << 8);
    ASSERT_EQ(mLines.size(), 1u);
    EXPECT_EQ(mLines[0].mComponent, "Kernel");
    EXPECT_EQ(mLines[0].mRouter, "On");
    EXPECT_EQ(mLines[0].mText, "job 7");
    EXPECT_EQ(mLines[0].mCode, 0);
    EXPECT_EQ(mLines[0].mThreadId, QBase::GetCurrentThreadID());
}

TEST_F(Log, KeepsWhatACodedEntryIsMadeOf)
{
    const PtrI<Router> router = CreateRouter("Kernel", "On", 1);
    router->LogCoded(E_FAIL, "NoSuchJob", "Server::GetJob",
                     MessageFormatter() << 7 << ""
                                        << "seven");
    router->LogCoded(E_FAIL, "Bare", nullptr, MessageFormatter());
    ASSERT_EQ(mLines.size(), 2u);
    EXPECT_EQ(mLines[0].mCode, E_FAIL);
    EXPECT_EQ(mLines[0].mTemplateName, "NoSuchJob");
    EXPECT_EQ(mLines[0].mOrigin, "Server::GetJob");
    EXPECT_EQ(mLines[0].mText, "7, , seven");
    EXPECT_EQ(mLines[1].mOrigin, "");
    EXPECT_EQ(mLines[1].mText, "");
}

TEST_F(Log, WritesALineAsText)
{
    SetClock();
    LogSinks::Line line{"Kernel", "Job Trace", "job 7: 100%, %1", 0, "", "", 42};
    EXPECT_EQ(LogSinks::ToText(line), "2026-11-21T10:00:00.123Z [42] Kernel/Job Trace: job 7: 100%, %1");
    line.mCode = static_cast<HRESULT>(0x8004308B);
    line.mTemplateName = "NoSuchJob";
    EXPECT_EQ(LogSinks::ToText(line),
              "2026-11-21T10:00:00.123Z [42] Kernel/Job Trace: 0x8004308B NoSuchJob: job 7: 100%, %1");
    line.mOrigin = "Server::GetJob";
    EXPECT_EQ(LogSinks::ToText(line),
              "2026-11-21T10:00:00.123Z [42] Kernel/Job Trace: 0x8004308B NoSuchJob (Server::GetJob): job 7: 100%, %1");
}

TEST_F(Log, SwitchesLiveAndLaterRoutersByTheRuleSetLast)
{
    const PtrI<Router> live = CreateRouter("Kernel", "Live", 1);
    EXPECT_FALSE(live->IsEnabled());
    LogSinks::Enable("Kernel", "*", true);
    EXPECT_TRUE(live->IsEnabled());
    EXPECT_TRUE(IsOn("Kernel", "Later"));
    EXPECT_FALSE(IsOn("Other", "Later"));

    LogSinks::Enable("Kernel", "Live", false);
    EXPECT_FALSE(live->IsEnabled());
    EXPECT_TRUE(IsOn("Kernel", "Later"));

    LogSinks::Enable("Kernel", "*", true); // overrules what was said about single routers
    EXPECT_TRUE(live->IsEnabled());
    LogSinks::Enable("Kernel", "*", false);
    EXPECT_FALSE(IsOn("Kernel", "On"));
}

TEST_F(Log, HandsOutOneRouterWhileItIsReferenced)
{
    PtrI<Router> first = CreateRouter("Kernel", "On", 1);
    const PtrI<Router> second = CreateRouter("Kernel", "On", 2);
    EXPECT_EQ(first.Get(), second.Get());
    EXPECT_NE(first.Get(), CreateRouter("Other", "On", 1).Get());
    first = {};
    EXPECT_EQ(second->AddRef(), 2u);
    EXPECT_EQ(second->Release(), 1u);
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

TEST_F(Log, ThrowsWhenARouterCannotBeMade)
{
    Faults::FailNth(Faults::EnumFault::RouterCreation, 1);
    try
    {
        CreateRouter("Kernel", "Job Trace", 1);
        FAIL();
    }
    catch (const QBase::Message& message)
    {
        EXPECT_STREQ(message.what(), "The log router Kernel/Job Trace can't be made.");
    }
    EXPECT_TRUE(CreateRouter("Kernel", "Job Trace", 1));
}

TEST_F(Log, AppendsToAFile)
{
    std::ofstream(mPath) << "older\n";
    SetClock();
    const int file = LogSinks::AddFileSink(mPath);
    const PtrI<Router> router = CreateRouter("Kernel", "On", 1);
    router->LogLine("one", MessageFormatter());
    const std::string head = "2026-11-21T10:00:00.123Z [" + std::to_string(QBase::GetCurrentThreadID()) + "] ";
    EXPECT_EQ(ReadFile(mPath), "older\n" + head + "Kernel/On: one\n"); // at once, not at the end
    LogSinks::RemoveSink(file);
    router->LogLine("two", MessageFormatter());
    EXPECT_EQ(ReadFile(mPath), "older\n" + head + "Kernel/On: one\n");
}

TEST_F(Log, RefusesAFileThatCannotBeOpened)
{
    EXPECT_THROW(LogSinks::AddFileSink(testing::TempDir() + "no/such/folder/log"), QBase::Message);
}

TEST_F(Log, TakesItsRoutersAndItsFileFromTheEnvironment)
{
    SetVariable("QORJOB_LOG", "Kernel/Job Trace,Dependency");
    SetVariable("QORJOB_LOG_FILE", mPath);
    {
        const QLog::Initializer first;
        SetVariable("QORJOB_LOG", "all"); // too late: it was read when the first one came up
        const QLog::Initializer second;
        EXPECT_TRUE(IsOn("Kernel", "Job Trace"));
        EXPECT_TRUE(IsOn("Dependency", "Any"));
        EXPECT_FALSE(IsOn("Kernel", "Error"));
        CreateRouter("Kernel", "Job Trace", 1)->LogLine("up", MessageFormatter());
    }
    CreateRouter("Kernel", "Job Trace", 1)->LogLine("down", MessageFormatter());
    const std::string text = ReadFile(mPath);
    EXPECT_NE(text.find("Kernel/Job Trace: up\n"), std::string::npos);
    EXPECT_EQ(text.find("down"), std::string::npos);

    {
        const QLog::Initializer again;
        EXPECT_TRUE(IsOn("Kernel", "Error"));
    }
    SetVariable("QORJOB_LOG", "");
    SetVariable("QORJOB_LOG_FILE", "");
}
