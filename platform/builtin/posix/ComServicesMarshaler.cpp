// The marshaler of objects that any thread may call.
#include "platform/QBase.h"
#include "platform/Windows.h"
#include "platform/builtin/base/CountedObject.h"

const GUID IID_IMarshal{0x00000003, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
const GUID CLSID_InProcFreeMarshaler{0x0000033A, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

namespace
{

constexpr DWORD cPointerBytes = sizeof(void*);

/// Reads the pointer from the stream, and takes over the reference that the stream has held.
HRESULT ReadObject(IStream* iStream, QBase::PtrI<IUnknown>& oObject)
{
    IUnknown* object = nullptr;
    DWORD bytes = 0;
    if (iStream == nullptr)
        return E_INVALIDARG;
    const HRESULT code = iStream->Read(&object, cPointerBytes, &bytes);
    if (FAILED(code))
        return code;
    if (bytes != cPointerBytes)
        return E_FAIL;
    oObject = QBase::PtrI<IUnknown>::Adopt(object);
    return S_OK;
}

class Marshaler final : public IMarshal, public Builtin::HeapObject
{
public:
    /// The marshaler for the object that owns it: these references are the marshaler's own. The three operations of its
    /// IMarshal go to the owner instead.
    class Inner final : public IUnknown
    {
    public:
        explicit Inner(Marshaler& iWhole) : mWhole(iWhole) {}

        HRESULT QueryInterface(const GUID& iInterfaceId, void** oInterface) override
        {
            if (oInterface == nullptr)
                return E_POINTER;
            IUnknown* found = nullptr;
            if (iInterfaceId == IID_IUnknown)
                found = this;
            else if (iInterfaceId == IID_IMarshal)
                found = &mWhole;
            *oInterface = found;
            if (found == nullptr)
                return E_NOINTERFACE;
            found->AddRef();
            return S_OK;
        }

        DWORD AddRef() override { return mReferences.Add(); }

        DWORD Release() override
        {
            const unsigned left = mReferences.Drop();
            if (left == 0)
                delete &mWhole;
            return left;
        }

    private:
        Marshaler& mWhole;
        Builtin::ReferenceCount mReferences;
    };

    explicit Marshaler(IUnknown* iOuter) : mInner(*this), mOuter(iOuter == nullptr ? mInner : *iOuter) {}

    IUnknown* GetInner() { return &mInner; }

    HRESULT QueryInterface(const GUID& iInterfaceId, void** oInterface) override
    {
        return mOuter.QueryInterface(iInterfaceId, oInterface);
    }
    DWORD AddRef() override { return mOuter.AddRef(); }
    DWORD Release() override { return mOuter.Release(); }

    HRESULT GetUnmarshalClass(const GUID&, void*, DWORD iContext, void*, DWORD, GUID* oClassId) override
    {
        if (oClassId == nullptr)
            return E_INVALIDARG;
        *oClassId = CLSID_InProcFreeMarshaler;
        return iContext == MSHCTX_INPROC ? S_OK : E_NOTIMPL;
    }

    HRESULT GetMarshalSizeMax(const GUID&, void*, DWORD iContext, void*, DWORD, DWORD* oBytes) override
    {
        if (oBytes == nullptr)
            return E_INVALIDARG;
        *oBytes = cPointerBytes;
        return iContext == MSHCTX_INPROC ? S_OK : E_NOTIMPL;
    }

    HRESULT MarshalInterface(IStream* iStream, const GUID& iInterfaceId, void* iObject, DWORD iContext, void*,
                             DWORD) override
    {
        if (iStream == nullptr)
            return E_INVALIDARG;
        if (iContext != MSHCTX_INPROC)
            return E_NOTIMPL;
        IUnknown& object = iObject == nullptr ? mOuter : *static_cast<IUnknown*>(iObject);
        void* found = nullptr;
        HRESULT code = object.QueryInterface(iInterfaceId, &found);
        if (FAILED(code))
            return code;
        auto reference = QBase::PtrI<IUnknown>::Adopt(static_cast<IUnknown*>(found));
        DWORD bytes = 0;
        code = iStream->Write(&found, cPointerBytes, &bytes);
        if (FAILED(code))
            return code;
        if (bytes != cPointerBytes)
            return E_FAIL;
        reference.Detach(); // the stream holds it now
        return S_OK;
    }

    HRESULT UnmarshalInterface(IStream* iStream, const GUID& iInterfaceId, void** oObject) override
    {
        if (oObject == nullptr)
            return E_INVALIDARG;
        *oObject = nullptr;
        QBase::PtrI<IUnknown> object;
        const HRESULT code = ReadObject(iStream, object);
        return FAILED(code) ? code : object->QueryInterface(iInterfaceId, oObject);
    }

    HRESULT ReleaseMarshalData(IStream* iStream) override
    {
        QBase::PtrI<IUnknown> object;
        return ReadObject(iStream, object);
    }

    HRESULT DisconnectObject(DWORD) override { return S_OK; }

private:
    Inner mInner;
    IUnknown& mOuter; // not counted: it owns this
};

} // namespace

HRESULT CoCreateFreeThreadedMarshaler(IUnknown* iOuter, IUnknown** oMarshaler)
{
    if (oMarshaler == nullptr)
        return E_INVALIDARG;
    auto* const marshaler = new Marshaler(iOuter);
    *oMarshaler = marshaler == nullptr ? nullptr : marshaler->GetInner();
    return marshaler == nullptr ? E_OUTOFMEMORY : S_OK;
}
