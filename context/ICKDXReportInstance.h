// The interface of the report instance that a request runs.
#pragma once

#include "platform/QBase.h"
#include "platform/ReservedSlots.h"
#include "platform/Windows.h"

class ICKDXProcessContext;

/// For Reset: detaches the instance from its context and its job.
inline constexpr int cInstanceDetached = 0;

/// {73BA6E85-6A88-11D1-A77F-00A024D1C490}
QORJOB_API extern const GUID IID_ICKDXReportInstance;

/// The report instance: the ContextObjectB of a process context. Reset is slot 58, counted from QueryInterface as 0;
/// slots 3 to 57 are reserved (55). The operations behind Reset are this library's choice.
class ICKDXReportInstance : public ReservedSlots<IUnknown, 55>
{
public:
    virtual HRESULT QORJOB_STDCALL Reset(int iValue) = 0;
    virtual HRESULT QORJOB_STDCALL get_ExecutionKind(int* oKind) = 0;
    /// 5: the job is cancelled.
    virtual HRESULT QORJOB_STDCALL put_Status(int iStatus) = 0;
    /// Value 7, after status 5: the job that was cancelled.
    virtual HRESULT QORJOB_STDCALL put_JobValue(int iValue, int iJobId) = 0;
    /// The object that implements ICKDXObjectDefinition, with a reference.
    virtual HRESULT QORJOB_STDCALL get_Object(IUnknown** oObject) = 0;

protected:
    ~ICKDXReportInstance() = default;
};

/// The instance object of a context, and the interface above of such an object; empty if there is none.
QBase::PtrI<IUnknown> InstanceObjectOf(ICKDXProcessContext& iContext);
QBase::PtrI<ICKDXReportInstance> ReportInstanceOf(IUnknown* iInstanceObject);
