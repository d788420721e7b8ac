// The process context's operations that call collaborators.
#include "base/Bstr.h"
#include "context/CKDXProcessContextRows.h"
#include "context/Collaborators.h"
#include "context/ICKDXReportInstance.h"
#include "platform/QLogRouter.h"

namespace
{

/// The id of the request's object, from the definition that `iSource` returns.
template <class Source>
void ReadObjectID(Source& iSource, GUID* oObjectID)
{
    QBase::PtrI<IUnknown> object;
    if (FAILED(iSource.get_Object(object.Receive())))
        return;
    if (const auto definition = QueryFor<ICKDXObjectDefinition>(object.Get(), IID_ICKDXObjectDefinition))
        definition->get_ObjectID(oObjectID);
}

/// Makes the log router read the thread's context again.
HRESULT RefreshThread()
{
    return Boundary([] {
        QLogRouter::RefreshCurrentThreadContext();
        return S_OK;
    });
}

} // namespace

/// Detaches the old instance, after the lock. The log router is refreshed even if the old instance fails.
HRESULT CKDXProcessContext::put_ContextObjectB(IUnknown* iContextObjectB)
{
    if (iContextObjectB == nullptr)
        return E_POINTER;
    const HRESULT code = Boundary([&] {
        Object old = ExchangeLocked(mContextObjectB, iContextObjectB);
        if (const auto instance = ReportInstanceOf(old.Get()))
            instance->Reset(cInstanceDetached);
        return ReleaseAll(old);
    });
    const HRESULT refreshed = RefreshThread();
    return FAILED(code) ? code : refreshed;
}

HRESULT CKDXProcessContext::put_ContextObjectC(IUnknown* iContextObjectC)
{
    if (iContextObjectC == nullptr)
        return E_POINTER;
    const HRESULT code = PutObjectLocked(mContextObjectC, iContextObjectC);
    const HRESULT refreshed = RefreshThread();
    return FAILED(code) ? code : refreshed;
}

HRESULT CKDXProcessContext::put_ContextObjectO(IUnknown* iContextObjectO)
{
    const HRESULT code = PutObjectLocked(mContextObjectO, iContextObjectO);
    if (iContextObjectO == nullptr)
        return code;
    GUID guid = GUID_NULL; // of the new object, even if the old one's Release failed
    const HRESULT read = Boundary([&] { return static_cast<ICKDXContextObjectO*>(iContextObjectO)->get_Guid(&guid); });
    if (FAILED(read))
        return read;
    PutLocked(mGuidF, guid);
    return code;
}

/// The object is called under the lock, so that no other thread replaces it meanwhile.
HRESULT CKDXProcessContext::get_ContextObjectDItem(IUnknown** oItem)
{
    if (oItem == nullptr)
        return E_POINTER;
    return Boundary([&] {
        SmartLock lock(mpLock.get());
        return mContextObjectD ? static_cast<ICKDXContextObjectD*>(mContextObjectD.Get())->get_Item(oItem) : E_FAIL;
    });
}

/// The session's display name; empty without a session, "-" if the session returns none.
QBase::wstring CKDXProcessContext::FetchResolvedName()
{
    const Object object = CopyLocked(mContextObjectA);
    if (!object)
        return {};
    const auto session = QueryFor<ICKDXSession>(object.Get(), IID_ICKDXSession);
    LONG flags = 0;
    BSTR name = nullptr;
    const bool bTold =
        session && SUCCEEDED(session->get_Flags(&flags)) &&
        SUCCEEDED((flags & cSessionShowsName8) != 0 ? session->get_Name8(&name) : session->get_Name9(&name));
    const Bstr freed(name);
    return !bTold ? QBase::wstring(QORJOB_W("-"))
                  : QBase::wstring(name == nullptr ? QORJOB_W("") : name, SysStringLen(name));
}

HRESULT CKDXProcessContext::get_ResolvedName(BSTR* oResolvedName)
{
    if (oResolvedName == nullptr)
        return E_POINTER;
    *oResolvedName = nullptr;
    return Boundary([&] {
        QBase::wstring name;
        {
            SmartLock lock(mpLock.get());
            name = mResolvedName;
        }
        if (name.empty())
        {
            // Without the lock: the session may be slow, and may call the context.
            name = FetchResolvedName();
            SmartLock lock(mpLock.get());
            mResolvedName = name;
        }
        *oResolvedName = SysAllocStringLen(name.data(), static_cast<unsigned>(name.size()));
        return *oResolvedName == nullptr ? E_OUTOFMEMORY : S_OK;
    });
}

HRESULT CKDXProcessContext::ResolveObjectID(GUID* oObjectID)
{
    if (oObjectID == nullptr)
        return E_POINTER;
    *oObjectID = GUID_NULL;
    return Boundary([&] {
        const Object source = CopyLocked(mContextObjectC);
        if (const auto definitions = QueryFor<ICKDXObjectSource>(source.Get(), IID_ICKDXObjectSource))
            ReadObjectID(*definitions.Get(), oObjectID);
        if (!(*oObjectID == GUID_NULL))
            return S_OK;
        const Object instance = CopyLocked(mContextObjectB);
        if (const auto report = ReportInstanceOf(instance.Get()))
            ReadObjectID(*report.Get(), oObjectID);
        return S_OK;
    });
}

HRESULT CKDXProcessContext::CallContextObjectA(IUnknown* iArgument)
{
    return Boundary([&] {
        Object object;
        if (FAILED(get_ContextObjectA(object.Receive())) || !object)
            return E_POINTER;
        const auto session = QueryFor<ICKDXSession>(object.Get(), IID_ICKDXSession);
        if (!session)
            return E_NOINTERFACE;
        const HRESULT code = session->Call(iArgument);
        return FAILED(code) ? code : S_OK;
    });
}
