// The data of the performance monitor: QPerfMon writes it, PerfReadings reads it.
#pragma once

#include "platform/Mutex.h"
#include "platform/ThreadSafety.h"
#include "platform/builtin/PerfReadings.h"
#include "platform/builtin/base/NeverDestroyed.h"
#include "platform/builtin/perf/AddressSet.h"
#include "platform/builtin/perf/Shards.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Builtin
{

// Counters

inline constexpr int cCounterCount = 64;

struct alignas(cLineBytes) CounterShard
{
    std::atomic<std::int64_t> mCounters[cCounterCount];
};

inline constinit CounterShard gCounterShards[cShardCount]{};

/// The sums at the last reset. The shards go on: their threads write to them alone.
inline constinit CounterShard gCountersAtReset{};

inline bool IsKnownCounter(int iCounterId) { return iCounterId >= 0 && iCounterId < cCounterCount; }

// Profiles

inline constexpr unsigned cProfileCapacity = 1024;

struct ProfileTotals
{
    std::atomic<std::uint64_t> mMicroseconds;
    std::atomic<std::uint64_t> mCount;
};

struct alignas(cLineBytes) ProfileShard
{
    ProfileTotals mTotals[cProfileCapacity];
};

inline constinit ProfileShard gProfileShards[cShardCount]{};
inline constinit ProfileShard gProfilesAtReset{};

/// Names are only ever added: those below the count never change and are read without a lock.
inline constinit std::atomic<unsigned> gProfileCount{0};
inline constinit const char* gProfileNames[cProfileCapacity]{};

enum class EnumSwitch
{
    Unread, ///< not set by the program: the environment decides
    Off,
    On,
};

inline constinit std::atomic<EnumSwitch> gProfiling{EnumSwitch::Unread};

// Instances

inline constexpr int cCategoryCount = 32;

inline bool IsKnownCategory(int iCategory) { return iCategory >= 0 && iCategory < cCategoryCount; }

struct alignas(cLineBytes) InstanceShard
{
    std::atomic<std::int64_t> mCounts[cCategoryCount];
};

inline constinit InstanceShard gInstanceShards[cShardCount]{};

/// The live objects of each category, in sets by their addresses.
inline constinit AddressSet gLiveObjects[cCategoryCount][cSetCount]{};

// Pulses

struct Pulses
{
    QSynch::Mutex<QSynch::LockLevelSystem> mMutex;
    std::vector<PerfReadings::Pulse> mPulses QORJOB_GUARDED_BY(mMutex);
};

inline constinit std::atomic<bool> gbPulsesEnabled{false};

inline Pulses& GetPulses()
{
    static NeverDestroyed<Pulses> pulses;
    return pulses.Get();
}

} // namespace Builtin
