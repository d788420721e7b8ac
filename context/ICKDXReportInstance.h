// What the job library asks of the report instance behind a request.
#pragma once

#include "platform/QBase.h"
#include "platform/ReservedSlots.h"
#include "platform/Windows.h"

class ICKDXProcessContext;

/// For Reset: the instance is detached from the context and the job that it worked for.
inline constexpr int cInstanceDetached = 0;

/// {73BA6E85-6A88-11D1-A77F-00A024D1C490}
QORJOB_API extern const GUID IID_ICKDXReportInstance;

/// The interface of a process context's instance object (its ContextObjectB). Reset stands at place 58 of the table,
/// counted from QueryInterface as 0: 55 reserved places come before it. The places after it are this library's choice.
class ICKDXReportInstance : public ReservedSlots<IUnknown, 55>
{
public:
    virtual HRESULT Reset(int iValue) = 0;
    virtual HRESULT get_ExecutionKind(int* oKind) = 0;
    /// 5: the job is cancelled.
    virtual HRESULT put_Status(int iStatus) = 0;
    /// 7, behind the status 5: which job was cancelled.
    virtual HRESULT put_JobValue(int iValue, int iJobId) = 0;
    /// The object that answers for ICKDXObjectDefinition, with a reference.
    virtual HRESULT get_Object(IUnknown** oObject) = 0;

protected:
    ~ICKDXReportInstance() = default;
};

/// The context's instance object, and the interface above of such an object. Both are empty when there is none.
QBase::PtrI<IUnknown> InstanceObjectOf(ICKDXProcessContext& iContext);
QBase::PtrI<ICKDXReportInstance> ReportInstanceOf(IUnknown* iInstanceObject);
