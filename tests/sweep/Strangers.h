// A job's collaborators, each of whose operations may throw.
#pragma once

#include "context/Collaborators.h"
#include "data/QORBinaryData.h"
#include "tests/support/Fakes.h"

/// Counts calls up to the one that fails.
struct Turn
{
    bool IsDue()
    {
        const std::int64_t left = mLeft;
        if (left > 0)
            mLeft = left == 1 && mbLasting ? -1 : left - 1;
        return left == 1 || left < 0;
    }

    std::int64_t mLeft = 0; ///< 0: none fails, or no more; negative: all fail
    bool mbLasting = false; ///< after the one all others fail
};

inline Turn gStrangers;
inline bool gbStrangersThrowMessages = true;

/// What each operation of a stranger does first.
inline HRESULT Answer(HRESULT iCode = S_OK)
{
    if (!gStrangers.IsDue())
        return iCode;
    if (gbStrangersThrowMessages)
        throw QBase::Message("a stranger's");
    throw 1;
}

/// A reference that can't be added isn't there; a release that throws is done.
struct StrangerCount
{
    DWORD Add() { return Answer(), ++mReferences; }
    DWORD Release() { return --mReferences, Answer(), mReferences; }

    DWORD mReferences = 0;
};

/// A report instance, its definition and the user's session in one.
class StrangeObject final : public ICKDXReportInstance, public ICKDXSession, public ICKDXObjectDefinition
{
public:
    HRESULT QORJOB_STDCALL QueryInterface(const GUID& iInterfaceId, void** oInterface) override
    {
        if (iInterfaceId == IID_ICKDXReportInstance)
            *oInterface = static_cast<ICKDXReportInstance*>(this);
        else if (iInterfaceId == IID_ICKDXSession)
            *oInterface = static_cast<ICKDXSession*>(this);
        else
            *oInterface = static_cast<ICKDXObjectDefinition*>(this);
        return AddRef(), S_OK;
    }
    DWORD QORJOB_STDCALL AddRef() override { return mCount.Add(); }
    DWORD QORJOB_STDCALL Release() override { return mCount.Release(); }
    HRESULT QORJOB_STDCALL Reset(int) override { return Answer(); }
    HRESULT QORJOB_STDCALL get_ExecutionKind(int* oKind) override { return *oKind = 0, Answer(); }
    HRESULT QORJOB_STDCALL put_Status(int) override { return Answer(); }
    HRESULT QORJOB_STDCALL put_JobValue(int, int) override { return Answer(); }
    HRESULT QORJOB_STDCALL get_Object(IUnknown** oObject) override { return Give(oObject); }
    HRESULT QORJOB_STDCALL get_Flags(LONG*) override { return Answer(E_NOTIMPL); }
    HRESULT QORJOB_STDCALL get_Name8(BSTR*) override { return Answer(E_NOTIMPL); }
    HRESULT QORJOB_STDCALL get_Name9(BSTR*) override { return Answer(E_NOTIMPL); }
    HRESULT QORJOB_STDCALL Call(IUnknown*) override { return Answer(); }
    HRESULT QORJOB_STDCALL get_Locale(unsigned* oLocale) override { return *oLocale = 0x409, Answer(); }
    HRESULT QORJOB_STDCALL FillLocalisation(const GUID&, int) override { return Answer(); }
    HRESULT QORJOB_STDCALL get_ObjectID(GUID*) override { return Answer(E_NOTIMPL); }
    HRESULT QORJOB_STDCALL get_DefinitionID(GUID* oId) override { return *oId = IID_ICKDXSession, Answer(); }
    HRESULT QORJOB_STDCALL get_Name(BSTR* oName) override
    {
        Answer();
        *oName = SysAllocString(QORJOB_W(" of a definition with a long name"));
        return *oName == nullptr ? E_OUTOFMEMORY : S_OK;
    }

    IUnknown* AsUnknown() { return static_cast<ICKDXSession*>(this); }
    HRESULT Give(IUnknown** oObject) { return Answer(), AddRef(), *oObject = AsUnknown(), S_OK; }

    StrangerCount mCount;
};

/// A session, a channel and an error reporter in one.
class StrangeHandle final : public QorUserSession, public QORChannel, public QORErrorReporter
{
public:
    unsigned AddRef() override { return mCount.Add(); }
    unsigned Release() override { return mCount.Release(); }
    HRESULT Send(ICKDXReadMessage*) override { return Answer(); }
    void Close() override { Answer(); }
    HRESULT SetReportKind(int) override { return Answer(); }
    HRESULT ReportError(HRESULT, const QBase::WCHAR*) override { return Answer(); }

    StrangerCount mCount;
};

class StrangeContext final : public NullProcessContext
{
public:
    explicit StrangeContext(StrangeObject& ioObject) : mObject(ioObject) {}

    HRESULT QORJOB_STDCALL QueryInterface(const GUID&, void**) override { return Answer(E_NOINTERFACE); }
    DWORD QORJOB_STDCALL AddRef() override { return mCount.Add(); }
    DWORD QORJOB_STDCALL Release() override { return mCount.Release(); }
    HRESULT QORJOB_STDCALL get_ContextObjectA(IUnknown** oObject) override { return mObject.Give(oObject); }
    HRESULT QORJOB_STDCALL get_ContextObjectB(IUnknown** oObject) override { return mObject.Give(oObject); }
    HRESULT QORJOB_STDCALL get_ContextObjectN(IUnknown** oObject) override { return mObject.Give(oObject); }
    HRESULT QORJOB_STDCALL get_OutMessage(ICKDXWriteMessage** oMessage) override
    {
        Answer();
        *oMessage = QBase::PtrI<ICKDXWriteMessage>(mpOutMessage.Get()).Detach();
        return S_OK;
    }

    StrangerCount mCount;
    QBase::PtrI<CKDXServerMessage> mpOutMessage = QMessage::NewServerMessage();

private:
    HRESULT NotMade(const char*) override { return Answer(E_NOTIMPL); }

    StrangeObject& mObject;
};

/// Keeps the base's count, which a task changes without these operations, and one reference to itself.
class StrangeItem final : public QORBinaryData
{
public:
    explicit StrangeItem(int iId) : QORBinaryData(iId, nullptr, 0) { QORBinaryData::AddRef(); }

    HRESULT GetId(unsigned* oId) const override { return Answer(), QORBinaryData::GetId(oId); }
    HRESULT GetSaveObjSize(unsigned, unsigned* oSize) const override { return *oSize = 1, Answer(); }
    HRESULT SaveObj(unsigned, unsigned, signed char*, unsigned*) const override { return Answer(); }
    DWORD AddRef() override { return Answer(), QORBinaryData::AddRef(); }
    DWORD Release() override
    {
        const DWORD left = QORBinaryData::Release();
        return Answer(), left;
    }

    DWORD GetReferences() { return QORBinaryData::AddRef(), QORBinaryData::Release() - 1; }
};
