// The older layout of a job's snapshot, with times as calendar fields.
#pragma once

#include "platform/Export.h"
#include "platform/QDataType.h"
#include "platform/QSynch.h"
#include "platform/Windows.h"
#include "record/QORJobInfo.h"
#include "record/QORJobInfoData.h"

#include <array>

// All classes here are plain values.
//
// Threads: one at a time.
// Owns:    nothing.
// Errors:  none.
// Locks:   none.

/// A time as calendar fields. The default is the unset time, with neither week nor day of the week (-1).
class QORJOB_API OldDateTime
{
public:
    OldDateTime() = default;
    explicit OldDateTime(const QDataType::DateTime& iTime);
    OldDateTime(const OldDateTime&) = default;
    OldDateTime& operator=(const OldDateTime&) = default;
    virtual ~OldDateTime();

    int mYear = 1899;
    int mMonth = 12;
    int mDay = 30;
    int mHour = 0;
    int mMinute = 0;
    int mSecond = 0;
    int mMillisecond = 0;
    int mWeek = -1;      ///< of the year, from 1
    int mDayOfWeek = -1; ///< 0 is Sunday
};

class QORJOB_API QORJobStepOld
{
public:
    explicit QORJobStepOld(int iStepId = 0) : mStepId(iStepId) {}
    /// All but the chapter key.
    QORJobStepOld& operator=(const QORJobStep& iStep);

    OldDateTime mStartTime;
    OldDateTime mFinishTime;
    DWORD mTaskCPUTime = 0; ///< in 100-nanosecond units, modulo 2^32
    int mPUPriority = 0;
    int mPUId = -1;
    DWORD mThreadId = 0;
    int mStepId;
};

class QORJOB_API QORJobPUInfoOld
{
public:
    explicit QORJobPUInfoOld(int iPUId = -1) : mPUId(iPUId) {}
    QORJobPUInfoOld& operator=(const QORJobPUInfo& iVisit);

    OldDateTime mEnterTime;
    OldDateTime mStartTime;
    OldDateTime mExitTime;
    DWORD mThreadId = 0;
    int mPUId;
};

/// As QORJobInfo.
class QORJOB_API QORJobInfoOld
{
public:
    explicit QORJobInfoOld(const QORJobInfo& iInfo);

    QSynch::AtomicLong mJobId;
    int mPriority;
    int mStatus;
    int mSource;
    int mType;
    bool mbRunning;
    int mPUPriority;
    OldDateTime mCreationTime;
    OldDateTime mStatusTime;
    OldDateTime mFinishTime;
    int mTodoCount;
    std::array<QORJobStepOld, QORJobInfo::cCapacity> mTodoSteps;
    int mFinishedCount;
    std::array<QORJobStepOld, QORJobInfo::cCapacity> mFinishedSteps;
    int mPUCount;
    std::array<QORJobPUInfoOld, QORJobInfo::cCapacity> mPUInfos;
    int mDataCount;
    std::array<int, QORJobInfo::cDataCapacity> mDataSlots;
    std::array<QORJobInfoData, QORJobInfo::cDataCapacity> mData;
};
