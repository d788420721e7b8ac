// What a job keeps. Its operations are QORJob's; nothing else reaches in here.
#pragma once

#include "platform/QBase.h"
#include "platform/QDataType.h"
#include "platform/QMessage.h"
#include "platform/QSynch.h"
#include "platform/ThreadSafety.h"
#include "platform/Windows.h"
#include "record/QORJobTypes.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <memory_resource>
#include <vector>

class ICKDXProcessContext;
class JobMemGovernor;
class QORChannelRequest;
class QorUserSession;
class QORJobData;
class QORJobPUInfo;
class QORJobStep;
class QORJobTask;
struct QORProfileAgent;

/// The fields of a job, in the order in which they are kept. Under the job's lock unless they say otherwise; "plain"
/// ones are single words that are read and written without it.
struct QORJobState
{
    using StepList = QBase::list<QORJobStep*>;
    using UnitList = QBase::list<QORJobPUInfo*>;
    using IdList = QBase::list<QSynch::AtomicLong>;

    struct StepProfile
    {
        QORProfileAgent* mpAgent; // owned, freed as plain memory; null while profiling is off
        int mStepId;
    };

    struct LockDestroyer
    {
        void operator()(QSynch::CriticalSection* iLock) const { QSynch::DestroyCriticalSection(iLock); }
    };

    struct BufferDestroyer
    {
        void operator()(QBase::Buffer* iBuffer) const { iBuffer->Destroy(); }
    };

    QORJobState(QSynch::AtomicLong iId, int iRequestType, int iPriority, QorUserSession* iSession,
                QBase::Buffer* iBuffer, std::pmr::memory_resource* iMemory);
    ~QORJobState();
    QORJobState(const QORJobState&) = delete;
    QORJobState& operator=(const QORJobState&) = delete;

    struct Subscription
    {
        bool mbSendNow = false;
        EnumSubscriptionDeliveryType mDeliveryType{};
        QBase::wstring mOwner;
        QBase::wstring mRecipient;
        QBase::wstring mDestination;

        explicit Subscription(std::pmr::memory_resource* iMemory)
            : mOwner(iMemory), mRecipient(iMemory), mDestination(iMemory)
        {
        }
    };

    struct Family
    {
        QSynch::AtomicLong mParentId = -1;
        int mRunningChildCount = 0;
        IdList mExecutingChildren;
        IdList mFinishedChildren;

        explicit Family(std::pmr::memory_resource* iMemory) : mExecutingChildren(iMemory), mFinishedChildren(iMemory) {}
    };

    struct ThreadTimes
    {
        FILETIME mKernel{};
        FILETIME mUser{};
    };

    Subscription mSubscription QORJOB_GUARDED_BY(mpLock);
    Family mFamily QORJOB_GUARDED_BY(mpLock);
    std::atomic<int> mCurrentStepForStatistics = 0; // plain
    std::atomic<double> mPulseEnqueueTime = 0;      // plain
    StepList mTodoSteps QORJOB_GUARDED_BY(mpLock);
    StepList mFinishedSteps QORJOB_GUARDED_BY(mpLock);               // newest first
    QORJobTask* mpExecutingTask QORJOB_GUARDED_BY(mpLock) = nullptr; // not owned
    std::pmr::vector<StepProfile> mStepProfiles QORJOB_GUARDED_BY(mpLock);
    unsigned mProfileIndex; // fixed
    int mStatus QORJOB_GUARDED_BY(mpLock) = JobReady;
    bool mbRunning QORJOB_GUARDED_BY(mpLock) = false;
    bool mbIAmDead QORJOB_GUARDED_BY(mpLock) = false;
    int mDeadStepId QORJOB_GUARDED_BY(mpLock) = 0;
    int mRunawayStatus QORJOB_GUARDED_BY(mpLock) = 0;
    int mRunawayStep QORJOB_GUARDED_BY(mpLock) = 0;
    bool mbQueryResult QORJOB_GUARDED_BY(mpLock) = false;
    int mActiveCount QORJOB_GUARDED_BY(mpLock) = 0;
    bool mbBatch QORJOB_GUARDED_BY(mpLock) = false;
    bool mbExecutingInWarehouse QORJOB_GUARDED_BY(mpLock) = false;
    bool mbTimeoutExtended QORJOB_GUARDED_BY(mpLock) = false;
    std::atomic<bool> mbApplyGovernor = true; // plain
    bool mbDocumentDataModelNull QORJOB_GUARDED_BY(mpLock) = false;
    int mPriority QORJOB_GUARDED_BY(mpLock);
    int mPUPriority QORJOB_GUARDED_BY(mpLock);
    QDataType::DateTime mCreationTime{0.0}; // fixed once the job is made
    QDataType::DateTime mStatusTime QORJOB_GUARDED_BY(mpLock){0.0};
    QDataType::DateTime mFinishTime QORJOB_GUARDED_BY(mpLock){0.0};
    ThreadTimes mStepStartTimes QORJOB_GUARDED_BY(mpLock);
    UnitList mUnits QORJOB_GUARDED_BY(mpLock); // newest first
    QDataType::DateTime mTimeOutTime QORJOB_GUARDED_BY(mpLock){0.0};
    bool mbStartedOnce QORJOB_GUARDED_BY(mpLock) = false;
    bool mbCloseCountersUpdated QORJOB_GUARDED_BY(mpLock) = false;
    std::int64_t mCreationSeconds = 0; // fixed
    std::unique_ptr<QSynch::CriticalSection, LockDestroyer> mpOwnedLock;
    QSynch::CriticalSection* mpLock = nullptr; // fixed once the job is made
    QSynch::AtomicLong mReferenceCount = 0;
    const QSynch::AtomicLong mId;
    QSynch::AtomicLong mPreJobId QORJOB_GUARDED_BY(mpLock) = -1;
    std::atomic<int> mType = 0; // written under the lock, read without
    const int mRequestType;
    void* mpReserved = nullptr;
    HRESULT mErrorCode QORJOB_GUARDED_BY(mpLock) = S_OK;
    QBase::list<QORChannelRequest*> mChannelRequests QORJOB_GUARDED_BY(mpLock);
    QBase::list<QORChannelRequest*> mFurtherRequests QORJOB_GUARDED_BY(mpLock); // nothing here fills it
    std::unique_ptr<QBase::Buffer, BufferDestroyer> mpOwnedBuffer;
    QBase::Buffer* mpLocalBuffer; // fixed once the job is made
    const bool mbExternalBuffer;
    QBase::PtrI<CKDXServerMessage> mpInBoxMessage QORJOB_GUARDED_BY(mpLock);
    std::array<QORJobData*, 5> mData QORJOB_GUARDED_BY(mpLock){};
    std::atomic<int> mSource = 0; // written under the lock, read without
    int mProjectId QORJOB_GUARDED_BY(mpLock) = -1;
    QBase::wstring mOwner QORJOB_GUARDED_BY(mpLock);
    QBase::wstring mUser QORJOB_GUARDED_BY(mpLock);
    QBase::wstring mUserLogin QORJOB_GUARDED_BY(mpLock);
    GUID mUserID QORJOB_GUARDED_BY(mpLock) = GUID_NULL;
    GUID mSessionID QORJOB_GUARDED_BY(mpLock) = GUID_NULL;
    GUID mWarehouseID QORJOB_GUARDED_BY(mpLock) = GUID_NULL;
    QBase::PtrI<QorUserSession> mpUserSession QORJOB_GUARDED_BY(mpLock);
    QBase::wstring mDescription QORJOB_GUARDED_BY(mpLock);
    GUID mProjectID QORJOB_GUARDED_BY(mpLock) = GUID_NULL;
    QBase::wstring mProjectName QORJOB_GUARDED_BY(mpLock);
    QBase::PtrI<ICKDXProcessContext> mpProcessContext QORJOB_GUARDED_BY(mpLock);
    std::atomic<bool> mbStats = false; // plain
    GUID mObjectID QORJOB_GUARDED_BY(mpLock) = GUID_NULL;
    int mReserved = 0;
    std::shared_ptr<JobMemGovernor> mpMemGovernor QORJOB_GUARDED_BY(mpLock);
    std::atomic<bool> mbKeepRunning = false; // plain
    std::atomic<int> mRequestId = -1;        // plain
    QBase::PtrI<ICKDXReadMessage> mpInMessage QORJOB_GUARDED_BY(mpLock);
    HRESULT mComponentErrorCode QORJOB_GUARDED_BY(mpLock) = S_OK;
    std::atomic<unsigned> mTraceFlags = 0; // plain

    // What the two lists hold of closing steps: dispatch asks each time and mustn't walk them for it.
    int mTodoCloseSteps QORJOB_GUARDED_BY(mpLock) = 0;
    bool mbCloseFinished QORJOB_GUARDED_BY(mpLock) = false;
};
