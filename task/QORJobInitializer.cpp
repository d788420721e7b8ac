#include "task/QORJobInitializer.h"

#include "task/KernelLog.h"

#include <cstdio>
#include <new>
#include <thread>

namespace KernelLog
{

std::array<std::atomic<QLog::Router*>, cRouterCount> gRouters{};

void ReportLostLine(const char* iTemplate) noexcept { std::fprintf(stderr, "qorjob: log line lost: %s\n", iTemplate); }

} // namespace KernelLog

namespace QORJOB
{
namespace
{

constexpr int cGuardTaken = 0x12345678;
constexpr int cRouterLockCategory = -3;

constexpr std::array<const char*, KernelLog::cRouterCount> cRouterNames = {
    "Fatal",       "Error",     "Warning",    "Info",          "Trace",
    "Scope Trace", "Job Trace", "Perf Trace", "Display Trace", "Memory Trace"};

/// What the first initialiser builds; members go in reverse order.
struct ModuleState
{
    QLog::Initializer mLog;
    std::array<QBase::PtrI<QLog::Router>, KernelLog::cRouterCount> mRouters;

    ModuleState()
    {
        for (std::size_t i = 0; i < KernelLog::cRouterCount; ++i)
            mRouters[i] = QLog::CreateRouter("Kernel", cRouterNames[i], cRouterLockCategory);
        for (std::size_t i = 0; i < KernelLog::cRouterCount; ++i)
            KernelLog::gRouters[i].store(mRouters[i].Get(), std::memory_order_release);
    }

    ~ModuleState()
    {
        for (std::size_t i = KernelLog::cRouterCount; i-- > 0;)
        {
            KernelLog::gRouters[i].store(nullptr, std::memory_order_release);
            mRouters[i] = {};
        }
    }

    ModuleState(const ModuleState&) = delete;
    ModuleState& operator=(const ModuleState&) = delete;
};

std::atomic<int> gGuard{0};
int gInitializerCount = 0; // changed only while the guard is held
ModuleState* gpState = nullptr;

/// A spin guard is enough: set-up and teardown happen once a process and never wait long.
class GuardHold
{
public:
    GuardHold()
    {
        while (gGuard.exchange(cGuardTaken, std::memory_order_acquire) == cGuardTaken)
            std::this_thread::yield();
    }
    ~GuardHold() { gGuard.store(0, std::memory_order_release); }
    GuardHold(const GuardHold&) = delete;
    GuardHold& operator=(const GuardHold&) = delete;
};

} // namespace

Initializer::Initializer()
{
    GuardHold guard;
    if (gInitializerCount == 0)
        gpState = new (std::nothrow) ModuleState; // null without memory: log lines then find no router
    ++gInitializerCount;
}

Initializer::~Initializer()
{
    GuardHold guard;
    if (--gInitializerCount != 0)
        return;
    delete gpState;
    gpState = nullptr;
}

} // namespace QORJOB
