#include "tests/support/Fakes.h"

HRESULT FakeReportInstance::QueryInterface(const GUID& iInterfaceId, void** oInterface)
{
    if (!mbHasInterface || !(iInterfaceId == IID_ICKDXReportInstance))
        return E_NOINTERFACE;
    AddRef();
    *oInterface = static_cast<ICKDXReportInstance*>(this);
    return S_OK;
}

HRESULT FakeReportInstance::Reset(int iValue)
{
    mCalls.push_back("instance Reset " + std::to_string(iValue));
    return S_OK;
}

HRESULT FakeReportInstance::get_ExecutionKind(int* oKind)
{
    *oKind = mKind;
    return mKindCode;
}

HRESULT FakeProcessContext::QueryInterface(const GUID&, void**) { return E_NOINTERFACE; }

ULONG FakeProcessContext::Release()
{
    const ULONG left = --mReferences;
    Note("Release");
    return left;
}

HRESULT FakeProcessContext::get_ContextObjectB(IUnknown** oContextObjectB)
{
    Note("get_ContextObjectB");
    if (mpInstance == nullptr || FAILED(mInstanceCode))
        return mInstanceCode;
    mpInstance->AddRef();
    *oContextObjectB = mpInstance;
    return mInstanceCode;
}

HRESULT FakeProcessContext::put_LimitA(LONG iLimitA)
{
    Note("put_LimitA", std::to_string(iLimitA));
    return S_OK;
}

HRESULT FakeProcessContext::put_LimitB(LONG iLimitB)
{
    Note("put_LimitB", std::to_string(iLimitB));
    return S_OK;
}

void FakeProcessContext::put_SharedHandle(const std::shared_ptr<JobMemGovernor>& iSharedHandle)
{
    Note("put_SharedHandle");
    mpGovernor = iSharedHandle;
}

HRESULT FakeProcessContext::get_LongA(LONG* oLongA)
{
    Note("get_LongA");
    *oLongA = mPulseValue;
    return mPulseCode;
}

void FakeProcessContext::put_BstrE(BSTR iBstrE)
{
    Note("put_BstrE", iBstrE == nullptr ? "null" : "'" + QBase::WideCharToUTF8(iBstrE) + "'");
}

HRESULT FakeProcessContext::NotMade(const char* iOperation)
{
    Note(iOperation);
    return E_NOTIMPL;
}

void FakeProcessContext::Note(const std::string& iOperation, const std::string& iArgument)
{
    mCalls.push_back(iArgument.empty() ? iOperation : iOperation + " " + iArgument);
    if (mOnCall)
        mOnCall(iOperation);
}
