// A process context that does nothing: the root of fakes, which override what their test is about.
#pragma once

#include "context/ICKDXProcessContext.h"

#define ONE(Name, ...) \
    HRESULT QORJOB_STDCALL Name(__VA_ARGS__) override { return NotMade(#Name); }
#define BOTH(Name, Type) ONE(get_##Name, std::add_pointer_t<Type>) ONE(put_##Name, Type)

/// Every operation that gives a code gives E_NOTIMPL, after NotMade was told its name.
class NullProcessContext : public ICKDXProcessContext
{
public:
    // clang-format off
    BOTH(RequestCode, LONG) BOTH(LongB, LONG) BOTH(ContextObjectB, IUnknown*) BOTH(ContextObjectE, IUnknown*)
    BOTH(ContextObjectA, IUnknown*) BOTH(UserContextLogFlag, LONG) BOTH(ContextObjectC, IUnknown*)
    BOTH(ShortA, std::int16_t) BOTH(LinkA, IUnknown*) BOTH(ContextObjectF, IUnknown*) BOTH(ContextObjectG, IUnknown*)
    BOTH(ContextObjectH, IUnknown*) BOTH(LongA, LONG) BOTH(ContextObjectI, IUnknown*) BOTH(GuidB, GUID)
    BOTH(ContextObjectJ, IUnknown*) BOTH(ContextObjectK, IUnknown*) BOTH(ContextObjectL, IUnknown*) BOTH(LongF, LONG)
    BOTH(LongH, LONG) BOTH(ContextObjectM, IUnknown*) BOTH(ContextObjectN, IUnknown*) BOTH(ContextObjectO, IUnknown*)
    BOTH(ContextObjectP, IUnknown*) BOTH(LimitA, LONG) BOTH(LimitB, LONG) BOTH(LongI, LONG) BOTH(LongJ, LONG)
    BOTH(LongK, LONG) BOTH(ContextObjectT, IUnknown*) BOTH(ContextObjectU, IUnknown*) BOTH(GuidD, GUID)
    BOTH(LongM, LONG) BOTH(ContextObjectV, IUnknown*) BOTH(ShortB, std::int16_t) BOTH(BstrA, BSTR) BOTH(GuidE, GUID)
    BOTH(FlagA, VARIANT_BOOL) BOTH(BstrB, BSTR) BOTH(LevelA, LONG) BOTH(HandleA, QBase::Counted*) BOTH(GuidG, GUID)
    BOTH(HandleB, QBase::Counted*)

    ONE(get_RequestID, GUID*) ONE(get_ReplyMessage, IUnknown**) ONE(get_InMessageItem, IUnknown**)
    ONE(get_ContextObjectDItem, IUnknown**) ONE(get_ResolvedName, BSTR*) ONE(get_TextB, BSTR*)
    ONE(put_TextB, const QBase::WCHAR*) ONE(get_InMessage, ICKDXReadMessage**) ONE(get_ContextObjectD, IUnknown**)
    ONE(get_OutMessage, ICKDXWriteMessage**) ONE(InMessageQueryA, IUnknown*) ONE(InMessageQueryB, IUnknown*)
    ONE(get_LongG, LONG*) ONE(put_LongL, LONG) ONE(SetNamedPair, const QBase::WCHAR*, LONG, LONG)
    ONE(GetNamedPair, const QBase::WCHAR*, LONG*, LONG*) ONE(SetBuffer, std::uint64_t, BYTE*)
    ONE(TakeBuffer, int, std::uint64_t*, BYTE**) ONE(GetTextByGuidBstr, const GUID&, BSTR*) ONE(Reserved1)
    ONE(Reserved2) ONE(SetGuidList, int, const GUID*) ONE(GetGuidCount, int*) ONE(GetGuidList, int, GUID*)
    ONE(AddStatusMessage, HRESULT, const QBase::WCHAR*) ONE(get_ContextObjectQ, IUnknown**) ONE(get_BstrC, BSTR*)
    ONE(get_BstrD, BSTR*) ONE(put_TextC, const QBase::WCHAR*) ONE(ResolveObjectID, GUID*)
    ONE(CopyLogProperties, std::map<std::string, std::string>*) ONE(GetLogMessageInJSON, std::string*)
    ONE(SetLogProperty, const char*, const char*) ONE(ClearLogProperties) ONE(CallContextObjectA, IUnknown*)
    ONE(get_BstrE, BSTR*) ONE(BeginThreadMessage)

    void QORJOB_STDCALL put_SharedHandle(const std::shared_ptr<JobMemGovernor>&) override { NotMade("put_SharedHandle"); }
    std::shared_ptr<JobMemGovernor> QORJOB_STDCALL get_SharedHandle() override { return nullptr; }
    LONG QORJOB_STDCALL GetLongL() override { return NotMade("GetLongL"); }
    void QORJOB_STDCALL put_ContextObjectQ(IUnknown*) override { NotMade("put_ContextObjectQ"); }
    void QORJOB_STDCALL put_BstrC(BSTR) override { NotMade("put_BstrC"); }
    void QORJOB_STDCALL put_BstrD(BSTR) override { NotMade("put_BstrD"); }
    const QBase::WCHAR* QORJOB_STDCALL GetTextC() override { return nullptr; }
    const GUID* QORJOB_STDCALL GetGuidARef() override { return nullptr; }
    void QORJOB_STDCALL put_BstrE(BSTR) override { NotMade("put_BstrE"); }
    int QORJOB_STDCALL IsInMessageEmpty() override { return NotMade("IsInMessageEmpty"); }
    void QORJOB_STDCALL EndThreadMessage(DWORD) override { NotMade("EndThreadMessage"); }
    // clang-format on

protected:
    ~NullProcessContext() = default;

    virtual HRESULT NotMade(const char*) { return E_NOTIMPL; }
};

#undef BOTH
#undef ONE
