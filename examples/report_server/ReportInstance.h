// The report instance that a process context holds for a report request.
#pragma once

#include "platform/ComObject.h"
#include "qorjob.h"

#include <atomic>
#include <string>

/// The report's definition: its name and id.
class ReportObject : public CComObjectRootEx<CComMultiThreadModel>, public ICKDXObjectDefinition
{
public:
    using Interface = ICKDXObjectDefinition;
    static constexpr int cReferenceKind = 102;
    static const GUID& GetInterfaceId() { return IID_ICKDXObjectDefinition; }

    /// Before others see the object.
    void Describe(const GUID& iId, const std::string& iName);

    HRESULT QORJOB_STDCALL get_ObjectID(GUID* oObjectId) override;
    HRESULT QORJOB_STDCALL get_DefinitionID(GUID* oDefinitionId) override;
    HRESULT QORJOB_STDCALL get_Name(BSTR* oName) override;

protected:
    ReportObject() : CComObjectRootEx(cLockCategory) {}

private:
    static constexpr int cLockCategory = 402;

    GUID mId = GUID_NULL;
    std::string mName;
};

/// One execution of a report.
class ReportInstance : public CComObjectRootEx<CComMultiThreadModel>, public ICKDXReportInstance
{
public:
    using Interface = ICKDXReportInstance;
    static constexpr int cReferenceKind = 103;
    static const GUID& GetInterfaceId() { return IID_ICKDXReportInstance; }

    HRESULT FinalConstruct();
    /// Before others see the object.
    void Describe(const GUID& iId, const std::string& iName) { mpObject->Describe(iId, iName); }

    HRESULT QORJOB_STDCALL Reset(int iValue) override;
    HRESULT QORJOB_STDCALL get_ExecutionKind(int* oKind) override;
    HRESULT QORJOB_STDCALL put_Status(int iStatus) override;
    HRESULT QORJOB_STDCALL put_JobValue(int iValue, int iJobId) override;
    HRESULT QORJOB_STDCALL get_Object(IUnknown** oObject) override;

protected:
    ReportInstance() : CComObjectRootEx(cLockCategory) {}

private:
    static constexpr int cLockCategory = 403;

    QBase::PtrI<ReportObject> mpObject; // fixed once the instance is made
    std::atomic<int> mStatus{0};
    std::atomic<int> mCancelledJob{0};
};

/// With one reference for the caller. Throws JobCallError.
QBase::PtrI<ReportInstance> NewReportInstance(const GUID& iId, const std::string& iName);
