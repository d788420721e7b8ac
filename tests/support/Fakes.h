// Stand-ins for what a job meets outside the library. They count their references and are no heap objects: a test puts
// them on its stack, before the job.
#pragma once

#include "context/ICKDXReportInstance.h"
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
    unsigned AddRef() override { return ++mReferences; }

    unsigned Release() override
    {
        EventTrace::Note("FakeSession::Release");
        return --mReferences;
    }

    std::atomic<unsigned> mReferences{0};
};

/// Writes what it is asked for into a list that it may share with the context.
class FakeReportInstance final : public ICKDXReportInstance
{
public:
    explicit FakeReportInstance(std::vector<std::string>& ioCalls, int iKind = 0) : mKind(iKind), mCalls(ioCalls) {}

    HRESULT QueryInterface(const GUID& iInterfaceId, void** oInterface) override;
    ULONG AddRef() override { return ++mReferences; }
    ULONG Release() override { return --mReferences; }
    HRESULT Reset(int iValue) override;
    HRESULT get_ExecutionKind(int* oKind) override;

    bool mbHasInterface = true;
    HRESULT mKindCode = S_OK;
    int mKind;
    std::atomic<unsigned> mReferences{0};

private:
    std::vector<std::string>& mCalls;
};

/// Keeps what a job hands it; anything else is E_NOTIMPL.
class FakeProcessContext final : public NullProcessContext
{
public:
    HRESULT QueryInterface(const GUID& iInterfaceId, void** oInterface) override;
    ULONG AddRef() override { return ++mReferences; }
    ULONG Release() override;

    HRESULT get_ContextObjectB(IUnknown** oContextObjectB) override;
    HRESULT put_LimitA(LONG iLimitA) override;
    HRESULT put_LimitB(LONG iLimitB) override;
    void put_SharedHandle(const std::shared_ptr<JobMemGovernor>& iSharedHandle) override;
    std::shared_ptr<JobMemGovernor> get_SharedHandle() override { return mpGovernor; }
    HRESULT get_LongA(LONG* oLongA) override;
    void put_BstrE(BSTR iBstrE) override;

    /// Called in each operation before it does anything, with its name: may throw, or look at the job.
    std::function<void(const std::string& iOperation)> mOnCall;
    FakeReportInstance* mpInstance = nullptr;
    HRESULT mInstanceCode = S_OK;
    HRESULT mPulseCode = S_OK;
    LONG mPulseValue = 0;
    std::shared_ptr<JobMemGovernor> mpGovernor;
    std::vector<std::string> mCalls; ///< as "put_LimitA 5"
    std::atomic<unsigned> mReferences{0};

private:
    HRESULT NotMade(const char* iOperation) override;
    void Note(const std::string& iOperation, const std::string& iArgument = "");
};
