#include "context/ICKDXProcessContext.h"
#include "context/ICKDXReportInstance.h"
#include "job/JobMemGovernor.h"
#include "job/KernelCounters.h"
#include "job/QORJobRows.h"
#include "platform/QorUserSession.h"

namespace
{

/// Whether a report of that kind is exempt from the memory governor.
bool IsExemptKind(int iExecutionKind) { return iExecutionKind == ExecutionKind7 || iExecutionKind == ExecutionKind9; }

} // namespace

HRESULT QORJob::GetText(const QBase::wstring& iField, QBase::wstring& oText, const char* iOperation) const
{
    return Boundary(
        [&] {
            oText.clear();
            QSynch::CriticalSection::SmartLock lock(mpLock);
            oText = iField;
            return S_OK;
        },
        iOperation);
}

/// Locked store.
template <class Text>
HRESULT QORJob::StoreText(QBase::wstring& oField, const Text& iText, const char* iOperation)
{
    return Boundary(
        [&] {
            QSynch::CriticalSection::SmartLock lock(mpLock);
            oField = iText;
            return S_OK;
        },
        iOperation);
}

HRESULT QORJob::SetText(QBase::wstring& oField, const QBase::wstring& iText, const char* iOperation)
{
    return StoreText(oField, iText, iOperation);
}

HRESULT QORJob::SetText(QBase::wstring& oField, const QBase::WCHAR* iText, const char* iOperation)
{
    return iText == nullptr ? E_POINTER : StoreText(oField, iText, iOperation);
}

// clang-format off
// One row an accessor: the helper's name says its lock and its null rule.

HRESULT QORJob::SetIsSendNowJob(bool ibSendNow) { return Set(mSubscription.mbSendNow, ibSendNow); }
HRESULT QORJob::GetIsSendNowJob(bool* obSendNow) const { return Get(mSubscription.mbSendNow, obSendNow); }
HRESULT QORJob::GetDeliveryType(EnumSubscriptionDeliveryType* oType) const { return Get(mSubscription.mDeliveryType, oType); }
HRESULT QORJob::SetSubscriptionOwner(const QBase::wstring& iOwner) { return SetText(mSubscription.mOwner, iOwner); }
HRESULT QORJob::GetSubscriptionOwner(QBase::wstring& oOwner) const { return GetText(mSubscription.mOwner, oOwner); }
HRESULT QORJob::SetSubscriptionRecipient(const QBase::wstring& iRecipient) { return SetText(mSubscription.mRecipient, iRecipient); }
HRESULT QORJob::GetSubscriptionRecipient(QBase::wstring& oRecipient) const { return GetText(mSubscription.mRecipient, oRecipient); }
HRESULT QORJob::SetDestination(const QBase::wstring& iDestination) { return SetText(mSubscription.mDestination, iDestination); }
HRESULT QORJob::GetDestination(QBase::wstring& oDestination) const { return GetText(mSubscription.mDestination, oDestination); }
HRESULT QORJob::SetIsBatchJob(bool ibBatch) { return Set(mbBatch, ibBatch); }
bool QORJob::IsBatchJob() const { return GetValue(mbBatch); }
HRESULT QORJob::SetIsExecutingInWarehouse(bool ibExecuting) { return Set(mbExecutingInWarehouse, ibExecuting); }
HRESULT QORJob::GetIsExecutingInWarehouse(bool* obExecuting) const { return Get(mbExecutingInWarehouse, obExecuting); }
HRESULT QORJob::SetIsDocumentDataModelNull(bool ibNull) { return Set(mbDocumentDataModelNull, ibNull); }
bool QORJob::IsDocumentDataModelNull() const { return GetValue(mbDocumentDataModelNull); }
HRESULT QORJob::GetType(int* oType) const { return GetUnlocked(mType, oType); }
HRESULT QORJob::GetSource(int* oSource) const { return GetUnlocked(mSource, oSource); }
HRESULT QORJob::SetProjectId(int iProjectId, int* oOld) { return Set(mProjectId, iProjectId, oOld); }
HRESULT QORJob::GetProjectId(int* oProjectId) const { return Get(mProjectId, oProjectId); }
HRESULT QORJob::SetProjectID(const GUID& iProjectID) { return Set(mProjectID, iProjectID); }
HRESULT QORJob::GetProjectID(GUID* oProjectID) const { return Get(mProjectID, oProjectID); }
HRESULT QORJob::SetProjectName(const QBase::wstring& iName) { return SetText(mProjectName, iName); }
HRESULT QORJob::SetProjectName(const QBase::WCHAR* iName) { return SetText(mProjectName, iName); }
HRESULT QORJob::GetProjectName(QBase::wstring& oName) const { return GetText(mProjectName, oName); }
HRESULT QORJob::SetOwner(const QBase::wstring& iOwner) { return SetText(mOwner, iOwner); }
HRESULT QORJob::SetOwner(const QBase::WCHAR* iOwner) { return SetText(mOwner, iOwner); }
HRESULT QORJob::GetOwner(QBase::wstring& oOwner) const { return GetText(mOwner, oOwner); }
HRESULT QORJob::SetUser(const QBase::wstring& iUser) { return SetText(mUser, iUser); }
HRESULT QORJob::SetUser(const QBase::WCHAR* iUser) { return SetText(mUser, iUser); }
HRESULT QORJob::GetUser(QBase::wstring& oUser) const { return GetText(mUser, oUser); }
HRESULT QORJob::SetUserLogin(const QBase::wstring& iLogin) { return SetText(mUserLogin, iLogin); }
HRESULT QORJob::SetUserLogin(const QBase::WCHAR* iLogin) { return SetText(mUserLogin, iLogin); }
HRESULT QORJob::GetUserLogin(QBase::wstring& oLogin) const { return GetText(mUserLogin, oLogin); }
HRESULT QORJob::GetUserID(GUID& oUserID) const { return Get(mUserID, &oUserID); }
HRESULT QORJob::SetSessionID(GUID iSessionID) { return Set(mSessionID, iSessionID); }
HRESULT QORJob::GetSessionID(GUID& oSessionID) const { return Get(mSessionID, &oSessionID); }
HRESULT QORJob::SetWarehouseID(GUID iWarehouseID) { return Set(mWarehouseID, iWarehouseID); }
HRESULT QORJob::GetWarehouseID(GUID& oWarehouseID) const { return Get(mWarehouseID, &oWarehouseID); }
HRESULT QORJob::SetDescription(const QBase::wstring& iDescription) { return SetText(mDescription, iDescription); }
HRESULT QORJob::GetDescription(QBase::wstring& oDescription) const { return GetText(mDescription, oDescription); }
HRESULT QORJob::SetTimeoutExtended(bool ibExtended, bool* obOld) { return Set(mbTimeoutExtended, ibExtended, obOld); }

// clang-format on
// Plain fields: single words, read and written without the lock.

HRESULT QORJob::SetRequestId(int iRequestId)
{
    mRequestId = iRequestId;
    return S_OK;
}

HRESULT QORJob::GetRequestId(int& oRequestId) const
{
    oRequestId = mRequestId;
    return S_OK;
}

HRESULT QORJob::SetStatsFlag(bool ibStats)
{
    mbStats = ibStats;
    return S_OK;
}

HRESULT QORJob::GetStatsFlag(bool& obStats) const
{
    obStats = mbStats;
    return S_OK;
}

HRESULT QORJob::SetIfKeepRunWhenSessionTimeout(bool ibKeepRunning)
{
    mbKeepRunning = ibKeepRunning;
    return S_OK;
}

bool QORJob::IsKeepRunWhenSessionTimeout() const { return mbKeepRunning; }

HRESULT QORJob::SetCurrentStepForStatistics(int iStepId)
{
    mCurrentStepForStatistics = iStepId;
    return S_OK;
}

int QORJob::GetCurrentStepForStatistics() const { return mCurrentStepForStatistics; }

/// Without the lock and without a null check: callers know that the job has a governor.
bool QORJob::GetGovernorCancelFlag() const QORJOB_NO_THREAD_SAFETY_ANALYSIS { return mpMemGovernor->mbCancel; }

// Accessors with a rule of their own.

HRESULT QORJob::SetType(int iType, int* oOld)
{
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        const int old = mType;
        mType = iType;
        if (oOld != nullptr)
            *oOld = old;
        return S_OK;
    });
}

HRESULT QORJob::SetSource(int iSource)
{
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        mSource = iSource;
        return S_OK;
    });
}

HRESULT QORJob::GetTimeoutExtended(bool* obExtended) const
{
    return obExtended == nullptr ? S_OK : Get(mbTimeoutExtended, obExtended);
}

HRESULT QORJob::SetDeliveryType(EnumSubscriptionDeliveryType iType)
{
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        mSubscription.mDeliveryType = iType;
        if (iType != EnumSubscriptionDeliveryType{} && mpMemGovernor)
            mpMemGovernor->mbNotGoverned = true;
        return S_OK;
    });
}

HRESULT QORJob::SetUserID(GUID iUserID)
{
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        mUserID = iUserID;
        if (mpMemGovernor)
            mpMemGovernor->mUserGuid = iUserID;
        return S_OK;
    });
}

HRESULT QORJob::SetUserSession(QorUserSession* iSession)
{
    return Boundary([&] {
        QBase::PtrI<QorUserSession> old;
        {
            QSynch::CriticalSection::SmartLock lock(mpLock);
            if (mpUserSession.Get() == iSession)
                return S_OK;
            old = std::exchange(mpUserSession, QBase::PtrI<QorUserSession>(iSession));
        }
        if (old)
            old.Detach()->Release(); // after the lock, and by name: what it throws ends in the boundary
        return S_OK;
    });
}

HRESULT QORJob::GetUserSession(QorUserSession** oSession) const { return GetPointer(mpUserSession, oSession); }

HRESULT QORJob::SetProcessContext(ICKDXProcessContext* iContext)
{
    return Boundary([&] {
        // The context is called under the lock on purpose: a thread that reads the new context finds the priority and
        // the governor in it.
        QSynch::CriticalSection::SmartLock lock(mpLock);
        QBase::PtrI<ICKDXProcessContext> old(iContext);
        std::swap(old, mpProcessContext);
        // In a boundary of its own: the new context is told even when the old one's Release throws.
        const auto release = [&] {
            if (old)
                old.Detach()->Release();
            return S_OK;
        };
        const HRESULT code = Boundary(release, "SetProcessContext");
        if (iContext != nullptr)
            TellContext(*iContext);
        return code; // the new context's answers are not looked at
    });
}

/// Gives a new context the job's priority and governor, and exempts the job when the context's report is exempt.
void QORJob::TellContext(ICKDXProcessContext& ioContext)
{
    ioContext.put_LimitA(mPriority);
    ioContext.put_SharedHandle(mpMemGovernor);
    QBase::PtrI<IUnknown> object = InstanceObjectOf(ioContext);
    QBase::PtrI<ICKDXReportInstance> instance = ReportInstanceOf(object.Get());
    int kind = ExecutionKindNone;
    if (instance && SUCCEEDED(instance->get_ExecutionKind(&kind)) && IsExemptKind(kind) && mpMemGovernor)
        mpMemGovernor->mbNotGoverned = true;
    // Released by name: an exception out of Release reaches the operation's boundary.
    if (instance)
        instance.Detach()->Release();
    if (object)
        object.Detach()->Release();
}

HRESULT QORJob::GetProcessContext(ICKDXProcessContext** oContext) const
{
    return GetPointer(mpProcessContext, oContext);
}

std::shared_ptr<JobMemGovernor> QORJob::GetMemGovernor() const { return GetValue(mpMemGovernor); }
