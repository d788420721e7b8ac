// The error objects of threads.
#include "platform/QBase.h"
#include "platform/Windows.h"
#include "platform/builtin/base/CountedObject.h"

#include <utility>

const GUID IID_IErrorInfo{0x1CF2B120, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
const GUID IID_ICreateErrorInfo{0x22F03340, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};

namespace
{

template <class T>
HRESULT Give(const T& iValue, T* oValue)
{
    if (oValue == nullptr)
        return E_INVALIDARG;
    *oValue = iValue;
    return S_OK;
}

/// A text that was never set is null, not empty.
class Text
{
public:
    Text() = default;
    ~Text() { SysFreeString(mText); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;

    HRESULT Set(const QBase::WCHAR* iText)
    {
        const BSTR copy = SysAllocString(iText);
        if (copy == nullptr && iText != nullptr)
            return E_OUTOFMEMORY;
        SysFreeString(std::exchange(mText, copy));
        return S_OK;
    }

    HRESULT Get(BSTR* oText) const
    {
        if (oText == nullptr)
            return E_INVALIDARG;
        *oText = SysAllocString(mText);
        return *oText == nullptr && mText != nullptr ? E_OUTOFMEMORY : S_OK;
    }

private:
    BSTR mText = nullptr;
};

class ErrorInfo final : public Builtin::CountedBody<ICreateErrorInfo, IErrorInfo>
{
public:
    HRESULT QueryInterface(const GUID& iInterfaceId, void** oInterface) override
    {
        if (oInterface == nullptr)
            return E_POINTER;
        *oInterface = nullptr;
        if (iInterfaceId == IID_IErrorInfo)
            *oInterface = static_cast<IErrorInfo*>(this);
        else if (iInterfaceId == IID_ICreateErrorInfo || iInterfaceId == IID_IUnknown)
            *oInterface = static_cast<ICreateErrorInfo*>(this);
        else
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

    HRESULT SetGUID(const GUID& iInterfaceId) override { return Give(iInterfaceId, &mInterfaceId); }
    HRESULT SetSource(QBase::WCHAR* iSource) override { return mSource.Set(iSource); }
    HRESULT SetDescription(QBase::WCHAR* iDescription) override { return mDescription.Set(iDescription); }
    HRESULT SetHelpFile(QBase::WCHAR* iHelpFile) override { return mHelpFile.Set(iHelpFile); }
    HRESULT SetHelpContext(DWORD iHelpContext) override { return Give(iHelpContext, &mHelpContext); }

    HRESULT GetGUID(GUID* oInterfaceId) override { return Give(mInterfaceId, oInterfaceId); }
    HRESULT GetSource(BSTR* oSource) override { return mSource.Get(oSource); }
    HRESULT GetDescription(BSTR* oDescription) override { return mDescription.Get(oDescription); }
    HRESULT GetHelpFile(BSTR* oHelpFile) override { return mHelpFile.Get(oHelpFile); }
    HRESULT GetHelpContext(DWORD* oHelpContext) override { return Give(mHelpContext, oHelpContext); }

private:
    GUID mInterfaceId = GUID_NULL;
    Text mSource;
    Text mDescription;
    Text mHelpFile;
    DWORD mHelpContext = 0;
};

thread_local QBase::PtrI<IErrorInfo> tErrorInfo;

} // namespace

HRESULT CreateErrorInfo(ICreateErrorInfo** oErrorInfo)
{
    if (oErrorInfo == nullptr)
        return E_INVALIDARG;
    *oErrorInfo = new ErrorInfo;
    return *oErrorInfo == nullptr ? E_OUTOFMEMORY : S_OK;
}

HRESULT SetErrorInfo(DWORD iReserved, IErrorInfo* iErrorInfo)
{
    if (iReserved != 0)
        return E_INVALIDARG;
    tErrorInfo = QBase::PtrI<IErrorInfo>(iErrorInfo);
    return S_OK;
}

HRESULT GetErrorInfo(DWORD iReserved, IErrorInfo** oErrorInfo)
{
    if (iReserved != 0 || oErrorInfo == nullptr)
        return E_INVALIDARG;
    *oErrorInfo = tErrorInfo.Detach();
    return *oErrorInfo == nullptr ? S_FALSE : S_OK;
}
