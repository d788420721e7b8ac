#include "base/QORJobInitializer.h"

#include "base/Categories.h"
#include "base/HeapObject.h"
#include "base/KernelLog.h"
#include "platform/LockOrder.h"
#include "platform/PureCall.h"
#include "platform/QORTask.h"
#include "platform/QPerfMon.h"

#include <cstdio>
#include <cstdlib>
#include <thread>

namespace KernelLog
{

constinit std::array<std::atomic<QLog::Router*>, cRouterCount> gRouters{};

void ReportLostLine(const char* iTemplate) noexcept { std::fprintf(stderr, "qorjob: log line lost: %s\n", iTemplate); }

} // namespace KernelLog

void PureCall::End() noexcept
{
    LogLine(EnumKernelRouter::Error, "_purecall(): Pure virtual function call.");
    std::abort();
}

namespace QORJOB
{
namespace
{

constexpr int cGuardTaken = 0x12345678;

constexpr std::array<const char*, KernelLog::cRouterCount> cRouterNames = {
    "Fatal",       "Error",     "Warning",    "Info",          "Trace",
    "Scope Trace", "Job Trace", "Perf Trace", "Display Trace", "Memory Trace"};

// Not destroyed at exit: a static initialiser of another module may be the last one.
constinit QBase::MemGovernorProxy gMemGovernorProxy;

/// Released in reverse order. If one can't be created, those created before it are released.
class Routers
{
public:
    Routers()
    {
        for (std::size_t i = 0; i < KernelLog::cRouterCount; ++i)
            mRouters[i] = QLog::CreateRouter("Kernel", cRouterNames[i], LockCategoryCommon);
    }

    ~Routers()
    {
        for (std::size_t i = KernelLog::cRouterCount; i-- > 0;)
            KernelLog::gRouters[i].store(nullptr, std::memory_order_release);
    }

    Routers(const Routers&) = delete;
    Routers& operator=(const Routers&) = delete;

    /// Makes them available to the log functions.
    void Publish() const noexcept
    {
        for (std::size_t i = 0; i < KernelLog::cRouterCount; ++i)
            KernelLog::gRouters[i].store(mRouters[i].Get(), std::memory_order_release);
    }

private:
    std::array<QBase::PtrI<QLog::Router>, KernelLog::cRouterCount> mRouters;
};

/// What the first initialiser sets up, in the order of the members; it is taken down in reverse order.
class ModuleState : public HeapObject
{
public:
    ModuleState()
    {
        QBase::RegisterMemGovernor(gMemGovernorProxy);
        mRouters.Publish(); // last, when nothing can fail any more: a published router is not taken back
    }

    ~ModuleState() { QBase::UnregisterMemGovernor(gMemGovernorProxy); }

    ModuleState(const ModuleState&) = delete;
    ModuleState& operator=(const ModuleState&) = delete;

private:
    QLog::Initializer mLog;
    Routers mRouters;
    QORPerformanceMonitor::Initializer mPerformanceMonitor;
    QORThreadSpace::Initializer mThreadSpace;
};

constinit std::atomic<int> gGuard{0};
int gInitializerCount = 0; // changed only while the guard is held
ModuleState* gpState = nullptr;

/// A spin lock is enough: set-up and teardown are rare and short.
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

private:
    QSynch::LockNote mNote{&gGuard, QSynch::LockLevelInitializer};
};

} // namespace

Initializer::Initializer()
{
    GuardHold guard;
    if (gInitializerCount == 0)
        gpState = new ModuleState; // null without memory: nothing is logged then
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

namespace
{

/// The library's own initialiser, for programs that hold none. It is defined in the same file as the routers, so that
/// the static library links it into every program that logs.
const Initializer cOwnInitializer;

} // namespace
} // namespace QORJOB
