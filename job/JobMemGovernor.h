// The memory account of a job and its children: what they may take and what they have taken.
#pragma once

#include "platform/Export.h"
#include "platform/Mutex.h"
#include "platform/QBase.h"
#include "platform/QSynch.h"
#include "platform/ThreadSafety.h"
#include "platform/Windows.h"

#include <atomic>
#include <cstdint>

/// A governor refused a request of memory.
inline constexpr HRESULT cMemoryRefused = static_cast<HRESULT>(0x8000FE24);

/// What is reported where a governor is needed and there is none.
inline constexpr const QBase::WCHAR* cGovernorMissing = QORJOB_W("Failed to fetch the job memory governor object.");

/// A number of bytes in megabytes with two decimals, the form of all texts about memory: "99.50".
class QORJOB_API Megabytes
{
public:
    explicit Megabytes(std::uint64_t iBytes) noexcept;

    /// Valid while the object lives.
    const char* GetText() const noexcept { return mText; }

private:
    char mText[24];
};

/// A GUID that some threads write while others read it.
class QORJOB_API SharedGuid
{
public:
    SharedGuid& operator=(const GUID& iGuid);
    operator GUID() const;

private:
    mutable QSynch::Mutex<QSynch::LockLevelShared> mMutex;
    GUID mGuid QORJOB_GUARDED_BY(mMutex) = GUID_NULL;
};

/// Shared by a parent job and its children; outlives each of them.
///
/// Threads: any.
/// Owns:    nothing.
/// Errors:  return codes.
/// Locks:   the user GUID's, never held while anything else is called.
class QORJOB_API JobMemGovernor
{
public:
    explicit JobMemGovernor(QSynch::AtomicLong iJobId) : mJobId(iJobId) {}

    /// Asks for `iBytes`. S_OK grants them: an exempt job gets all it asks for, another one what its limit leaves.
    /// 0x8000FE24 refuses them: nothing is taken, the job is to be cancelled, the reason is logged, and `oRefusal` is
    /// the text to report as the job's error (empty while the module isn't set up, or where the text can't be made).
    HRESULT Request(std::uint64_t iBytes, QBase::wstring& oRefusal);
    /// Gives bytes back, at most what was taken.
    void Release(std::uint64_t iBytes) noexcept;
    /// Logs the peak beside the limit at the end of that job; nothing when no memory was taken.
    void LogFinish(int iJobId) const noexcept;

    std::atomic<std::uint64_t> mUsedBytes{0};
    std::atomic<std::uint64_t> mLimitBytes{~std::uint64_t{0}};
    SharedGuid mUserGuid;
    QSynch::AtomicLong mJobId;
    std::atomic<std::uint64_t> mPeakBytes{0}; ///< 0: nothing was ever taken
    std::atomic<bool> mbCancel{false};        ///< the job is to be cancelled
    std::atomic<bool> mbNotGoverned{false};   ///< the job is exempt from the limit

private:
    bool Take(std::uint64_t iBytes, std::uint64_t& oUsed) noexcept;
    HRESULT Explain(std::uint64_t iBytes, std::uint64_t iUsed, QBase::wstring& oRefusal) const;
};
