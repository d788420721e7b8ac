#include "tasks/JobMaker.h"

#include "Errors.h"
#include "Text.h"
#include "platform/ComObject.h"
#include "tasks/Steps.h"

#include <memory>
#include <new>

namespace
{

template <class T>
HRESULT Give(const T& iValue, T* oValue)
{
    if (oValue == nullptr)
        return E_POINTER;
    *oValue = iValue;
    return S_OK;
}

/// The receiver frees it.
HRESULT GiveText(const std::string& iText, BSTR* oText)
{
    if (oText == nullptr)
        return E_POINTER;
    *oText = SysAllocString(QBase::UTF8ToWideChar(iText).c_str());
    return *oText == nullptr ? E_OUTOFMEMORY : S_OK;
}

/// The base of the server's COM classes; the kind numbers their references and their locks. What an object consists of
/// is set before others see it.
template <class Custom, const GUID& cInterface, int cKind>
class ContextObject : public CComObjectRootEx<CComMultiThreadModel>, public Custom
{
public:
    using Interface = Custom;
    static constexpr int cReferenceKind = 100 + cKind;
    static const GUID& GetInterfaceId() { return cInterface; }

protected:
    ContextObject() : CComObjectRootEx(400 + cKind) {}
};

template <class Class>
QBase::PtrI<Class> Make()
{
    QBase::PtrI<Class> object;
    Expect(CComObject<Class>::CreateInstance(object), "CreateInstance");
    return object;
}

/// What the kernel's modules ask a session for.
class SessionObject : public ContextObject<ICKDXSession, IID_ICKDXSession, 1>
{
public:
    HRESULT QORJOB_STDCALL get_Flags(LONG* oFlags) override { return Give<LONG>(0, oFlags); }
    HRESULT QORJOB_STDCALL get_Name8(BSTR* oName) override { return GiveText(mUser, oName); }
    HRESULT QORJOB_STDCALL get_Name9(BSTR* oName) override { return GiveText(mUser, oName); }
    /// Nobody calls this server through its sessions.
    HRESULT QORJOB_STDCALL Call(IUnknown*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_Locale(unsigned* oLocale) override { return Give(mLocale, oLocale); }
    /// The projects of this server have no texts of their own.
    HRESULT QORJOB_STDCALL FillLocalisation(const GUID&, int) override { return S_FALSE; }

    std::string mUser;
    unsigned mLocale = 0;
};

/// The report's definition: its name and id. A report that came with its request is its own definition.
class ReportObject : public ContextObject<ICKDXObjectDefinition, IID_ICKDXObjectDefinition, 2>
{
public:
    HRESULT QORJOB_STDCALL get_ObjectID(GUID* oObjectId) override { return Give(mId, oObjectId); }
    HRESULT QORJOB_STDCALL get_DefinitionID(GUID* oDefinitionId) override { return Give(mId, oDefinitionId); }
    HRESULT QORJOB_STDCALL get_Name(BSTR* oName) override { return GiveText(mName, oName); }

    GUID mId = GUID_NULL;
    std::string mName;
};

/// One execution of a report.
class ReportInstance : public ContextObject<ICKDXReportInstance, IID_ICKDXReportInstance, 3>
{
public:
    HRESULT QORJOB_STDCALL Reset(int iValue) override { return put_Status(iValue); }
    HRESULT QORJOB_STDCALL get_ExecutionKind(int* oKind) override { return Give(0, oKind); } // nothing special
    HRESULT QORJOB_STDCALL put_Status(int iStatus) override
    {
        mStatus = iStatus;
        return S_OK;
    }
    HRESULT QORJOB_STDCALL put_JobValue(int, int iJobId) override
    {
        mCancelledJob = iJobId;
        return S_OK;
    }
    HRESULT QORJOB_STDCALL get_Object(IUnknown** oObject) override
    {
        if (oObject == nullptr)
            return E_POINTER;
        *oObject = QBase::PtrI<ReportObject>(mpObject).Detach();
        return S_OK;
    }

    QBase::PtrI<ReportObject> mpObject;

private:
    std::atomic<int> mStatus{0};
    std::atomic<int> mCancelledJob{0};
};

class Delivery : public ContextObject<IDelivery, IID_IDelivery, 4>
{
public:
    HRESULT QORJOB_STDCALL Deliver(CKDXServerMessage* iMessage) override { return iMessage->Send(mpMailbox.Get()); }

    QBase::PtrI<QORChannel> mpMailbox;
};

/// For a report.
void PutReportInstance(CKDXProcessContext& ioContext, const GUID& iId, const std::string& iName)
{
    const QBase::PtrI<ReportInstance> instance = Make<ReportInstance>();
    instance->mpObject = Make<ReportObject>();
    instance->mpObject->mId = iId;
    instance->mpObject->mName = iName;
    Expect(ioContext.put_ContextObjectB(instance.Get()), "put_ContextObjectB");
}

/// Made of the job's id.
GUID IdOf(int iJob)
{
    return {static_cast<DWORD>(iJob), 0x0B71, 0x4C57, {0x8E, 0x21, 0x5A, 0x90, 0x3D, 0xC4, 0x66, 0x1F}};
}

/// What the library shows in logs and dumps.
QBase::wstring ToShownText(const std::string& iText) { return QBase::UTF8ToWideChar(ToPrintable(iText)); }

/// Every other job lives in a buffer of its own, which is freed with it; the others live on the heap.
QBase::PtrI<QORJob> NewJob(int iJob, const Request& iRequest, UserSession* iSession)
{
    constexpr std::size_t cBufferBytes = 4096;
    const auto destroy = [](QBase::Buffer* iBuffer) { iBuffer->Destroy(); };
    std::unique_ptr<QBase::Buffer, decltype(destroy)> buffer(
        iJob % 2 == 0 ? QBase::CreateBuffer(0, 1, cBufferBytes, false) : nullptr);
    QBase::PtrI<QORJob> job;
    try
    {
        job = QBase::PtrI<QORJob>(QORJob::NewJob(iJob, iRequest.mKind, iRequest.mPriority, iSession, buffer.get()));
    }
    catch (unsigned code) // no memory, or a request that there can't be
    {
        Expect(static_cast<HRESULT>(code), "NewJob");
    }
    if (!job)
        throw std::bad_alloc();
    buffer.release(); // the job's from here on
    return job;
}

} // namespace

void PutDelivery(CKDXProcessContext& ioContext, QORChannel* iMailbox)
{
    const QBase::PtrI<Delivery> delivery = Make<Delivery>();
    delivery->mpMailbox = QBase::PtrI<QORChannel>(iMailbox);
    Expect(ioContext.put_ContextObjectN(delivery.Get()), "put_ContextObjectN");
}

QBase::PtrI<IDelivery> DeliveryOf(ICKDXProcessContext& ioContext)
{
    QBase::PtrI<IUnknown> object;
    Expect(ioContext.get_ContextObjectN(object.Receive()), "get_ContextObjectN");
    return QueryFor<IDelivery>(object.Get(), IID_IDelivery);
}

UserSession::UserSession(const std::string& iUser, unsigned iLocale)
{
    const QBase::PtrI<SessionObject> object = Make<SessionObject>();
    object->mUser = iUser;
    object->mLocale = iLocale;
    mpObject = QBase::PtrI<ICKDXSession>(object.Get());
}

unsigned UserSession::Release()
{
    const unsigned left = --mReferences;
    if (left == 0)
        delete this;
    return left;
}

QBase::PtrI<CKDXProcessContext> MakeContext(int iJob, ICKDXReadMessage* iRequest)
{
    constexpr LONG cNotReadYet = -1;
    QBase::PtrI<CKDXProcessContext> context;
    Expect(CreateProcessContext(context), "CreateProcessContext");
    Expect(context->SetRequestIn(cNotReadYet, iRequest, nullptr, nullptr, IdOf(iJob)), "SetRequestIn");
    return context;
}

QBase::PtrI<QORJob> MakeJob(int iJob, const Request& iRequest, UserSession* iSession, CKDXProcessContext& ioContext,
                            std::uint64_t iMemory)
{
    Expect(ioContext.put_RequestCode(iRequest.mKind), "put_RequestCode");
    Expect(ioContext.put_ContextObjectA(iSession->GetObject()), "put_ContextObjectA");
    if (iRequest.mKind == RequestReport)
        PutReportInstance(ioContext, IdOf(iJob), ToPrintable(iRequest.mBody));

    const QBase::wstring user = ToShownText(iRequest.mUser);
    QBase::PtrI<QORJob> job = NewJob(iJob, iRequest, iSession);
    Expect(job->SetProcessContext(&ioContext), "SetProcessContext");
    Expect(job->SetUser(user), "SetUser");
    Expect(job->SetUserLogin(user), "SetUserLogin");
    Expect(job->SetOwner(user), "SetOwner");
    Expect(job->SetProjectName(ToShownText(iRequest.mProject)), "SetProjectName");
    Expect(job->SetDescription(ToShownText(iRequest.mBody)), "SetDescription");
    Expect(job->SetRequestId(iRequest.mLine), "SetRequestId");
    job->GetMemGovernor()->mLimitBytes = iMemory;
    for (const int step : StepsOf(iRequest))
        Expect(job->AddStep(new QORJobStep(step), nullptr), "AddStep");
    return job;
}
