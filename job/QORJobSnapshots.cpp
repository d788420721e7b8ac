#include "data/QORJobData.h"
#include "job/QORJobRows.h"
#include "record/QORJobBrowsingInfo.h"
#include "record/QORJobInfo.h"

#include <algorithm>
#include <cstddef>

namespace
{

/// Copies the first records, as many as there is room for.
template <class Records, class Record, std::size_t Room>
void CopyRecords(const Records& iRecords, std::array<Record, Room>& oRecords, int& oCount)
{
    std::size_t count = 0;
    for (auto record = iRecords.begin(); record != iRecords.end() && count < Room; ++record)
        if (*record != nullptr)
            oRecords[count++] = **record;
    oCount = static_cast<int>(count);
}

/// Cuts what doesn't fit, and terminates the rest with a zero.
template <std::size_t Room>
void CopyText(const QBase::wstring& iText, QBase::WCHAR (&oText)[Room])
{
    std::fill_n(oText, Room, QBase::WCHAR{});
    iText.copy(oText, Room - 1);
}

} // namespace

HRESULT QORJob::GetJobInfo(QORJobInfo* oInfo) const
{
    if (oInfo == nullptr)
        return E_POINTER;
    const auto fill = [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        oInfo->mJobId = mId;
        oInfo->mPriority = mPriority;
        oInfo->mStatus = mStatus;
        oInfo->mSource = mSource;
        oInfo->mType = mType;
        oInfo->mPUPriority = mPUPriority;
        oInfo->mCreationTime = mCreationTime;
        oInfo->mStatusTime = mStatusTime;
        oInfo->mFinishTime = mFinishTime;
        oInfo->mbRunning = mbRunning;
        CopyRecords(mSteps.GetTodo(), oInfo->mTodoSteps, oInfo->mTodoCount);
        CopyRecords(mSteps.GetFinished(), oInfo->mFinishedSteps, oInfo->mFinishedCount);
        CopyRecords(GetVisits(), oInfo->mPUInfos, oInfo->mPUCount);
        CopyItems(*oInfo);
        return S_OK;
    };
    return Boundary(fill, "GetJobJobInfo"); // log readers know it by this name
}

/// The items are called under the lock on purpose: without it one could be deleted meanwhile.
void QORJob::CopyItems(QORJobInfo& oInfo) const
{
    std::size_t count = 0;
    for (std::size_t slot = 0; slot < mData.size(); ++slot)
    {
        if (mData[slot] == nullptr)
            continue;
        oInfo.mDataSlots[count] = static_cast<int>(slot);
        oInfo.mData[count] = *mData[slot];
        ++count;
    }
    oInfo.mDataCount = static_cast<int>(count);
}

HRESULT QORJob::GetJobBrowsingInfo(QORJobBrowsingInfo* oInfo) const
{
    if (oInfo == nullptr)
        return E_POINTER;
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        oInfo->mJobId = mId;
        oInfo->mStatus = mStatus;
        oInfo->mPriority = mPriority;
        oInfo->mProjectId = mProjectId;
        const Origin& origin = mOrigin.Read();
        CopyText(origin.mOwner, oInfo->mOwner);
        CopyText(origin.mDescription, oInfo->mDescription);
        CopyText(origin.mProjectName, oInfo->mProjectName);
        return S_OK;
    });
}

HRESULT QORJob::GetJobBrowsingInfo2(QORJobBrowsingInfo2* oInfo) const
{
    if (oInfo == nullptr)
        return E_POINTER;
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        const Origin& origin = mOrigin.Read();
        const Delivery& delivery = mDelivery.Read();
        GetIsSendNowJob(&oInfo->mbSendNow);
        GetDeliveryType(&oInfo->mDeliveryType);
        oInfo->mSubscriptionOwner = delivery.mSubscriptionOwner;
        oInfo->mSubscriptionRecipient = delivery.mRecipient;
        oInfo->mDestination = delivery.mDestination;
        oInfo->mProjectGuid = origin.mProjectID;
        oInfo->mObjectGuid = origin.mObjectID;
        oInfo->mWholeDescription = origin.mDescription;
        oInfo->mUserLogin = origin.mUserLogin;
        oInfo->mbExecutingInWarehouse = mbExecutingInWarehouse;
        return S_OK;
    });
}

// A job is never saved as a whole, only its parts are. Callers that save all kinds of records alike count on these four
// to touch nothing, not even the size.

DWORD QORJob::GetSaveObjSizeNoLock(unsigned*) const { return 0; }

DWORD QORJob::GetSaveObjSize(unsigned*) const { return 0; }

DWORD QORJob::SaveObj(unsigned, unsigned, signed char*, unsigned*) const { return 0; }

DWORD QORJob::LoadObj(unsigned, const signed char*) { return 0; }
