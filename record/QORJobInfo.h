// What a job looked like at one moment, for those who watch it.
#pragma once

#include "platform/Export.h"
#include "platform/QDataType.h"
#include "platform/QSynch.h"
#include "record/QORJobInfoData.h"
#include "record/QORJobPUInfo.h"
#include "record/QORJobStep.h"

#include <array>

/// A plain value of fixed size, filled by QORJob::GetJobInfo: it has no link to the job. Of the arrays the first
/// entries count, as many as the number before each says.
///
/// Threads: one at a time.
/// Owns:    nothing.
/// Errors:  none.
/// Locks:   none.
class QORJOB_API QORJobInfo
{
public:
    static constexpr int cCapacity = 16; ///< steps, finished steps, visits; what a job has more isn't shown
    static constexpr int cDataCapacity = 5;

    QORJobInfo() = default;
    // From a variable, as the callers' signatures have it. Both assign the steps: their CPU times go along.
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
    QDataType::DateTime mCreationTime{0.0};
    QDataType::DateTime mStatusTime{0.0};
    QDataType::DateTime mFinishTime{0.0};
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
