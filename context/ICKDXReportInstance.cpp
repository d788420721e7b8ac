#include "context/ICKDXReportInstance.h"

#include "context/ICKDXProcessContext.h"
#include "platform/ComObject.h"

const GUID IID_ICKDXReportInstance = {0x73BA6E85, 0x6A88, 0x11D1, {0xA7, 0x7F, 0x00, 0xA0, 0x24, 0xD1, 0xC4, 0x90}};

QBase::PtrI<ICKDXReportInstance> ReportInstanceOf(IUnknown* iInstanceObject)
{
    return QueryFor<ICKDXReportInstance>(iInstanceObject, IID_ICKDXReportInstance);
}

QBase::PtrI<IUnknown> InstanceObjectOf(ICKDXProcessContext& iContext)
{
    QBase::PtrI<IUnknown> object;
    if (FAILED(iContext.get_ContextObjectB(object.Receive())))
        return {};
    return object;
}
