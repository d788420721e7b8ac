// Short snapshots of a job, for lists of jobs.
#pragma once

#include "platform/Export.h"
#include "platform/QBase.h"
#include "platform/QSynch.h"
#include "platform/Windows.h"
#include "record/QORJobTypes.h"

/// A plain value of fixed size, filled by QORJob::GetJobBrowsingInfo. Texts that are too long are truncated.
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

/// Adds the job's subscription and the whole description. GetJobBrowsingInfo2 fills only what this class adds; for a
/// whole record both operations are called.
///
/// Threads: one at a time.
/// Owns:    its texts.
/// Errors:  as QORJobBrowsingInfo; std::bad_alloc when it is copied.
/// Locks:   none.
// Moving a text between different memory resources copies it, which can throw.
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
