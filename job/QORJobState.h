// The fields of a job, which only the operations of QORJob use.
#pragma once

#include "base/HeapObject.h"
#include "base/OnDemand.h"
#include "base/Unlocked.h"
#include "job/ChildList.h"
#include "job/StepQueue.h"
#include "platform/QBase.h"
#include "platform/QDataType.h"
#include "platform/QMessage.h"
#include "platform/QSynch.h"
#include "platform/ThreadSafety.h"
#include "platform/Windows.h"
#include "record/QORJobTypes.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <memory_resource>
#include <utility>
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

/// The fields of a job, in groups by what guards them. Users see them and can't reach them: their layout may change
/// with any version.
struct QORJobState
{
    using IdList = QBase::list<QSynch::AtomicLong>;

    /// The profile of a step that runs, and behind it those of others. Its agent is null while profiling is off.
    struct StepProfile : HeapObject
    {
        using AgentPtr = std::unique_ptr<QORProfileAgent, QBase::HeapDeleter>; // freed as plain memory

        StepProfile(int iStepId, AgentPtr iAgent) : mStepId(iStepId), mpAgent(std::move(iAgent)) {}

        const int mStepId;
        const AgentPtr mpAgent;
        std::unique_ptr<StepProfile> mpNext;
    };

    struct BufferDestroyer
    {
        void operator()(QBase::Buffer* iBuffer) const { iBuffer->Destroy(); }
    };

    QORJobState(QSynch::AtomicLong iId, int iRequestType, int iPriority, QorUserSession* iSession,
                QBase::Buffer* iBuffer);
    ~QORJobState();
    QORJobState(const QORJobState&) = delete;
    QORJobState& operator=(const QORJobState&) = delete;

    /// Who asked for what.
    struct Origin
    {
        GUID mProjectID = GUID_NULL;
        QBase::wstring mProjectName;
        QBase::wstring mOwner;
        QBase::wstring mUser;
        QBase::wstring mUserLogin;
        GUID mUserID = GUID_NULL;
        GUID mSessionID = GUID_NULL;
        GUID mWarehouseID = GUID_NULL;
        GUID mObjectID = GUID_NULL;
        QBase::wstring mDescription;

        explicit Origin(std::pmr::memory_resource* iMemory)
            : mProjectName(iMemory), mOwner(iMemory), mUser(iMemory), mUserLogin(iMemory), mDescription(iMemory)
        {
        }
    };

    /// Where the result of a subscription is delivered.
    struct Delivery
    {
        QBase::wstring mSubscriptionOwner;
        QBase::wstring mRecipient;
        QBase::wstring mDestination;

        explicit Delivery(std::pmr::memory_resource* iMemory)
            : mSubscriptionOwner(iMemory), mRecipient(iMemory), mDestination(iMemory)
        {
        }
    };

    /// Requests of channels that wait for an answer.
    struct ChannelRequests
    {
        QBase::list<QORChannelRequest*> mChannels;
        QBase::list<QORChannelRequest*> mFurther; // nothing here fills it

        explicit ChannelRequests(std::pmr::memory_resource* iMemory) : mChannels(iMemory), mFurther(iMemory) {}
    };

    struct Family
    {
        QSynch::AtomicLong mParentId = -1;
        int mRunningChildCount = 0;
        OnDemand<ChildList> mExecutingChildren;
        OnDemand<ChildList> mFinishedChildren;
    };

    struct ThreadTimes
    {
        FILETIME mKernel{};
        FILETIME mUser{};
    };

    /// Of all that the job holds by itself.
    std::pmr::memory_resource* GetMemory() const { return mbExternalBuffer ? mpLocalBuffer : QBase::DefaultHeap(); }

    // --- Constant once the job is made -------------------------------------------------------------------------------
    const QSynch::AtomicLong mId;
    const int mRequestType;
    const unsigned mProfileIndex;
    const bool mbExternalBuffer;
    QBase::Buffer* mpLocalBuffer;
    QSynch::CriticalSectionPtr mpLock; // in mLockPlace
    alignas(QBase::cHeapAlignment) std::byte mBufferPlace[QBase::cBufferBytes];
    std::unique_ptr<QBase::Buffer, BufferDestroyer> mpOwnedBuffer; // in mBufferPlace
    alignas(QSynch::cCriticalSectionAlignment) std::byte mLockPlace[QSynch::cCriticalSectionBytes];
    QDataType::DateTime mCreationTime;
    std::int64_t mCreationSeconds = 0; // the same since 1970

    // --- Changed by any thread, without the lock ---------------------------------------------------------------------
    QSynch::AtomicLong mReferenceCount = 0;
    Unlocked<int> mCurrentStepForStatistics = 0;
    Unlocked<double> mPulseEnqueueTime = 0.0;
    Unlocked<int> mRequestId = -1;
    Unlocked<bool> mbApplyGovernor = true;
    Unlocked<bool> mbStats = false;
    Unlocked<bool> mbKeepRunning = false;
    std::atomic<unsigned> mTraceFlags = 0;

    // --- Written under the lock, read without ------------------------------------------------------------------------
    Unlocked<int> mType = 0;
    Unlocked<int> mSource = 0;

    // --- Under the lock: execution -----------------------------------------------------------------------------------
    int mStatus QORJOB_GUARDED_BY(mpLock) = JobReady;
    bool mbRunning QORJOB_GUARDED_BY(mpLock) = false;
    bool mbIAmDead QORJOB_GUARDED_BY(mpLock) = false;
    bool mbQueryResult QORJOB_GUARDED_BY(mpLock) = false;
    bool mbExecutingInWarehouse QORJOB_GUARDED_BY(mpLock) = false;
    bool mbStartedOnce QORJOB_GUARDED_BY(mpLock) = false;
    bool mbCloseCountersUpdated QORJOB_GUARDED_BY(mpLock) = false;
    unsigned char mUnprofiledStepId QORJOB_GUARDED_BY(mpLock) = 0; // the profile of one step without an agent; 0: none
    int mActiveCount QORJOB_GUARDED_BY(mpLock) = 0;
    int mDeadStepId QORJOB_GUARDED_BY(mpLock) = 0;
    int mRunawayStatus QORJOB_GUARDED_BY(mpLock) = 0;
    int mRunawayStep QORJOB_GUARDED_BY(mpLock) = 0;
    int mPriority QORJOB_GUARDED_BY(mpLock);
    int mPUPriority QORJOB_GUARDED_BY(mpLock);
    StepQueue mSteps QORJOB_GUARDED_BY(mpLock);
    QORJobTask* mpExecutingTask QORJOB_GUARDED_BY(mpLock) = nullptr; // not owned
    ThreadTimes mStepStartTimes QORJOB_GUARDED_BY(mpLock);
    std::unique_ptr<StepProfile> mpStepProfiles QORJOB_GUARDED_BY(mpLock);
    QDataType::DateTime mStatusTime QORJOB_GUARDED_BY(mpLock);
    QDataType::DateTime mFinishTime QORJOB_GUARDED_BY(mpLock);
    QDataType::DateTime mTimeOutTime QORJOB_GUARDED_BY(mpLock);
    std::pmr::vector<QORJobPUInfo*> mUnits QORJOB_GUARDED_BY(mpLock); // the newest last

    // --- Under the lock: what the job works with ---------------------------------------------------------------------
    QBase::PtrI<ICKDXProcessContext> mpProcessContext QORJOB_GUARDED_BY(mpLock);
    QBase::PtrI<QorUserSession> mpUserSession QORJOB_GUARDED_BY(mpLock);
    std::shared_ptr<JobMemGovernor> mpMemGovernor QORJOB_GUARDED_BY(mpLock);
    QBase::PtrI<ICKDXReadMessage> mpInMessage QORJOB_GUARDED_BY(mpLock);
    QBase::PtrI<CKDXServerMessage> mpInBoxMessage QORJOB_GUARDED_BY(mpLock);
    OnDemand<ChannelRequests> mChannelRequests QORJOB_GUARDED_BY(mpLock);
    std::array<QORJobData*, 5> mData QORJOB_GUARDED_BY(mpLock){};
    HRESULT mErrorCode QORJOB_GUARDED_BY(mpLock) = S_OK;
    HRESULT mComponentErrorCode QORJOB_GUARDED_BY(mpLock) = S_OK;

    // --- Under the lock: attributes ----------------------------------------------------------------------------------
    OnDemand<Origin> mOrigin QORJOB_GUARDED_BY(mpLock);
    OnDemand<Delivery> mDelivery QORJOB_GUARDED_BY(mpLock);
    EnumSubscriptionDeliveryType mDeliveryType QORJOB_GUARDED_BY(mpLock){};
    bool mbSendNow QORJOB_GUARDED_BY(mpLock) = false;
    Family mFamily QORJOB_GUARDED_BY(mpLock);
    QSynch::AtomicLong mPreJobId QORJOB_GUARDED_BY(mpLock) = -1;
    bool mbBatch QORJOB_GUARDED_BY(mpLock) = false;
    bool mbTimeoutExtended QORJOB_GUARDED_BY(mpLock) = false;
    bool mbDocumentDataModelNull QORJOB_GUARDED_BY(mpLock) = false;
    int mProjectId QORJOB_GUARDED_BY(mpLock) = -1;
};
