#include "JobFactory.h"

#include "JobCalls.h"
#include "Mailboxes.h"
#include "Printable.h"
#include "ReportInstance.h"
#include "StepTask.h"
#include "UserSession.h"

#include <memory>

namespace
{

constexpr std::size_t cJobBufferBytes = 4096;

struct BufferDestroyer
{
    void operator()(QBase::Buffer* iBuffer) const { iBuffer->Destroy(); }
};

int RequestTypeOf(EnumRequestKind iKind)
{
    switch (iKind)
    {
    case EnumRequestKind::Report:
        return RequestReport;
    case EnumRequestKind::Sql:
        return RequestSQL;
    case EnumRequestKind::Document:
        return RequestDocument;
    default:
        return RequestElement;
    }
}

/// Made of the job's id.
GUID IdOf(const JobRecord& iRecord)
{
    return {static_cast<DWORD>(iRecord.mId), 0x0B71, 0x4C57, {0x8E, 0x21, 0x5A, 0x90, 0x3D, 0xC4, 0x66, 0x1F}};
}

/// What the library shows in logs and dumps.
QBase::wstring ToShownText(const std::string& iText) { return QBase::UTF8ToWideChar(ToPrintable(iText)); }

/// What the job and its steps will ask the context for.
void DescribeContext(const JobRecord& iRecord)
{
    CKDXProcessContext& context = *iRecord.mpContext.Get();
    Expect(context.put_RequestCode(RequestTypeOf(iRecord.mRequest.mKind)), "put_RequestCode");
    Expect(context.put_ContextObjectA(iRecord.mpSession->GetObject()), "put_ContextObjectA");
    if (iRecord.mpMailbox)
        Expect(context.put_ContextObjectN(NewDelivery(iRecord.mpMailbox.Get()).Get()), "put_ContextObjectN");
    if (iRecord.mRequest.mKind != EnumRequestKind::Report)
        return;
    const QBase::PtrI<ReportInstance> instance = NewReportInstance(IdOf(iRecord), ToPrintable(iRecord.mRequest.mBody));
    Expect(context.put_ContextObjectB(instance.Get()), "put_ContextObjectB");
}

/// Every other job lives in a buffer of its own, which is freed with it; the others live on the heap.
QBase::PtrI<QORJob> NewJob(const JobRecord& iRecord)
{
    std::unique_ptr<QBase::Buffer, BufferDestroyer> buffer;
    if (iRecord.mId % 2 == 0)
    {
        buffer.reset(QBase::CreateBuffer(0, 1, cJobBufferBytes, false));
        if (buffer == nullptr)
            throw JobCallError("no memory for the job's buffer");
    }
    QBase::PtrI<QORJob> job;
    try
    {
        job = QBase::PtrI<QORJob>(QORJob::NewJob(iRecord.mId, RequestTypeOf(iRecord.mRequest.mKind),
                                                 iRecord.mRequest.mPriority, iRecord.mpSession, buffer.get()));
    }
    catch (unsigned code)
    {
        Expect(static_cast<HRESULT>(code), "NewJob");
    }
    if (!job)
        throw JobCallError("no memory for the job");
    buffer.release(); // the job's from here on
    return job;
}

} // namespace

QBase::PtrI<CKDXProcessContext> MakeContext(const JobRecord& iRecord, ICKDXReadMessage* iRequest)
{
    constexpr LONG cNotReadYet = -1;
    QBase::PtrI<CKDXProcessContext> context;
    Expect(CreateProcessContext(context), "CreateProcessContext");
    Expect(context->SetRequestIn(cNotReadYet, iRequest, nullptr, nullptr, IdOf(iRecord)), "SetRequestIn");
    return context;
}

QBase::PtrI<QORJob> MakeJob(const JobRecord& iRecord, std::uint64_t iMemory)
{
    const Request& request = iRecord.mRequest;
    const QBase::wstring user = ToShownText(request.mUser);
    DescribeContext(iRecord);
    QBase::PtrI<QORJob> job = NewJob(iRecord);
    Expect(job->SetProcessContext(iRecord.mpContext.Get()), "SetProcessContext");
    Expect(job->SetUser(user), "SetUser");
    Expect(job->SetOwner(user), "SetOwner");
    Expect(job->SetProjectName(ToShownText(request.mProject)), "SetProjectName");
    Expect(job->SetDescription(ToShownText(request.mBody)), "SetDescription");
    Expect(job->SetRequestId(request.mLine), "SetRequestId");
    job->GetMemGovernor()->mLimitBytes = iMemory;
    for (const QORJobProcessingStep step : StepsOf(request))
        Expect(job->AddStep(new QORJobStep(step), nullptr), "AddStep");
    Expect(job->SetRunning(true, nullptr), "SetRunning");
    return job;
}
