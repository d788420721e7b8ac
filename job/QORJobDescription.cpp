#include "base/Bstr.h"
#include "base/KernelLog.h"
#include "context/Collaborators.h"
#include "context/ICKDXProcessContext.h"
#include "context/ICKDXReportInstance.h"
#include "job/QORJobRows.h"
#include "platform/ComObject.h"
#include "platform/QFormat.h"
#include "platform/QLogRouter.h"

namespace
{

constexpr unsigned cLeakTracing = 2;

/// The flags of the leak trace: each stands for a place of the kernel that holds a reference to the job.
bool IsLeakFlag(unsigned iFlag) { return iFlag == 4 || iFlag == 8 || iFlag == 16 || iFlag == 32; }

/// The definition of the report or the document that the context's instance works for; empty when there is none.
QBase::PtrI<ICKDXObjectDefinition> DefinitionIn(ICKDXProcessContext& iContext)
{
    IUnknown* found = nullptr;
    const auto instance = ReportInstanceOf(InstanceObjectOf(iContext).Get());
    if (!instance || FAILED(instance->get_Object(&found)))
        return {};
    return QueryFor<ICKDXObjectDefinition>(QBase::PtrI<IUnknown>::Adopt(found).Get(), IID_ICKDXObjectDefinition);
}

} // namespace

unsigned QORJob::GetJobStringIDFromRequestType() const
{
    // Not in the order of the request types: the catalogue has grown in another one.
    switch (mRequestType)
    {
    case RequestMetaData:
        return 0x40063F6A;
    case RequestReport:
        return 0x40063F6C;
    case RequestDocument:
        return 0x40063F6D;
    case RequestElement:
        return 0x40063F6B;
    case RequestSQL:
        return 0x40063F97;
    case RequestBatchChildReport:
        return 0x40063F6E;
    case RequestBatchExecution:
        return 0x40063F6F;
    case RequestDatamartReport:
        return 0x40063F70;
    case RequestPlazabox:
        return 0x40063F94;
    case RequestImport:
        return 0x40063F95;
    case RequestExternalNotification:
        return 0x40063F96;
    default:
        return 0x40063F71;
    }
}

HRESULT QORJob::SetDescription()
{
    return Boundary([&] {
        // The context is called under the lock on purpose: nobody reads a description that is half made.
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        QBase::wstring& description = mOrigin.Write(GetMemory()).mDescription;
        description.clear();
        const unsigned locale =
            mpProcessContext ? SessionLocaleOf(*mpProcessContext.Get()) : QFormat::GetUserDefaultLCID();
        if (const auto bundle = QLogRouter::GetResourceBundle(locale))
            description = bundle->FindMessage(GetJobStringIDFromRequestType(), locale, QORJOB_W(""));
        if (mpProcessContext && (IsReportRequest() || mRequestType == RequestDocument))
            DescribeObject(*mpProcessContext.Get());
        return S_OK;
    });
}

/// Stores the id of the object that the job runs, and appends the object's name to the description.
void QORJob::DescribeObject(ICKDXProcessContext& iContext)
{
    const auto definition = DefinitionIn(iContext);
    if (!definition)
        return;
    GUID id = GUID_NULL;
    if (SUCCEEDED(definition->get_DefinitionID(&id)))
        mOrigin.Write(GetMemory()).mObjectID = id;
    BSTR text = nullptr;
    const HRESULT code = definition->get_Name(&text);
    const Bstr name(text);
    if (SUCCEEDED(code) && name != nullptr)
        mOrigin.Write(GetMemory()).mDescription.append(name.get(), SysStringLen(name.get()));
}

void QORJob::MarkJobTraceFlags(unsigned iFlag)
{
    if (IsLeakFlag(iFlag) && (mTraceFlags & cLeakTracing) == 0)
        return;
    mTraceFlags |= iFlag;
    if (!IsLeakFlag(iFlag) || KernelLog::EnabledRouter(EnumKernelRouter::Info) == nullptr)
        return;
    Boundary([&] {
        LogLine(EnumKernelRouter::Info, "QORJobLeak Trace for JobId: %1 and callstack: %2", mId.Get(),
                QBase::GetCallStackText());
        return S_OK;
    });
}

bool GetPrsContextLogFlag(QORJob* iJob)
{
    if (iJob == nullptr)
        return false;
    ICKDXProcessContext* found = nullptr;
    iJob->GetProcessContext(&found);
    return GetUsrContextLogFlag(QBase::PtrI<ICKDXProcessContext>::Adopt(found).Get());
}
