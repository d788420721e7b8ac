// What a job, together with its children, may take of memory and has taken.
#pragma once

#include "platform/QSynch.h"
#include "platform/Windows.h"

#include <atomic>
#include <cstdint>

/// Shared by a parent job and its children; outlives each of them.
///
/// Threads: any; the user GUID is written under the lock of whichever job shares the governor.
/// Owns:    nothing.
/// Errors:  none.
/// Locks:   none.
class JobMemGovernor
{
public:
    explicit JobMemGovernor(QSynch::AtomicLong iJobId) : mJobId(iJobId) {}

    std::uint64_t mUsedBytes = 0;
    std::uint64_t mLimitBytes = ~std::uint64_t{0};
    GUID mUserGuid = GUID_NULL;
    QSynch::AtomicLong mJobId;
    std::uint64_t mPeakBytes = 0;
    std::atomic<bool> mbCancel{false};      ///< the governor wants the job cancelled
    std::atomic<bool> mbNotGoverned{false}; ///< the job is exempt from the limit
};
