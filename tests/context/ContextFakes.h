// Fakes of a process context's collaborators. They count their references but don't delete themselves: tests have them
// on the stack, before the context.
#pragma once

#include "context/CKDXProcessContext.h"
#include "context/Collaborators.h"
#include "context/ICKDXReportInstance.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>

/// An object with at most one interface besides IUnknown.
template <class Interface>
class FakeCollaborator : public Interface
{
public:
    explicit FakeCollaborator(const GUID& iInterfaceId = GUID_NULL) : mInterfaceId(iInterfaceId) {}

    HRESULT QORJOB_STDCALL QueryInterface(const GUID& iInterfaceId, void** oInterface) override
    {
        if (mInterfaceId == GUID_NULL || !(iInterfaceId == mInterfaceId))
        {
            mOnCall();
            return E_NOINTERFACE;
        }
        *oInterface = static_cast<Interface*>(this);
        AddRef();
        return S_OK;
    }
    DWORD QORJOB_STDCALL AddRef() override
    {
        ++mAddRefs;
        return ++mReferences;
    }
    DWORD QORJOB_STDCALL Release() override
    {
        const DWORD left = --mReferences;
        if (mbReleaseThrows)
            throw std::runtime_error("a fault");
        return left;
    }

    GUID mInterfaceId;
    bool mbReleaseThrows = false;
    std::atomic<DWORD> mReferences{0};
    std::atomic<unsigned> mAddRefs{0};     ///< ever taken
    std::function<void()> mOnCall = [] {}; ///< called by each operation, and for an unknown interface; may throw

protected:
    ~FakeCollaborator() = default;
};

/// Fits every row of plain pointers, ContextObjectO's too.
class FakeObjectO final : public FakeCollaborator<ICKDXContextObjectO>
{
public:
    HRESULT QORJOB_STDCALL get_Guid(GUID* oGuid) override
    {
        mOnCall();
        *oGuid = mGuid;
        return mCode;
    }

    GUID mGuid = GUID_NULL;
    HRESULT mCode = S_OK;
};

class FakeObjectD final : public FakeCollaborator<ICKDXContextObjectD>
{
public:
    HRESULT QORJOB_STDCALL get_Item(IUnknown** oItem) override
    {
        mOnCall();
        *oItem = QBase::PtrI<IUnknown>(this).Detach();
        return S_FALSE;
    }
};

class FakeContextSession final : public FakeCollaborator<ICKDXSession>
{
public:
    FakeContextSession() : FakeCollaborator(IID_ICKDXSession) {}

    HRESULT QORJOB_STDCALL get_Flags(LONG* oFlags) override
    {
        mOnCall();
        *oFlags = mFlags;
        return mFlagsCode;
    }
    HRESULT QORJOB_STDCALL get_Name8(BSTR* oName) override { return Give(QORJOB_W("eight"), oName); }
    HRESULT QORJOB_STDCALL get_Name9(BSTR* oName) override { return Give(mpName9, oName); }
    HRESULT QORJOB_STDCALL Call(IUnknown* iArgument) override
    {
        mOnCall();
        mpArgument = iArgument;
        return mCallCode;
    }
    HRESULT QORJOB_STDCALL get_Locale(unsigned*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL FillLocalisation(const GUID&, int) override { return E_NOTIMPL; }

    const QBase::WCHAR* mpName9 = QORJOB_W("nine");
    LONG mFlags = 0;
    HRESULT mFlagsCode = S_OK;
    HRESULT mNameCode = S_OK;
    HRESULT mCallCode = S_OK;
    IUnknown* mpArgument = nullptr;

private:
    HRESULT Give(const QBase::WCHAR* iName, BSTR* oName)
    {
        *oName = SUCCEEDED(mNameCode) ? SysAllocString(iName) : nullptr;
        return mNameCode;
    }
};

class FakeDefinition final : public FakeCollaborator<ICKDXObjectDefinition>
{
public:
    FakeDefinition() : FakeCollaborator(IID_ICKDXObjectDefinition) {}

    HRESULT QORJOB_STDCALL get_ObjectID(GUID* oObjectId) override
    {
        mOnCall();
        *oObjectId = mObjectId;
        return S_OK;
    }
    HRESULT QORJOB_STDCALL get_DefinitionID(GUID*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_Name(BSTR*) override { return E_NOTIMPL; }

    GUID mObjectId = GUID_NULL;
};

class FakeObjectSource final : public FakeCollaborator<ICKDXObjectSource>
{
public:
    FakeObjectSource() : FakeCollaborator(IID_ICKDXObjectSource) {}

    HRESULT QORJOB_STDCALL get_Object(IUnknown** oObject) override
    {
        *oObject = QBase::PtrI<IUnknown>(mpObject).Detach();
        return mpObject == nullptr ? E_FAIL : S_OK;
    }

    IUnknown* mpObject = nullptr;
};

class FakeHandle final : public QBase::Counted
{
public:
    unsigned AddRef() override
    {
        ++mAddRefs;
        return ++mReferences;
    }
    unsigned Release() override { return --mReferences; }

    std::atomic<unsigned> mReferences{0};
    std::atomic<unsigned> mAddRefs{0}; ///< ever taken
};

using Context = QBase::PtrI<CKDXProcessContext>;

inline Context NewContext()
{
    Context context;
    EXPECT_EQ(CreateProcessContext(context), S_OK);
    return context;
}

/// The owner of a BSTR, with its text for comparisons.
struct OwnedBstr
{
    OwnedBstr() = default;
    explicit OwnedBstr(const QBase::WCHAR* iText) : mText(SysAllocString(iText)) {}
    ~OwnedBstr() { SysFreeString(mText); }
    OwnedBstr(const OwnedBstr&) = delete;
    OwnedBstr& operator=(const OwnedBstr&) = delete;

    std::string Text() const
    {
        return mText == nullptr ? "null" : "\"" + QBase::WideCharToUTF8({mText, SysStringLen(mText)}) + "\"";
    }

    BSTR mText = nullptr;
};
