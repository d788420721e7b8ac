// Fakes of the job's collaborators. They count their references and are no heap objects: a test puts
// them on its stack, before the job.
#pragma once

#include "context/ICKDXReportInstance.h"
#include "platform/QMessage.h"
#include "platform/QorUserSession.h"
#include "platform/builtin/EventTrace.h"
#include "tests/support/NullProcessContext.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class FakeSession final : public QorUserSession
{
public:
    unsigned AddRef() override
    {
        Builtin::EventTrace::Note("FakeSession::AddRef");
        return ++mReferences;
    }

    unsigned Release() override
    {
        Builtin::EventTrace::Note("FakeSession::Release");
        if (mOnRelease)
            mOnRelease();
        return --mReferences;
    }

    std::function<void()> mOnRelease;
    std::atomic<unsigned> mReferences{0};
};

/// Writes its reset into a list that it may share with the context.
class FakeReportInstance final : public ICKDXReportInstance
{
public:
    explicit FakeReportInstance(std::vector<std::string>& ioCalls) : mCalls(ioCalls) {}

    HRESULT QORJOB_STDCALL QueryInterface(const GUID& iInterfaceId, void** oInterface) override
    {
        if (!mbHasInterface || !(iInterfaceId == IID_ICKDXReportInstance))
            return E_NOINTERFACE;
        AddRef();
        *oInterface = static_cast<ICKDXReportInstance*>(this);
        return S_OK;
    }

    DWORD QORJOB_STDCALL AddRef() override { return ++mReferences; }
    DWORD QORJOB_STDCALL Release() override { return --mReferences; }

    HRESULT QORJOB_STDCALL Reset(int iValue) override
    {
        if (mOnReset)
            mOnReset();
        else
            mCalls.push_back("instance Reset " + std::to_string(iValue));
        return S_OK;
    }

    HRESULT QORJOB_STDCALL get_ExecutionKind(int* oKind) override
    {
        *oKind = mKind;
        return mKindCode;
    }

    HRESULT QORJOB_STDCALL put_Status(int iStatus) override
    {
        mCalls.push_back("instance put_Status " + std::to_string(iStatus));
        return mStatusCode;
    }

    HRESULT QORJOB_STDCALL put_JobValue(int iValue, int iJobId) override
    {
        mCalls.push_back("instance put_JobValue " + std::to_string(iValue) + " " + std::to_string(iJobId));
        return mJobValueCode;
    }

    HRESULT QORJOB_STDCALL get_Object(IUnknown** oObject) override
    {
        *oObject = QBase::PtrI<IUnknown>(mpObject).Detach();
        return mpObject == nullptr ? E_FAIL : S_OK;
    }

    std::function<void()> mOnReset; ///< in place of the line that Reset writes: may throw
    bool mbHasInterface = true;
    IUnknown* mpObject = nullptr;
    HRESULT mKindCode = S_OK;
    HRESULT mStatusCode = S_OK;
    HRESULT mJobValueCode = S_OK;
    int mKind = 0;
    std::atomic<unsigned> mReferences{0};

private:
    std::vector<std::string>& mCalls;
};

/// Keeps what a job hands it; anything else is E_NOTIMPL.
class FakeProcessContext final : public NullProcessContext
{
public:
    HRESULT QORJOB_STDCALL QueryInterface(const GUID&, void**) override { return E_NOINTERFACE; }
    DWORD QORJOB_STDCALL AddRef() override { return ++mReferences; }

    DWORD QORJOB_STDCALL Release() override
    {
        const DWORD left = --mReferences;
        Note("Release");
        return left;
    }

    HRESULT QORJOB_STDCALL get_ContextObjectB(IUnknown** oContextObjectB) override
    {
        Note("get_ContextObjectB");
        if (mpInstance != nullptr && SUCCEEDED(mInstanceCode))
        {
            mpInstance->AddRef();
            *oContextObjectB = mpInstance;
        }
        return mInstanceCode;
    }

    HRESULT QORJOB_STDCALL get_ContextObjectN(IUnknown** oContextObjectN) override
    {
        *oContextObjectN = QBase::PtrI<IUnknown>(mpDelivery).Detach();
        return Note("get_ContextObjectN");
    }

    HRESULT QORJOB_STDCALL get_OutMessage(ICKDXWriteMessage** oOutMessage) override
    {
        Note("get_OutMessage");
        *oOutMessage = QBase::PtrI<ICKDXWriteMessage>(mpOutMessage).Detach();
        return mpOutMessage == nullptr ? E_NOTIMPL : S_OK;
    }

    HRESULT QORJOB_STDCALL put_LongB(LONG iLongB) override { return Note("put_LongB", " " + std::to_string(iLongB)); }
    HRESULT QORJOB_STDCALL put_LimitA(LONG iLimitA) override
    {
        return Note("put_LimitA", " " + std::to_string(iLimitA));
    }
    HRESULT QORJOB_STDCALL put_LimitB(LONG iLimitB) override
    {
        return Note("put_LimitB", " " + std::to_string(iLimitB));
    }
    void QORJOB_STDCALL put_BstrE(BSTR iBstrE) override
    {
        Note("put_BstrE", " '" + (iBstrE == nullptr ? "" : QBase::WideCharToUTF8(iBstrE)) + "'"); // null is empty
    }

    void QORJOB_STDCALL put_SharedHandle(const std::shared_ptr<JobMemGovernor>& iSharedHandle) override
    {
        Note("put_SharedHandle");
        mpGovernor = iSharedHandle;
    }

    HRESULT QORJOB_STDCALL get_LongA(LONG* oLongA) override
    {
        Note("get_LongA");
        *oLongA = mPulseValue;
        return mPulseCode;
    }

    /// Called in each operation before it does anything, with its name: may throw, or look at the job.
    std::function<void(const std::string& iOperation)> mOnCall;
    FakeReportInstance* mpInstance = nullptr;
    IUnknown* mpDelivery = nullptr;
    ICKDXWriteMessage* mpOutMessage = nullptr;
    HRESULT mInstanceCode = S_OK;
    HRESULT mPulseCode = S_OK;
    LONG mPulseValue = 0;
    std::shared_ptr<JobMemGovernor> mpGovernor;
    std::vector<std::string> mCalls; ///< as "put_LimitA 5"
    std::atomic<unsigned> mReferences{0};

private:
    HRESULT NotMade(const char* iOperation) override
    {
        Note(iOperation);
        return E_NOTIMPL;
    }

    HRESULT Note(const std::string& iOperation, const std::string& iArgument = "")
    {
        mCalls.push_back(iOperation + iArgument);
        if (mOnCall)
            mOnCall(iOperation);
        return S_OK;
    }
};
