#include "ReportInstance.h"

#include "JobCalls.h"

void ReportObject::Describe(const GUID& iId, const std::string& iName)
{
    mId = iId;
    mName = iName;
}

HRESULT ReportObject::get_ObjectID(GUID* oObjectId)
{
    if (oObjectId == nullptr)
        return E_POINTER;
    *oObjectId = mId;
    return S_OK;
}

/// A report that came with its request is its own definition.
HRESULT ReportObject::get_DefinitionID(GUID* oDefinitionId) { return get_ObjectID(oDefinitionId); }

HRESULT ReportObject::get_Name(BSTR* oName) { return GiveText(mName, oName); }

HRESULT ReportInstance::FinalConstruct() { return CComObject<ReportObject>::CreateInstance(mpObject); }

HRESULT ReportInstance::Reset(int iValue)
{
    mStatus = iValue;
    return S_OK;
}

HRESULT ReportInstance::get_ExecutionKind(int* oKind)
{
    if (oKind == nullptr)
        return E_POINTER;
    *oKind = 0; // nothing special
    return S_OK;
}

HRESULT ReportInstance::put_Status(int iStatus)
{
    mStatus = iStatus;
    return S_OK;
}

HRESULT ReportInstance::put_JobValue(int, int iJobId)
{
    mCancelledJob = iJobId;
    return S_OK;
}

HRESULT ReportInstance::get_Object(IUnknown** oObject)
{
    if (oObject == nullptr)
        return E_POINTER;
    *oObject = QBase::PtrI<ReportObject>(mpObject).Detach();
    return S_OK;
}

QBase::PtrI<ReportInstance> NewReportInstance(const GUID& iId, const std::string& iName)
{
    QBase::PtrI<ReportInstance> instance;
    Expect(CComObject<ReportInstance>::CreateInstance(instance), "CreateInstance");
    instance->Describe(iId, iName);
    return instance;
}
