#include "platform/QPerfMon.h"

#include "platform/Mutex.h"
#include "platform/QBase.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/Faults.h"
#include "platform/builtin/LibraryUsers.h"
#include "platform/builtin/PerfReadings.h"
#include "platform/builtin/base/NeverDestroyed.h"
#include "platform/builtin/perf/Shards.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>

namespace
{

using Builtin::cLineBytes;
using Builtin::cShardCount;
using Builtin::GetThreadShard;

template <class Number>
void AddTo(std::atomic<Number>& ioNumber, Number iDelta)
{
    ioNumber.fetch_add(iDelta, std::memory_order_relaxed);
}

// Counters

constexpr int cCounterCount = 64;

struct alignas(cLineBytes) CounterShard
{
    std::atomic<std::int64_t> mCounters[cCounterCount];
};

constinit CounterShard gCounterShards[cShardCount]{};

class Monitor final : public QPerfMon::PerformanceMonitor
{
public:
    void Add(int iCounterId, std::int64_t iDelta) noexcept override
    {
        Builtin::EventTrace::Note("QPerfMon::PerformanceMonitor::Add", {iCounterId, iDelta});
        if (iCounterId >= 0 && iCounterId < cCounterCount)
            AddTo(gCounterShards[GetThreadShard()].mCounters[iCounterId], iDelta);
    }
};

constinit Monitor gMonitor;

// Profiles

constexpr unsigned cProfileCapacity = 1024;

struct ProfileTotals
{
    std::atomic<std::uint64_t> mMicroseconds;
    std::atomic<std::uint64_t> mCount;
};

struct alignas(cLineBytes) ProfileShard
{
    ProfileTotals mTotals[cProfileCapacity];
};

constinit ProfileShard gProfileShards[cShardCount]{};

// Names are only ever added: those below the count stand for good and are read without the lock.
constinit std::atomic<unsigned> gProfileCount{0};
constinit const char* gProfileNames[cProfileCapacity]{};

QSynch::Mutex& GetProfileNamesMutex() // for adding
{
    static Builtin::NeverDestroyed<QSynch::Mutex> mutex;
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
    ProfileTotals& totals = gProfileShards[GetThreadShard()].mTotals[iProfileIndex];
    if (iMicroseconds != 0)
        AddTo(totals.mMicroseconds, iMicroseconds);
    if (iCount != 0)
        AddTo(totals.mCount, iCount);
}

class Profiler final : public QPerfMon::QORProfiler
{
public:
    void AddElapsedTime(unsigned iProfileIndex, std::uint64_t iMicroseconds) noexcept override
    {
        Builtin::EventTrace::Note("QPerfMon::QORProfiler::AddElapsedTime",
                                  {iProfileIndex, static_cast<std::int64_t>(iMicroseconds)});
        AddToProfile(iProfileIndex, iMicroseconds, 0);
    }

    void AddCount(unsigned iProfileIndex, unsigned iCount) noexcept override
    {
        Builtin::EventTrace::Note("QPerfMon::QORProfiler::AddCount", {iProfileIndex, iCount});
        AddToProfile(iProfileIndex, 0, iCount);
    }
};

constinit Profiler gProfiler;

enum class EnumSwitch
{
    Unread, ///< nobody has said anything: the environment decides
    Off,
    On,
};

constinit std::atomic<EnumSwitch> gProfiling{EnumSwitch::Unread};

bool IsProfiling() noexcept
{
    EnumSwitch profiling = gProfiling.load(std::memory_order_relaxed);
    if (profiling == EnumSwitch::Unread) [[unlikely]]
    {
        const char* const value = std::getenv("QORJOB_PROFILE");
        const EnumSwitch read = value != nullptr && std::strcmp(value, "1") == 0 ? EnumSwitch::On : EnumSwitch::Off;
        // Fails, and gives the newer value, when somebody has switched meanwhile.
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

// Pulses

struct Pulses
{
    QSynch::Mutex mMutex;
    std::vector<Builtin::PerfReadings::Pulse> mPulses QORJOB_GUARDED_BY(mMutex);
};

constinit std::atomic<bool> gbPulsesEnabled{false};

Pulses& GetPulses()
{
    static Builtin::NeverDestroyed<Pulses> pulses;
    return pulses.Get();
}

constinit std::atomic<unsigned> gUsers{0};

} // namespace

namespace QPerfMon
{

PerformanceMonitor* GetPerformanceMonitor() noexcept { return &gMonitor; }

QORProfiler* GetQORProfiler() noexcept { return &gProfiler; }

unsigned GetProfileIndex(const char* iName)
{
    const unsigned index = FindOrAddProfile(iName);
    Builtin::EventTrace::Note("QPerfMon::GetProfileIndex", {index});
    return index;
}

QORProfileAgent* CreateQORProfileAgent(int iProfileIndex) noexcept
{
    Builtin::EventTrace::Note("QPerfMon::CreateQORProfileAgent", {iProfileIndex});
    if (!IsProfiling() || iProfileIndex < 0 || !IsKnownProfile(static_cast<unsigned>(iProfileIndex)))
        return nullptr;
    void* const memory = QBase::HeapAllocate(sizeof(QORProfileAgent));
    return memory == nullptr ? nullptr : ::new (memory) QORProfileAgent{iProfileIndex, GetNanoseconds()};
}

void StartProfileAgent(QORProfileAgent* iAgent) noexcept
{
    if (iAgent == nullptr)
        return;
    Builtin::EventTrace::Note("QPerfMon::StartProfileAgent", {iAgent->mProfileIndex});
    iAgent->mStartTicks = GetNanoseconds();
}

void EndProfileAgent(QORProfileAgent* iAgent) noexcept
{
    if (iAgent == nullptr)
        return;
    Builtin::EventTrace::Note("QPerfMon::EndProfileAgent", {iAgent->mProfileIndex});
    const std::int64_t elapsed = GetNanoseconds() - iAgent->mStartTicks;
    AddToProfile(static_cast<unsigned>(iAgent->mProfileIndex), static_cast<std::uint64_t>(elapsed / 1000), 1);
}

} // namespace QPerfMon

namespace QORPerformanceMonitor
{

Initializer::Initializer()
{
    if (Builtin::Faults::IsDue(Builtin::Faults::EnumFault::LibraryStart))
        throw QBase::Message("The performance monitor can't be brought up.");
    Builtin::EventTrace::Note("QORPerformanceMonitor::Initializer");
    ++gUsers;
}

Initializer::~Initializer()
{
    Builtin::EventTrace::Note("QORPerformanceMonitor::~Initializer");
    --gUsers;
}

} // namespace QORPerformanceMonitor

unsigned Builtin::LibraryUsers::GetPerformanceMonitorUsers() noexcept { return gUsers; }

double GetPulseTimeStamp() noexcept
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

bool IsRequestStatsEnabled(Tag_EnumKDXPulseCategoryID) noexcept
{
    return gbPulsesEnabled.load(std::memory_order_relaxed);
}

void PULSE_RecordPulseEvent(int iValue, int iJobId, Tag_EnumKDXPulseCategoryID iCategory, double iEnqueueTime,
                            double iNow)
{
    Builtin::EventTrace::Note("PULSE_RecordPulseEvent", {iValue, iJobId, iCategory});
    if (!IsRequestStatsEnabled(iCategory))
        return;
    Pulses& pulses = GetPulses();
    const QSynch::MutexHold hold(pulses.mMutex);
    pulses.mPulses.push_back({iValue, iJobId, iCategory, iEnqueueTime, iNow});
}

namespace Builtin::PerfReadings
{

std::int64_t GetCounter(int iCounterId)
{
    std::int64_t sum = 0;
    if (iCounterId >= 0 && iCounterId < cCounterCount)
    {
        for (const CounterShard& shard : gCounterShards)
            sum += shard.mCounters[iCounterId].load(std::memory_order_relaxed);
    }
    return sum;
}

std::vector<Profile> GetProfiles()
{
    std::vector<Profile> profiles(gProfileCount.load(std::memory_order_acquire));
    for (std::size_t index = 0; index < profiles.size(); ++index)
    {
        Profile& profile = profiles[index];
        profile.mName = gProfileNames[index];
        for (const ProfileShard& shard : gProfileShards)
        {
            profile.mMicroseconds += shard.mTotals[index].mMicroseconds.load(std::memory_order_relaxed);
            profile.mCount += shard.mTotals[index].mCount.load(std::memory_order_relaxed);
        }
    }
    return profiles;
}

void EnableProfiling(bool ibEnabled) noexcept { gProfiling.store(ibEnabled ? EnumSwitch::On : EnumSwitch::Off); }

void EnablePulses(bool ibEnabled) noexcept { gbPulsesEnabled.store(ibEnabled, std::memory_order_relaxed); }

std::vector<Pulse> TakePulses()
{
    Pulses& pulses = GetPulses();
    const QSynch::MutexHold hold(pulses.mMutex);
    return std::exchange(pulses.mPulses, {});
}

void Reset()
{
    for (CounterShard& shard : gCounterShards)
    {
        for (std::atomic<std::int64_t>& counter : shard.mCounters)
            counter.store(0, std::memory_order_relaxed);
    }
    const unsigned profiles = gProfileCount.load(std::memory_order_acquire);
    for (ProfileShard& shard : gProfileShards)
    {
        for (unsigned index = 0; index < profiles; ++index)
        {
            shard.mTotals[index].mMicroseconds.store(0, std::memory_order_relaxed);
            shard.mTotals[index].mCount.store(0, std::memory_order_relaxed);
        }
    }
    TakePulses();
}

} // namespace Builtin::PerfReadings
