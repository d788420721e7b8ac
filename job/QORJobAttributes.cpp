#include "context/ICKDXProcessContext.h"
#include "context/ICKDXReportInstance.h"
#include "job/JobMemGovernor.h"
#include "job/KernelCounters.h"
#include "job/QORJobRows.h"
#include "platform/QorUserSession.h"

#include <utility>

namespace
{

/// Whether a report of that kind is exempt from the memory governor.
bool IsExemptKind(int iExecutionKind) { return iExecutionKind == ExecutionKind7 || iExecutionKind == ExecutionKind9; }

} // namespace

/// Locked copy; the out-text is cleared first.
template <class Part>
HRESULT QORJob::GetText(const OnDemand<Part>& iPart, QBase::wstring Part::*iField, QBase::wstring& oText,
                        const char* iOperation) const
{
    oText.clear();
    return Get(iPart, iField, &oText, iOperation);
}

/// Null rule E_POINTER; locked store.
template <class Part>
HRESULT QORJob::SetText(OnDemand<Part>& ioPart, QBase::wstring Part::*iField, const QBase::WCHAR* iText,
                        const char* iOperation)
{
    return iText == nullptr ? E_POINTER : Set(ioPart, iField, iText, iOperation);
}

// clang-format off
// One row an accessor: the helper's name says its lock and its null rule.

HRESULT QORJob::SetIsSendNowJob(bool ibSendNow) { return Set(mbSendNow, ibSendNow); }
HRESULT QORJob::GetIsSendNowJob(bool* obSendNow) const { return Get(mbSendNow, obSendNow); }
HRESULT QORJob::GetDeliveryType(EnumSubscriptionDeliveryType* oType) const { return Get(mDeliveryType, oType); }
HRESULT QORJob::SetSubscriptionOwner(const QBase::wstring& iOwner) { return Set(mDelivery, &Delivery::mSubscriptionOwner, iOwner); }
HRESULT QORJob::GetSubscriptionOwner(QBase::wstring& oOwner) const { return GetText(mDelivery, &Delivery::mSubscriptionOwner, oOwner); }
HRESULT QORJob::SetSubscriptionRecipient(const QBase::wstring& iRecipient) { return Set(mDelivery, &Delivery::mRecipient, iRecipient); }
HRESULT QORJob::GetSubscriptionRecipient(QBase::wstring& oRecipient) const { return GetText(mDelivery, &Delivery::mRecipient, oRecipient); }
HRESULT QORJob::SetDestination(const QBase::wstring& iDestination) { return Set(mDelivery, &Delivery::mDestination, iDestination); }
HRESULT QORJob::GetDestination(QBase::wstring& oDestination) const { return GetText(mDelivery, &Delivery::mDestination, oDestination); }
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
HRESULT QORJob::SetProjectID(const GUID& iProjectID) { return Set(mOrigin, &Origin::mProjectID, iProjectID); }
HRESULT QORJob::GetProjectID(GUID* oProjectID) const { return Get(mOrigin, &Origin::mProjectID, oProjectID); }
HRESULT QORJob::SetProjectName(const QBase::wstring& iName) { return Set(mOrigin, &Origin::mProjectName, iName); }
HRESULT QORJob::SetProjectName(const QBase::WCHAR* iName) { return SetText(mOrigin, &Origin::mProjectName, iName); }
HRESULT QORJob::GetProjectName(QBase::wstring& oName) const { return GetText(mOrigin, &Origin::mProjectName, oName); }
HRESULT QORJob::SetOwner(const QBase::wstring& iOwner) { return Set(mOrigin, &Origin::mOwner, iOwner); }
HRESULT QORJob::SetOwner(const QBase::WCHAR* iOwner) { return SetText(mOrigin, &Origin::mOwner, iOwner); }
HRESULT QORJob::GetOwner(QBase::wstring& oOwner) const { return GetText(mOrigin, &Origin::mOwner, oOwner); }
HRESULT QORJob::SetUser(const QBase::wstring& iUser) { return Set(mOrigin, &Origin::mUser, iUser); }
HRESULT QORJob::SetUser(const QBase::WCHAR* iUser) { return SetText(mOrigin, &Origin::mUser, iUser); }
HRESULT QORJob::GetUser(QBase::wstring& oUser) const { return GetText(mOrigin, &Origin::mUser, oUser); }
HRESULT QORJob::SetUserLogin(const QBase::wstring& iLogin) { return Set(mOrigin, &Origin::mUserLogin, iLogin); }
HRESULT QORJob::SetUserLogin(const QBase::WCHAR* iLogin) { return SetText(mOrigin, &Origin::mUserLogin, iLogin); }
HRESULT QORJob::GetUserLogin(QBase::wstring& oLogin) const { return GetText(mOrigin, &Origin::mUserLogin, oLogin); }
HRESULT QORJob::GetUserID(GUID& oUserID) const { return Get(mOrigin, &Origin::mUserID, &oUserID); }
HRESULT QORJob::SetSessionID(GUID iSessionID) { return Set(mOrigin, &Origin::mSessionID, iSessionID); }
HRESULT QORJob::GetSessionID(GUID& oSessionID) const { return Get(mOrigin, &Origin::mSessionID, &oSessionID); }
HRESULT QORJob::SetWarehouseID(GUID iWarehouseID) { return Set(mOrigin, &Origin::mWarehouseID, iWarehouseID); }
HRESULT QORJob::GetWarehouseID(GUID& oWarehouseID) const { return Get(mOrigin, &Origin::mWarehouseID, &oWarehouseID); }
HRESULT QORJob::SetDescription(const QBase::wstring& iDescription) { return Set(mOrigin, &Origin::mDescription, iDescription); }
HRESULT QORJob::GetDescription(QBase::wstring& oDescription) const { return GetText(mOrigin, &Origin::mDescription, oDescription); }
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
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
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
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
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
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        mDeliveryType = iType;
        if (iType != EnumSubscriptionDeliveryType{} && mpMemGovernor)
            mpMemGovernor->mbNotGoverned = true;
        return S_OK;
    });
}

HRESULT QORJob::SetUserID(GUID iUserID)
{
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        mOrigin.Write(GetMemory()).mUserID = iUserID; // first: it may take memory, and the two users stay the same
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
            QSynch::CriticalSection::SmartLock lock(mpLock.get());
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
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
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
