#include "context/ICKDXProcessContext.h"
#include "context/ICKDXReportInstance.h"
#include "job/JobMemGovernor.h"
#include "job/QORJobRows.h"
#include "platform/QorUserSession.h"

namespace
{

/// True for the execution kinds of a report instance that the memory governor leaves alone.
bool IsExemptKind(int iExecutionKind) { return iExecutionKind == 7 || iExecutionKind == 9; }

} // namespace

HRESULT QORJob::GetText(const char* iOperation, const QBase::wstring& iField, QBase::wstring& oText) const
{
    return Boundary(iOperation, [&] {
        oText.clear();
        QSynch::CriticalSection::SmartLock lock(mpLock);
        oText = iField;
        return S_OK;
    });
}

HRESULT QORJob::SetText(const char* iOperation, QBase::wstring& oField, const QBase::wstring& iText)
{
    return Boundary(iOperation, [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        oField = iText;
        return S_OK;
    });
}

HRESULT QORJob::SetText(const char* iOperation, QBase::wstring& oField, const QBase::WCHAR* iText)
{
    if (iText == nullptr)
        return E_POINTER;
    return Boundary(iOperation, [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        oField = iText;
        return S_OK;
    });
}

// clang-format off
// One row an accessor: the helper's name says its lock and its null rule.

HRESULT QORJob::SetIsSendNowJob(bool ibSendNow) { return Set("SetIsSendNowJob", mSubscription.mbSendNow, ibSendNow); }
HRESULT QORJob::GetIsSendNowJob(bool* obSendNow) const { return Get("GetIsSendNowJob", mSubscription.mbSendNow, obSendNow); }
HRESULT QORJob::GetDeliveryType(EnumSubscriptionDeliveryType* oType) const { return Get("GetDeliveryType", mSubscription.mDeliveryType, oType); }
HRESULT QORJob::SetSubscriptionOwner(const QBase::wstring& iOwner) { return SetText("SetSubscriptionOwner", mSubscription.mOwner, iOwner); }
HRESULT QORJob::GetSubscriptionOwner(QBase::wstring& oOwner) const { return GetText("GetSubscriptionOwner", mSubscription.mOwner, oOwner); }
HRESULT QORJob::SetSubscriptionRecipient(const QBase::wstring& iRecipient) { return SetText("SetSubscriptionRecipient", mSubscription.mRecipient, iRecipient); }
HRESULT QORJob::GetSubscriptionRecipient(QBase::wstring& oRecipient) const { return GetText("GetSubscriptionRecipient", mSubscription.mRecipient, oRecipient); }
HRESULT QORJob::SetDestination(const QBase::wstring& iDestination) { return SetText("SetDestination", mSubscription.mDestination, iDestination); }
HRESULT QORJob::GetDestination(QBase::wstring& oDestination) const { return GetText("GetDestination", mSubscription.mDestination, oDestination); }
HRESULT QORJob::SetIsBatchJob(bool ibBatch) { return Set("SetIsBatchJob", mbBatch, ibBatch); }
bool QORJob::IsBatchJob() const { return GetValue(mbBatch); }
HRESULT QORJob::SetIsExecutingInWarehouse(bool ibExecuting) { return Set("SetIsExecutingInWarehouse", mbExecutingInWarehouse, ibExecuting); }
HRESULT QORJob::GetIsExecutingInWarehouse(bool* obExecuting) const { return Get("GetIsExecutingInWarehouse", mbExecutingInWarehouse, obExecuting); }
HRESULT QORJob::SetIsDocumentDataModelNull(bool ibNull) { return Set("SetIsDocumentDataModelNull", mbDocumentDataModelNull, ibNull); }
bool QORJob::IsDocumentDataModelNull() const { return GetValue(mbDocumentDataModelNull); }
HRESULT QORJob::GetType(int* oType) const { return GetUnlocked<int>(mType, oType); }
HRESULT QORJob::GetSource(int* oSource) const { return GetUnlocked<int>(mSource, oSource); }
HRESULT QORJob::SetProjectId(int iProjectId, int* oOld) { return Set("SetProjectId", mProjectId, iProjectId, oOld); }
HRESULT QORJob::GetProjectId(int* oProjectId) const { return Get("GetProjectId", mProjectId, oProjectId); }
HRESULT QORJob::SetProjectID(const GUID& iProjectID) { return Set("SetProjectID", mProjectID, iProjectID); }
HRESULT QORJob::GetProjectID(GUID* oProjectID) const { return Get("GetProjectID", mProjectID, oProjectID); }
HRESULT QORJob::SetProjectName(const QBase::wstring& iName) { return SetText("SetProjectName", mProjectName, iName); }
HRESULT QORJob::SetProjectName(const QBase::WCHAR* iName) { return SetText("SetProjectName", mProjectName, iName); }
HRESULT QORJob::GetProjectName(QBase::wstring& oName) const { return GetText("GetProjectName", mProjectName, oName); }
HRESULT QORJob::SetOwner(const QBase::wstring& iOwner) { return SetText("SetOwner", mOwner, iOwner); }
HRESULT QORJob::SetOwner(const QBase::WCHAR* iOwner) { return SetText("SetOwner", mOwner, iOwner); }
HRESULT QORJob::GetOwner(QBase::wstring& oOwner) const { return GetText("GetOwner", mOwner, oOwner); }
HRESULT QORJob::SetUser(const QBase::wstring& iUser) { return SetText("SetUser", mUser, iUser); }
HRESULT QORJob::SetUser(const QBase::WCHAR* iUser) { return SetText("SetUser", mUser, iUser); }
HRESULT QORJob::GetUser(QBase::wstring& oUser) const { return GetText("GetUser", mUser, oUser); }
HRESULT QORJob::SetUserLogin(const QBase::wstring& iLogin) { return SetText("SetUserLogin", mUserLogin, iLogin); }
HRESULT QORJob::SetUserLogin(const QBase::WCHAR* iLogin) { return SetText("SetUserLogin", mUserLogin, iLogin); }
HRESULT QORJob::GetUserLogin(QBase::wstring& oLogin) const { return GetText("GetUserLogin", mUserLogin, oLogin); }
HRESULT QORJob::GetUserID(GUID& oUserID) const { return Get("GetUserID", mUserID, &oUserID); }
HRESULT QORJob::SetSessionID(GUID iSessionID) { return Set("SetSessionID", mSessionID, iSessionID); }
HRESULT QORJob::GetSessionID(GUID& oSessionID) const { return Get("GetSessionID", mSessionID, &oSessionID); }
HRESULT QORJob::SetWarehouseID(GUID iWarehouseID) { return Set("SetWarehouseID", mWarehouseID, iWarehouseID); }
HRESULT QORJob::GetWarehouseID(GUID& oWarehouseID) const { return Get("GetWarehouseID", mWarehouseID, &oWarehouseID); }
HRESULT QORJob::SetDescription(const QBase::wstring& iDescription) { return SetText("SetDescription", mDescription, iDescription); }
HRESULT QORJob::GetDescription(QBase::wstring& oDescription) const { return GetText("GetDescription", mDescription, oDescription); }
HRESULT QORJob::SetTimeoutExtended(bool ibExtended, bool* obOld) { return Set("SetTimeoutExtended", mbTimeoutExtended, ibExtended, obOld); }

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

/// Reads through the governor without asking whether there is one, and without the lock: callers know that there is.
bool QORJob::GetGovernorCancelFlag() const QORJOB_NO_THREAD_SAFETY_ANALYSIS { return mpMemGovernor->mbCancel; }

// Accessors with a rule of their own.

HRESULT QORJob::SetType(int iType, int* oOld)
{
    return Boundary("SetType", [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        const int old = mType.exchange(iType);
        if (oOld != nullptr)
            *oOld = old;
        return S_OK;
    });
}

HRESULT QORJob::SetSource(int iSource)
{
    return Boundary("SetSource", [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        mSource = iSource;
        return S_OK;
    });
}

HRESULT QORJob::GetTimeoutExtended(bool* obExtended) const
{
    return obExtended == nullptr ? S_OK : Get("GetTimeoutExtended", mbTimeoutExtended, obExtended);
}

HRESULT QORJob::SetDeliveryType(EnumSubscriptionDeliveryType iType)
{
    return Boundary("SetDeliveryType", [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        mSubscription.mDeliveryType = iType;
        if (iType != EnumSubscriptionDeliveryType{} && mpMemGovernor)
            mpMemGovernor->mbNotGoverned = true;
        return S_OK;
    });
}

HRESULT QORJob::SetUserID(GUID iUserID)
{
    return Boundary("SetUserID", [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        mUserID = iUserID;
        if (mpMemGovernor)
            mpMemGovernor->mUserGuid = iUserID;
        return S_OK;
    });
}

HRESULT QORJob::SetUserSession(QorUserSession* iSession)
{
    return Boundary("SetUserSession", [&] {
        QBase::PtrI<QorUserSession> other;
        {
            QSynch::CriticalSection::SmartLock lock(mpLock);
            if (mpUserSession.Get() == iSession)
                return S_OK;
            other = QBase::PtrI<QorUserSession>(iSession);
            std::swap(other, mpUserSession);
        }
        if (other)
            other.Detach()->Release(); // after the lock: no stranger is called under it
        return S_OK;
    });
}

HRESULT QORJob::GetUserSession(QorUserSession** oSession) const
{
    if (oSession == nullptr)
        return E_POINTER;
    return Boundary("GetUserSession", [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        *oSession = QBase::PtrI<QorUserSession>(mpUserSession).Detach();
        return S_OK;
    });
}

HRESULT QORJob::SetProcessContext(ICKDXProcessContext* iContext)
{
    return Boundary("SetProcessContext", [&] {
        // The context is called under the lock on purpose: a thread that meets the new context finds
        // the priority and the governor in it.
        QSynch::CriticalSection::SmartLock lock(mpLock);
        QBase::PtrI<ICKDXProcessContext> old(iContext);
        std::swap(old, mpProcessContext);
        // In a boundary of its own: whatever the old one throws as it goes, the new one is told.
        const HRESULT code = Boundary("SetProcessContext", [&] {
            if (old)
                old.Detach()->Release();
            return S_OK;
        });
        if (iContext != nullptr)
            TellContext(*iContext);
        return code; // whatever the new one answered
    });
}

/// What a new context learns of its job, and the job of the report that it runs.
void QORJob::TellContext(ICKDXProcessContext& ioContext)
{
    ioContext.put_LimitA(mPriority);
    ioContext.put_SharedHandle(mpMemGovernor);
    QBase::PtrI<IUnknown> object = InstanceObjectOf(ioContext);
    QBase::PtrI<ICKDXReportInstance> instance = ReportInstanceOf(object.Get());
    int kind = 0;
    if (instance && SUCCEEDED(instance->get_ExecutionKind(&kind)) && IsExemptKind(kind) && mpMemGovernor)
        mpMemGovernor->mbNotGoverned = true;
    // Released by name: what they throw stays in the operation.
    if (instance)
        instance.Detach()->Release();
    if (object)
        object.Detach()->Release();
}

HRESULT QORJob::GetProcessContext(ICKDXProcessContext** oContext) const
{
    if (oContext == nullptr)
        return E_POINTER;
    return Boundary("GetProcessContext", [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        *oContext = QBase::PtrI<ICKDXProcessContext>(mpProcessContext).Detach();
        return S_OK;
    });
}

std::shared_ptr<JobMemGovernor> QORJob::GetMemGovernor() const { return GetValue(mpMemGovernor); }
