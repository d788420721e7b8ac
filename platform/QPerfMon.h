// The performance monitor: counters, profiles, instance counts and request-statistics pulses.
#pragma once

#include "platform/Export.h"

#include <cstdint>

/// Profiles one run of something. A plain block of the general heap, which its owner frees with QBase::HeapFree.
struct QORProfileAgent
{
    int mProfileIndex;
    std::int64_t mStartTicks; ///< of the profiler's own clock, in nanoseconds
};

namespace QPerfMon
{

/// Numbered counters of the server.
class QORJOB_API PerformanceMonitor
{
public:
    virtual void Add(int iCounterId, std::int64_t iDelta) noexcept = 0;

protected:
    ~PerformanceMonitor() = default;
};

/// Never null.
QORJOB_API PerformanceMonitor* GetPerformanceMonitor() noexcept;

/// Total time and count of each profile.
class QORJOB_API QORProfiler
{
public:
    virtual void AddElapsedTime(unsigned iProfileIndex, std::uint64_t iMicroseconds) noexcept = 0;
    virtual void AddCount(unsigned iProfileIndex, unsigned iCount) noexcept = 0;

protected:
    ~QORProfiler() = default;
};

/// Never null.
QORJOB_API QORProfiler* GetQORProfiler() noexcept;

/// The profile of that name, made when it is not there yet.
QORJOB_API unsigned GetProfileIndex(const char* iName);

/// Makes an agent and starts it; the two below accept null. Null when profiling is switched off, for a negative index,
/// or without memory.
QORJOB_API QORProfileAgent* CreateQORProfileAgent(int iProfileIndex) noexcept;
QORJOB_API void StartProfileAgent(QORProfileAgent* iAgent) noexcept;
/// Adds the time since the start, and one run, to the agent's profile.
QORJOB_API void EndProfileAgent(QORProfileAgent* iAgent) noexcept;

} // namespace QPerfMon

namespace QORPerformanceMonitor
{

/// Brings the performance monitor up with the first object and down with the last one. Throws QBase::Message when it
/// can't be brought up.
class QORJOB_API Initializer
{
public:
    Initializer();
    ~Initializer();
    Initializer(const Initializer&) = delete;
    Initializer& operator=(const Initializer&) = delete;
};

} // namespace QORPerformanceMonitor

/// Live objects by category, as a number and as the registered objects themselves.
class QORJOB_API QORObjectInstanceCount
{
public:
    /// May be null.
    static QORObjectInstanceCount* GetObjectInstanceCount() noexcept;

    virtual void IncreaseObjectInstanceCount(int iCategory) noexcept = 0;
    virtual void DecreaseObjectInstanceCount(int iCategory) noexcept = 0;
    /// Without memory the object is not listed.
    virtual void CreateObjectInstance(int iCategory, const void* iObject) noexcept = 0;
    virtual void DeleteObjectInstance(int iCategory, const void* iObject) noexcept = 0;

protected:
    ~QORObjectInstanceCount() = default;
};

enum Tag_EnumKDXPulseCategoryID : int
{
    PulseCategoryJobFirst = 406, ///< a job's pulse category is this plus its current step for statistics
};

/// The pulse clock, in seconds.
QORJOB_API double GetPulseTimeStamp() noexcept;
QORJOB_API bool IsRequestStatsEnabled(Tag_EnumKDXPulseCategoryID iCategory) noexcept;
QORJOB_API void PULSE_RecordPulseEvent(int iValue, int iJobId, Tag_EnumKDXPulseCategoryID iCategory,
                                       double iEnqueueTime, double iNow);
