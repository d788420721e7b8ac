// The short records in which lists of jobs are shown.
#pragma once

#include "platform/Export.h"
#include "platform/QBase.h"
#include "platform/QSynch.h"
#include "platform/Windows.h"
#include "record/QORJobTypes.h"

/// A plain value of fixed size, filled by QORJob::GetJobBrowsingInfo. Texts that are too long are cut.
///
/// Threads: one at a time.
/// Owns:    nothing.
/// Errors:  E_POINTER for null out-pointers.
/// Locks:   none.
class QORJOB_API QORJobBrowsingInfo
{
public:
    HRESULT get_ID(QSynch::AtomicLong* oId) const;
    HRESULT get_Priority(int* oPriority) const;
    HRESULT get_Status(int* oStatus) const;

    QSynch::AtomicLong mJobId = -1;
    int mStatus = 0;
    int mPriority = 0;
    int mProjectId = 0;
    QBase::WCHAR mOwner[32] = {};
    QBase::WCHAR mDescription[64] = {};
    QBase::WCHAR mProjectName[32] = {};
};

/// With what is known of the job's subscription, and the description whole. GetJobBrowsingInfo2 fills what this class
/// adds and nothing else: who wants the whole record has both operations fill it.
///
/// Threads: one at a time.
/// Owns:    its texts.
/// Errors:  as QORJobBrowsingInfo; std::bad_alloc when it is copied.
/// Locks:   none.
// A text that is moved where memories differ is copied.
// NOLINTNEXTLINE(bugprone-exception-escape)
class QORJOB_API QORJobBrowsingInfo2 : public QORJobBrowsingInfo
{
public:
    bool mbSendNow = false;
    EnumSubscriptionDeliveryType mDeliveryType{};
    QBase::wstring mSubscriptionOwner;
    QBase::wstring mSubscriptionRecipient;
    QBase::wstring mDestination;
    GUID mProjectGuid = GUID_NULL;
    GUID mObjectGuid = GUID_NULL;
    QBase::wstring mWholeDescription;
    QBase::wstring mUserLogin;
    bool mbExecutingInWarehouse = false;
};
