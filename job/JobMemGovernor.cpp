#include "job/JobMemGovernor.h"

#include "base/ExceptionBoundary.h"
#include "base/KernelLog.h"
#include "context/COMStatus.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace
{

constexpr int cMegabyteShift = 20;
constexpr std::uint64_t cMegabyte = std::uint64_t{1} << cMegabyteShift;

} // namespace

Megabytes::Megabytes(std::uint64_t iBytes) noexcept
{
    const std::uint64_t hundredths =
        (iBytes >> cMegabyteShift) * 100 + ((iBytes % cMegabyte) * 100 + cMegabyte / 2) / cMegabyte;
    char* next = std::to_chars(mText, mText + sizeof(mText), hundredths / 100).ptr;
    *next++ = '.';
    *next++ = static_cast<char>('0' + hundredths / 10 % 10);
    *next++ = static_cast<char>('0' + hundredths % 10);
    *next = '\0';
}

SharedGuid& SharedGuid::operator=(const GUID& iGuid)
{
    const QSynch::MutexHold hold(mMutex);
    mGuid = iGuid;
    return *this;
}

SharedGuid::operator GUID() const
{
    const QSynch::MutexHold hold(mMutex);
    return mGuid;
}

HRESULT JobMemGovernor::Request(std::uint64_t iBytes, QBase::wstring& oRefusal)
{
    std::uint64_t used = 0;
    if (Take(iBytes, used))
        return S_OK;
    mbCancel = true;
    Boundary(
        mJobId, [&] { return Explain(iBytes, used, oRefusal); }, "JobMemGovernor::Request");
    return cMemoryRefused;
}

/// `oUsed` is what was taken before, as the decision saw it.
bool JobMemGovernor::Take(std::uint64_t iBytes, std::uint64_t& oUsed) noexcept
{
    constexpr std::uint64_t cMost = std::numeric_limits<std::uint64_t>::max();
    oUsed = mUsedBytes;
    std::uint64_t taken = 0;
    do
    {
        const bool bFits = iBytes <= cMost - oUsed;
        taken = bFits ? oUsed + iBytes : cMost;
        if (!mbNotGoverned && !(bFits && taken <= mLimitBytes))
            return false;
    } while (!mUsedBytes.compare_exchange_weak(oUsed, taken));

    std::uint64_t peak = mPeakBytes;
    while (peak < taken && !mPeakBytes.compare_exchange_weak(peak, taken))
    {
    }
    return true;
}

HRESULT JobMemGovernor::Explain(std::uint64_t iBytes, std::uint64_t iUsed, QBase::wstring& oRefusal) const
{
    oRefusal.clear();
    QLog::Router* router = KernelLog::gRouters[static_cast<std::size_t>(EnumKernelRouter::Error)].load();
    if (router == nullptr)
        return S_OK;
    const std::uint64_t limit = mLimitBytes;
    const std::uint64_t left = limit - std::min(iUsed, limit);
    const std::uint64_t wholeLimit = limit >> cMegabyteShift;
    if (router->IsEnabled())
        LogLine(EnumKernelRouter::Error,
                "User %1 requests %2 MB (%3 Bytes) for job %4, but only %5 MB (%6 Bytes) left with the configured "
                "memory limit %7 MB.",
                static_cast<GUID>(mUserGuid), Megabytes(iBytes).GetText(), iBytes, mJobId.Get(),
                Megabytes(left).GetText(), left, wholeLimit);
    QResource::MessageFormatter arguments;
    arguments << mJobId.Get() << wholeLimit;
    return FormatMessageText(oRefusal, static_cast<unsigned>(cMemoryRefused), arguments,
                             "E_KERNEL_MEMORY_GOVERNOR_REQUEST", *router);
}

void JobMemGovernor::Release(std::uint64_t iBytes) noexcept
{
    std::uint64_t used = mUsedBytes;
    while (!mUsedBytes.compare_exchange_weak(used, used - std::min(used, iBytes)))
    {
    }
}

void JobMemGovernor::LogFinish(int iJobId) const noexcept
{
    const std::uint64_t peak = mPeakBytes;
    const std::uint64_t limit = mLimitBytes;
    if (peak == 0 || KernelLog::EnabledRouter(EnumKernelRouter::JobTrace) == nullptr)
        return;
    const auto log = [&](const char* iTemplate) {
        LogLine(EnumKernelRouter::JobTrace, iTemplate, iJobId, limit >> cMegabyteShift, Megabytes(peak).GetText(),
                peak);
    };
    if (mbNotGoverned)
        log("Job with ID '%1' is finishing. This job is not governed by the setting \"Maximum memory consumption per "
            "job,\" which is configured at %2 MB. The peak memory consumption of this job is %3 MB (%4 bytes).");
    else if (peak <= limit)
        log("Job with ID '%1' is finishing. This job is governed by the setting \"Maximum memory consumption per "
            "job,\" which is configured at %2 MB. The peak memory consumption of this job is %3 MB (%4 bytes), which "
            "doesn't hit the limit.");
    else
        log("Job with ID '%1' has failed. This job is governed by the setting \"Maximum memory consumption per job,\" "
            "which is configured at %2 MB. The peak memory consumption of this job is %3 MB (%4 bytes), which hits the "
            "limit.");
}
