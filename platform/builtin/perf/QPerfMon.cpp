#include "platform/QPerfMon.h"

#include "platform/Mutex.h"
#include "platform/QBase.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/Faults.h"
#include "platform/builtin/base/NeverDestroyed.h"
#include "platform/builtin/base/UserCounts.h"
#include "platform/builtin/perf/PerfData.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

namespace Builtin
{

namespace
{

class Monitor final : public QPerfMon::PerformanceMonitor
{
public:
    void Add(int iCounterId, std::int64_t iDelta) noexcept override
    {
        EventTrace::Note("QPerfMon::PerformanceMonitor::Add", {iCounterId, iDelta});
        const std::size_t shard = GetThreadShard();
        if (IsKnownCounter(iCounterId))
            AddTo(gCounterShards[shard].mCounters[iCounterId], iDelta, shard);
    }
};

constinit Monitor gMonitor;

QSynch::Mutex<QSynch::LockLevelSystem>& GetProfileNamesMutex() // for adding
{
    static NeverDestroyed<QSynch::Mutex<QSynch::LockLevelSystem>> mutex;
    return mutex.Get();
}

/// Looks through the names from `iFrom` to `iTo`; gives `iTo` when the name isn't among them.
unsigned FindProfile(const char* iName, unsigned iFrom, unsigned iTo)
{
    unsigned index = iFrom;
    while (index < iTo && std::strcmp(gProfileNames[index], iName) != 0)
        ++index;
    return index;
}

unsigned FindOrAddProfile(const char* iName)
{
    const unsigned seen = gProfileCount.load(std::memory_order_acquire);
    unsigned index = FindProfile(iName, 0, seen);
    if (index < seen)
        return index;

    const QSynch::MutexHold hold(GetProfileNamesMutex());
    const unsigned count = gProfileCount.load(std::memory_order_relaxed);
    index = FindProfile(iName, seen, count);
    if (index < count)
        return index;
    if (count == cProfileCapacity)
        throw QBase::Message(std::string("There is no room for the profile ") + iName + ".");
    auto name = std::make_unique<char[]>(std::strlen(iName) + 1);
    std::strcpy(name.get(), iName);
    gProfileNames[count] = name.release();
    gProfileCount.store(count + 1, std::memory_order_release);
    return count;
}

bool IsKnownProfile(unsigned iProfileIndex) { return iProfileIndex < gProfileCount.load(std::memory_order_acquire); }

void AddToProfile(unsigned iProfileIndex, std::uint64_t iMicroseconds, std::uint64_t iCount)
{
    if (!IsKnownProfile(iProfileIndex))
        return;
    const std::size_t shard = GetThreadShard();
    ProfileTotals& totals = gProfileShards[shard].mTotals[iProfileIndex];
    if (iMicroseconds != 0)
        AddTo(totals.mMicroseconds, iMicroseconds, shard);
    if (iCount != 0)
        AddTo(totals.mCount, iCount, shard);
}

class Profiler final : public QPerfMon::QORProfiler
{
public:
    void AddElapsedTime(unsigned iProfileIndex, std::uint64_t iMicroseconds) noexcept override
    {
        EventTrace::Note("QPerfMon::QORProfiler::AddElapsedTime",
                         {iProfileIndex, static_cast<std::int64_t>(iMicroseconds)});
        AddToProfile(iProfileIndex, iMicroseconds, 0);
    }

    void AddCount(unsigned iProfileIndex, unsigned iCount) noexcept override
    {
        EventTrace::Note("QPerfMon::QORProfiler::AddCount", {iProfileIndex, iCount});
        AddToProfile(iProfileIndex, 0, iCount);
    }
};

constinit Profiler gProfiler;

bool IsProfiling() noexcept
{
    EnumSwitch profiling = gProfiling.load(std::memory_order_relaxed);
    if (profiling == EnumSwitch::Unread) [[unlikely]]
    {
        const char* const value = std::getenv("QORJOB_PROFILE");
        const EnumSwitch read = value != nullptr && std::strcmp(value, "1") == 0 ? EnumSwitch::On : EnumSwitch::Off;
        // Fails, and gives the newer value, when the program has switched meanwhile.
        if (gProfiling.compare_exchange_strong(profiling, read))
            profiling = read;
    }
    return profiling == EnumSwitch::On;
}

std::int64_t GetNanoseconds() noexcept
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

} // namespace

} // namespace Builtin

namespace QPerfMon
{

PerformanceMonitor* GetPerformanceMonitor() noexcept { return &Builtin::gMonitor; }

QORProfiler* GetQORProfiler() noexcept { return &Builtin::gProfiler; }

unsigned GetProfileIndex(const char* iName)
{
    const unsigned index = Builtin::FindOrAddProfile(iName);
    Builtin::EventTrace::Note("QPerfMon::GetProfileIndex", {index});
    return index;
}

QORProfileAgent* CreateQORProfileAgent(int iProfileIndex) noexcept
{
    Builtin::EventTrace::Note("QPerfMon::CreateQORProfileAgent", {iProfileIndex});
    if (!Builtin::IsProfiling() || iProfileIndex < 0 || !Builtin::IsKnownProfile(static_cast<unsigned>(iProfileIndex)))
        return nullptr;
    void* const memory = QBase::HeapAllocate(sizeof(QORProfileAgent));
    return memory == nullptr ? nullptr : ::new (memory) QORProfileAgent{iProfileIndex, Builtin::GetNanoseconds()};
}

void StartProfileAgent(QORProfileAgent* iAgent) noexcept
{
    if (iAgent == nullptr)
        return;
    Builtin::EventTrace::Note("QPerfMon::StartProfileAgent", {iAgent->mProfileIndex});
    iAgent->mStartTicks = Builtin::GetNanoseconds();
}

void EndProfileAgent(QORProfileAgent* iAgent) noexcept
{
    if (iAgent == nullptr)
        return;
    Builtin::EventTrace::Note("QPerfMon::EndProfileAgent", {iAgent->mProfileIndex});
    const std::int64_t elapsed = Builtin::GetNanoseconds() - iAgent->mStartTicks;
    Builtin::AddToProfile(static_cast<unsigned>(iAgent->mProfileIndex), static_cast<std::uint64_t>(elapsed / 1000), 1);
}

} // namespace QPerfMon

namespace QORPerformanceMonitor
{

Initializer::Initializer()
{
    if (Builtin::Faults::IsDue(Builtin::Faults::EnumFault::LibraryStart))
        throw QBase::Message("The performance monitor can't be brought up.");
    Builtin::EventTrace::Note("QORPerformanceMonitor::Initializer");
    ++Builtin::gPerformanceMonitorUsers;
}

Initializer::~Initializer()
{
    Builtin::EventTrace::Note("QORPerformanceMonitor::~Initializer");
    --Builtin::gPerformanceMonitorUsers;
}

} // namespace QORPerformanceMonitor

double GetPulseTimeStamp() noexcept
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

bool IsRequestStatsEnabled(Tag_EnumKDXPulseCategoryID) noexcept
{
    return Builtin::gbPulsesEnabled.load(std::memory_order_relaxed);
}

void PULSE_RecordPulseEvent(int iValue, int iJobId, Tag_EnumKDXPulseCategoryID iCategory, double iEnqueueTime,
                            double iNow)
{
    Builtin::EventTrace::Note("PULSE_RecordPulseEvent", {iValue, iJobId, iCategory});
    if (!IsRequestStatsEnabled(iCategory))
        return;
    Builtin::Pulses& pulses = Builtin::GetPulses();
    const QSynch::MutexHold hold(pulses.mMutex);
    pulses.mPulses.push_back({iValue, iJobId, iCategory, iEnqueueTime, iNow});
}
