// Readings of the performance monitor, for reports and tests.
#pragma once

#include "platform/Export.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Builtin::PerfReadings
{

QORJOB_API std::int64_t GetCounter(int iCounterId);

struct Profile
{
    std::string mName;
    std::uint64_t mMicroseconds = 0;
    std::uint64_t mCount = 0;
};

/// By profile index.
QORJOB_API std::vector<Profile> GetProfiles();

/// Agents are made only while profiling is on. It is off at the start, unless the environment variable QORJOB_PROFILE
/// is 1: an agent costs two clock readings a step.
QORJOB_API void EnableProfiling(bool ibEnabled) noexcept;

/// The number of Increase less Decrease, and the number of live registered objects.
QORJOB_API std::int64_t GetInstanceCount(int iCategory);
QORJOB_API std::int64_t GetLiveInstances(int iCategory);

struct Pulse
{
    int mValue = 0;
    int mJobId = 0;
    int mCategory = 0;
    double mEnqueueTime = 0;
    double mNow = 0;
};

QORJOB_API void EnablePulses(bool ibEnabled) noexcept;
/// Takes the pulses recorded so far.
QORJOB_API std::vector<Pulse> TakePulses();

/// Clears counters, profile times, pulses; names and live objects stay.
QORJOB_API void Reset();

} // namespace Builtin::PerfReadings
