// A user's session. The job counts it; the process context has an object that stands for it.
#pragma once

#include "platform/ComObject.h"
#include "qorjob.h"

#include <atomic>
#include <string>

/// What the kernel's modules ask a session for.
class SessionObject : public CComObjectRootEx<CComMultiThreadModel>, public ICKDXSession
{
public:
    using Interface = ICKDXSession;
    static constexpr int cReferenceKind = 101;
    static const GUID& GetInterfaceId() { return IID_ICKDXSession; }

    /// Before others see the object.
    void Describe(const std::string& iUser, unsigned iLocale);

    HRESULT QORJOB_STDCALL get_Flags(LONG* oFlags) override;
    HRESULT QORJOB_STDCALL get_Name8(BSTR* oName) override;
    HRESULT QORJOB_STDCALL get_Name9(BSTR* oName) override;
    HRESULT QORJOB_STDCALL Call(IUnknown* iArgument) override;
    HRESULT QORJOB_STDCALL get_Locale(unsigned* oLocale) override;
    HRESULT QORJOB_STDCALL FillLocalisation(const GUID& iProjectId, int iScope) override;

protected:
    SessionObject() : CComObjectRootEx(cLockCategory) {}

private:
    static constexpr int cLockCategory = 401;

    std::string mUser;
    unsigned mLocale = 0;
};

/// Threads: any.
/// Owns:    one reference to its object.
/// Errors:  the constructor throws JobCallError.
class UserSession final : public QorUserSession
{
public:
    UserSession(const std::string& iUser, unsigned iLocale);

    unsigned AddRef() override { return ++mReferences; }

    unsigned Release() override
    {
        const unsigned left = --mReferences;
        if (left == 0)
            delete this;
        return left;
    }

    /// No reference is added.
    ICKDXSession* GetObject() const { return mpObject.Get(); }

private:
    ~UserSession() override = default;

    std::atomic<unsigned> mReferences{0};
    QBase::PtrI<SessionObject> mpObject;
};
