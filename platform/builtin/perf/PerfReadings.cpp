#include "platform/builtin/PerfReadings.h"

#include "platform/Mutex.h"
#include "platform/QBase.h"
#include "platform/ThreadSafety.h"
#include "platform/builtin/base/NeverDestroyed.h"
#include "platform/builtin/perf/PerfData.h"

#include <algorithm>
#include <map>
#include <utility>

namespace Builtin::PerfReadings
{

namespace
{

struct CounterNames
{
    QSynch::Mutex<QSynch::LockLevelSystem> mMutex;
    std::map<int, std::string> mNames QORJOB_GUARDED_BY(mMutex);
};

CounterNames& GetCounterNames()
{
    static NeverDestroyed<CounterNames> names;
    return names.Get();
}

std::int64_t SumCounter(int iCounterId)
{
    std::int64_t sum = 0;
    for (const CounterShard& shard : gCounterShards)
        sum += shard.mCounters[iCounterId].load(std::memory_order_relaxed);
    return sum;
}

void SumProfile(std::size_t iIndex, std::uint64_t& oMicroseconds, std::uint64_t& oCount)
{
    oMicroseconds = 0;
    oCount = 0;
    for (const ProfileShard& shard : gProfileShards)
    {
        oMicroseconds += shard.mTotals[iIndex].mMicroseconds.load(std::memory_order_relaxed);
        oCount += shard.mTotals[iIndex].mCount.load(std::memory_order_relaxed);
    }
}

} // namespace

std::int64_t GetCounter(int iCounterId)
{
    if (!IsKnownCounter(iCounterId))
        return 0;
    return SumCounter(iCounterId) - gCountersAtReset.mCounters[iCounterId].load(std::memory_order_relaxed);
}

void NameCounter(int iCounterId, const std::string& iName)
{
    const std::string counter = "Counter " + std::to_string(iCounterId);
    if (!IsKnownCounter(iCounterId))
        throw QBase::Message(counter + " doesn't exist.");
    if (iName.empty())
        throw QBase::Message(counter + " can't have an empty name.");
    CounterNames& names = GetCounterNames();
    const QSynch::MutexHold hold(names.mMutex);
    const auto other = std::find_if(names.mNames.begin(), names.mNames.end(), [&](const auto& iThere) {
        return (iThere.first == iCounterId) != (iThere.second == iName);
    });
    if (other != names.mNames.end())
        throw QBase::Message(counter + " can't be named " + iName + ": " + other->second + " is counter " +
                             std::to_string(other->first) + ".");
    names.mNames.emplace(iCounterId, iName);
}

std::vector<Counter> GetCounters()
{
    std::vector<Counter> counters;
    CounterNames& names = GetCounterNames();
    const QSynch::MutexHold hold(names.mMutex);
    counters.reserve(names.mNames.size());
    for (const auto& [id, name] : names.mNames)
        counters.push_back({id, name, GetCounter(id)});
    return counters;
}

std::vector<Profile> GetProfiles()
{
    std::vector<Profile> profiles(gProfileCount.load(std::memory_order_acquire));
    for (std::size_t index = 0; index < profiles.size(); ++index)
    {
        Profile& profile = profiles[index];
        profile.mName = gProfileNames[index];
        SumProfile(index, profile.mMicroseconds, profile.mCount);
        const ProfileTotals& atReset = gProfilesAtReset.mTotals[index];
        profile.mMicroseconds -= atReset.mMicroseconds.load(std::memory_order_relaxed);
        profile.mCount -= atReset.mCount.load(std::memory_order_relaxed);
    }
    return profiles;
}

void EnableProfiling(bool ibEnabled) noexcept { gProfiling.store(ibEnabled ? EnumSwitch::On : EnumSwitch::Off); }

std::int64_t GetInstanceCount(int iCategory)
{
    std::int64_t sum = 0;
    if (IsKnownCategory(iCategory))
    {
        for (const InstanceShard& shard : gInstanceShards)
            sum += shard.mCounts[iCategory].load(std::memory_order_relaxed);
    }
    return sum;
}

std::int64_t GetLiveInstances(int iCategory)
{
    std::size_t sum = 0;
    if (IsKnownCategory(iCategory))
    {
        for (AddressSet& set : gLiveObjects[iCategory])
            sum += set.GetCount();
    }
    return static_cast<std::int64_t>(sum);
}

void EnablePulses(bool ibEnabled) noexcept { gbPulsesEnabled.store(ibEnabled, std::memory_order_relaxed); }

std::vector<Pulse> TakePulses()
{
    Pulses& pulses = GetPulses();
    const QSynch::MutexHold hold(pulses.mMutex);
    return std::exchange(pulses.mPulses, {});
}

void Reset()
{
    int counter = 0;
    for (std::atomic<std::int64_t>& atReset : gCountersAtReset.mCounters)
        atReset.store(SumCounter(counter++), std::memory_order_relaxed);
    const unsigned profiles = gProfileCount.load(std::memory_order_acquire);
    for (unsigned index = 0; index < profiles; ++index)
    {
        std::uint64_t microseconds = 0;
        std::uint64_t count = 0;
        SumProfile(index, microseconds, count);
        gProfilesAtReset.mTotals[index].mMicroseconds.store(microseconds, std::memory_order_relaxed);
        gProfilesAtReset.mTotals[index].mCount.store(count, std::memory_order_relaxed);
    }
    TakePulses();
}

} // namespace Builtin::PerfReadings
