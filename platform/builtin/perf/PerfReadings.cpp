#include "platform/builtin/PerfReadings.h"

#include "platform/Mutex.h"
#include "platform/builtin/perf/PerfData.h"

#include <utility>

namespace Builtin::PerfReadings
{

std::int64_t GetCounter(int iCounterId)
{
    std::int64_t sum = 0;
    if (IsKnownCounter(iCounterId))
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
