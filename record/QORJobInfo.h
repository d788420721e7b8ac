// A snapshot of a job.
#pragma once

#include "platform/Export.h"
#include "platform/QDataType.h"
#include "platform/QSynch.h"
#include "record/QORJobInfoData.h"
#include "record/QORJobPUInfo.h"
#include "record/QORJobStep.h"

#include <array>

/// A plain value of fixed size, filled by QORJob::GetJobInfo and independent of the job from then on. The number before
/// each array says how many of its entries are used.
///
/// Threads: one at a time.
/// Owns:    nothing.
/// Errors:  none.
/// Locks:   none.
class QORJOB_API QORJobInfo
{
public:
    static constexpr int cCapacity = 16; ///< of steps, finished steps and visits; more are left out
    static constexpr int cDataCapacity = 5;

    QORJobInfo() = default;
    // Not const, as callers' signatures have it. Both assign the steps, which copies their CPU times, too.
    QORJobInfo(QORJobInfo& ioOther);
    QORJobInfo& operator=(QORJobInfo& ioOther);
    ~QORJobInfo() = default;

    QSynch::AtomicLong mJobId = -1;
    int mPriority = 0;
    int mStatus = 0;
    int mSource = 0;
    int mType = 0;
    bool mbRunning = false;
    int mPUPriority = 0;
    QDataType::DateTime mCreationTime;
    QDataType::DateTime mStatusTime;
    QDataType::DateTime mFinishTime;
    int mTodoCount = 0;
    std::array<QORJobStep, cCapacity> mTodoSteps;
    int mFinishedCount = 0;
    std::array<QORJobStep, cCapacity> mFinishedSteps; ///< newest first
    int mPUCount = 0;
    std::array<QORJobPUInfo, cCapacity> mPUInfos; ///< newest first
    int mDataCount = 0;
    std::array<int, cDataCapacity> mDataSlots{}; ///< of the job, one for each item
    std::array<QORJobInfoData, cDataCapacity> mData;
};
