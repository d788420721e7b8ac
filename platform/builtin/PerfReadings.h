// Readings of the performance monitor, for reports and tests.
#pragma once

#include "platform/Export.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Builtin::PerfReadings
{

/// Counters have the ids 0 to 63. Up to 50 they belong to the libraries (job/KernelCounters.h has the job's); 51 to 63
/// are left to the server, which adds to them through QPerfMon::GetPerformanceMonitor(). 0 for an id that there isn't.
QORJOB_API std::int64_t GetCounter(int iCounterId);

struct Counter
{
    int mId = 0;
    std::string mName;
    std::int64_t mValue = 0;
};

/// Names a counter for GetCounters; doing so once more changes nothing. Throws QBase::Message for an empty name, for an
/// id that there isn't or that has another name, and for a name that another counter has.
QORJOB_API void NameCounter(int iCounterId, const std::string& iName);

/// Those that have names, by id.
QORJOB_API std::vector<Counter> GetCounters();

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
