// The library in a program that isn't linked with it: it comes and goes, and ends with a process that kills its
// threads.
#include "platform/Windows.h"
#include "tests/support/Threads.h"
#include "tests/windows/Guest.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace
{

struct Unload
{
    using pointer = HMODULE;
    void operator()(HMODULE iModule) const { EXPECT_NE(::FreeLibrary(iModule), 0); }
};

using Module = std::unique_ptr<HMODULE, Unload>;

Module Load(const char* iName)
{
    Module module(::LoadLibraryA(iName));
    EXPECT_TRUE(module) << iName;
    return module;
}

const Guest& GuestIn(const Module& iModule)
{
    return *reinterpret_cast<GetGuestFunction>(reinterpret_cast<void*>(::GetProcAddress(iModule.get(), "GetGuest")))();
}

bool IsLibraryLoaded() { return ::GetModuleHandleA(QORJOB_LIBRARY) != nullptr; }

/// A test that is timed out takes the processes that it has started with it.
void EndProcessesWithThisOne()
{
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    const HANDLE processes = ::CreateJobObjectW(nullptr, nullptr);
    ::SetInformationJobObject(processes, JobObjectExtendedLimitInformation, &limits, sizeof(limits));
    ::AssignProcessToJobObject(processes, ::GetCurrentProcess());
}

/// The library complains of a router that nobody has made, as its last deed.
struct LoadedLibrary : testing::Test
{
    LoadedLibrary() { _putenv_s("QORJOB_LOG", "Nobody"); }
    ~LoadedLibrary() override { _putenv_s("QORJOB_LOG", ""); }
};

} // namespace

TEST_F(LoadedLibrary, KeepsItsStateWhileAModuleNeedsItAndStartsAfresh)
{
    for (int round = 0; round < 5; ++round)
    {
        testing::internal::CaptureStderr();
        Module library = Load(QORJOB_LIBRARY);
        Module guest = Load(QORJOB_GUEST);
        EXPECT_EQ(GuestIn(guest).mpRunJob(), 0) << round;
        GuestIn(guest).mpEnableLog();
        const int lines = GuestIn(guest).mpRunJob();
        EXPECT_GT(lines, 0);
        EXPECT_EQ(GuestIn(guest).mpCountLogUsers(), 1u) << "two initialisers, one state";

        guest.reset();
        guest = Load(QORJOB_GUEST);
        EXPECT_EQ(GuestIn(guest).mpRunJob(), lines) << "the library's own initialiser has kept the routers";
        library.reset();
        EXPECT_EQ(GuestIn(guest).mpRunJob(), lines);
        EXPECT_EQ(testing::internal::GetCapturedStderr().find("QORJOB_LOG names"), std::string::npos);

        testing::internal::CaptureStderr();
        guest.reset();
        EXPECT_FALSE(IsLibraryLoaded());
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "QORJOB_LOG names Nobody/*: there was no such log router.\n");
    }
}

TEST_F(LoadedLibrary, GoesBeforeTheThreadsThatHaveUsedIt)
{
    for (int round = 0; round < 20; ++round)
    {
        Module guest = Load(QORJOB_GUEST);
        const Guest& functions = GuestIn(guest);
        testing::internal::CaptureStderr();
        functions.mpEnableLog();
        std::atomic<int> left{3};
        std::atomic<bool> bGone{false};
        std::thread unloader([&] {
            EXPECT_TRUE(WaitFor([&] { return left == 0; }));
            guest.reset();
            bGone = true;
        });
        RunOnThreads(3, [&](int) {
            EXPECT_GT(functions.mpRunJob(), 0);
            --left;
            EXPECT_TRUE(WaitFor([&] { return bGone.load(); }));
        });
        unloader.join();
        testing::internal::GetCapturedStderr();
        EXPECT_FALSE(IsLibraryLoaded());
    }
}

TEST_F(LoadedLibrary, EndsWithItsProcessWhateverLocksTheKilledThreadsHeld)
{
    const auto end = [] {
        const Module guest = Load(QORJOB_GUEST);
        GuestIn(guest).mpLeaveThreadsInLocks();
        std::exit(7);
    };
    EndProcessesWithThisOne();
    EXPECT_EXIT(end(), testing::ExitedWithCode(7), "The guest has ended\\.\\s*QORJOB_LOG names Nobody");
}
