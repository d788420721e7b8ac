// A process context that does nothing: the root of fakes, which override what their test is about.
#pragma once

#include "context/ICKDXProcessContext.h"

/// Every operation that gives a code gives E_NOTIMPL, after NotMade was told its name.
class NullProcessContext : public ICKDXProcessContext
{
public:
    // clang-format off
    HRESULT get_RequestCode(LONG*) override { return NotMade("get_RequestCode"); }
    HRESULT put_RequestCode(LONG) override { return NotMade("put_RequestCode"); }
    HRESULT get_RequestID(GUID*) override { return NotMade("get_RequestID"); }
    HRESULT get_ReplyMessage(IUnknown**) override { return NotMade("get_ReplyMessage"); }
    HRESULT get_LongB(LONG*) override { return NotMade("get_LongB"); }
    HRESULT put_LongB(LONG) override { return NotMade("put_LongB"); }
    HRESULT get_InMessageItem(IUnknown**) override { return NotMade("get_InMessageItem"); }
    HRESULT get_ContextObjectDItem(IUnknown**) override { return NotMade("get_ContextObjectDItem"); }
    HRESULT get_ContextObjectB(IUnknown**) override { return NotMade("get_ContextObjectB"); }
    HRESULT put_ContextObjectB(IUnknown*) override { return NotMade("put_ContextObjectB"); }
    HRESULT get_ContextObjectE(IUnknown**) override { return NotMade("get_ContextObjectE"); }
    HRESULT put_ContextObjectE(IUnknown*) override { return NotMade("put_ContextObjectE"); }
    HRESULT get_ContextObjectA(IUnknown**) override { return NotMade("get_ContextObjectA"); }
    HRESULT put_ContextObjectA(IUnknown*) override { return NotMade("put_ContextObjectA"); }
    HRESULT get_ResolvedName(BSTR*) override { return NotMade("get_ResolvedName"); }
    HRESULT get_UserContextLogFlag(LONG*) override { return NotMade("get_UserContextLogFlag"); }
    HRESULT put_UserContextLogFlag(LONG) override { return NotMade("put_UserContextLogFlag"); }
    HRESULT get_ContextObjectC(IUnknown**) override { return NotMade("get_ContextObjectC"); }
    HRESULT put_ContextObjectC(IUnknown*) override { return NotMade("put_ContextObjectC"); }
    HRESULT get_ShortA(std::int16_t*) override { return NotMade("get_ShortA"); }
    HRESULT put_ShortA(std::int16_t) override { return NotMade("put_ShortA"); }
    HRESULT get_LinkA(IUnknown**) override { return NotMade("get_LinkA"); }
    HRESULT put_LinkA(IUnknown*) override { return NotMade("put_LinkA"); }
    HRESULT get_ContextObjectF(IUnknown**) override { return NotMade("get_ContextObjectF"); }
    HRESULT put_ContextObjectF(IUnknown*) override { return NotMade("put_ContextObjectF"); }
    HRESULT get_ContextObjectG(IUnknown**) override { return NotMade("get_ContextObjectG"); }
    HRESULT put_ContextObjectG(IUnknown*) override { return NotMade("put_ContextObjectG"); }
    HRESULT get_ContextObjectH(IUnknown**) override { return NotMade("get_ContextObjectH"); }
    HRESULT put_ContextObjectH(IUnknown*) override { return NotMade("put_ContextObjectH"); }
    HRESULT get_LongA(LONG*) override { return NotMade("get_LongA"); }
    HRESULT put_LongA(LONG) override { return NotMade("put_LongA"); }
    HRESULT get_ContextObjectI(IUnknown**) override { return NotMade("get_ContextObjectI"); }
    HRESULT put_ContextObjectI(IUnknown*) override { return NotMade("put_ContextObjectI"); }
    HRESULT get_TextB(BSTR*) override { return NotMade("get_TextB"); }
    HRESULT put_TextB(const WCHAR*) override { return NotMade("put_TextB"); }
    HRESULT get_GuidB(GUID*) override { return NotMade("get_GuidB"); }
    HRESULT put_GuidB(GUID) override { return NotMade("put_GuidB"); }
    HRESULT get_ContextObjectJ(IUnknown**) override { return NotMade("get_ContextObjectJ"); }
    HRESULT put_ContextObjectJ(IUnknown*) override { return NotMade("put_ContextObjectJ"); }
    HRESULT get_ContextObjectK(IUnknown**) override { return NotMade("get_ContextObjectK"); }
    HRESULT put_ContextObjectK(IUnknown*) override { return NotMade("put_ContextObjectK"); }
    HRESULT get_ContextObjectL(IUnknown**) override { return NotMade("get_ContextObjectL"); }
    HRESULT put_ContextObjectL(IUnknown*) override { return NotMade("put_ContextObjectL"); }
    HRESULT get_LongF(LONG*) override { return NotMade("get_LongF"); }
    HRESULT put_LongF(LONG) override { return NotMade("put_LongF"); }
    HRESULT get_InMessage(ICKDXReadMessage**) override { return NotMade("get_InMessage"); }
    HRESULT get_ContextObjectD(IUnknown**) override { return NotMade("get_ContextObjectD"); }
    HRESULT get_OutMessage(ICKDXWriteMessage**) override { return NotMade("get_OutMessage"); }
    HRESULT get_LongH(LONG*) override { return NotMade("get_LongH"); }
    HRESULT InMessageQueryA(IUnknown*) override { return NotMade("InMessageQueryA"); }
    HRESULT InMessageQueryB(IUnknown*) override { return NotMade("InMessageQueryB"); }
    HRESULT get_LongG(LONG*) override { return NotMade("get_LongG"); }
    HRESULT get_ContextObjectM(IUnknown**) override { return NotMade("get_ContextObjectM"); }
    HRESULT put_ContextObjectM(IUnknown*) override { return NotMade("put_ContextObjectM"); }
    HRESULT get_ContextObjectN(IUnknown**) override { return NotMade("get_ContextObjectN"); }
    HRESULT put_ContextObjectN(IUnknown*) override { return NotMade("put_ContextObjectN"); }
    HRESULT get_ContextObjectO(IUnknown**) override { return NotMade("get_ContextObjectO"); }
    HRESULT put_ContextObjectO(IUnknown*) override { return NotMade("put_ContextObjectO"); }
    HRESULT get_ContextObjectP(IUnknown**) override { return NotMade("get_ContextObjectP"); }
    HRESULT put_ContextObjectP(IUnknown*) override { return NotMade("put_ContextObjectP"); }
    HRESULT get_LimitA(LONG*) override { return NotMade("get_LimitA"); }
    HRESULT put_LimitA(LONG) override { return NotMade("put_LimitA"); }
    void put_SharedHandle(const std::shared_ptr<JobMemGovernor>&) override { NotMade("put_SharedHandle"); }
    std::shared_ptr<JobMemGovernor> get_SharedHandle() override { return nullptr; }
    HRESULT get_LimitB(LONG*) override { return NotMade("get_LimitB"); }
    HRESULT put_LimitB(LONG) override { return NotMade("put_LimitB"); }
    HRESULT get_LongI(LONG*) override { return NotMade("get_LongI"); }
    HRESULT put_LongI(LONG) override { return NotMade("put_LongI"); }
    HRESULT get_LongJ(LONG*) override { return NotMade("get_LongJ"); }
    HRESULT put_LongJ(LONG) override { return NotMade("put_LongJ"); }
    HRESULT get_LongK(LONG*) override { return NotMade("get_LongK"); }
    HRESULT put_LongK(LONG) override { return NotMade("put_LongK"); }
    HRESULT get_ContextObjectT(IUnknown**) override { return NotMade("get_ContextObjectT"); }
    HRESULT put_ContextObjectT(IUnknown*) override { return NotMade("put_ContextObjectT"); }
    HRESULT put_ContextObjectU(IUnknown*) override { return NotMade("put_ContextObjectU"); }
    HRESULT get_ContextObjectU(IUnknown**) override { return NotMade("get_ContextObjectU"); }
    HRESULT put_GuidD(GUID) override { return NotMade("put_GuidD"); }
    HRESULT get_GuidD(GUID*) override { return NotMade("get_GuidD"); }
    LONG GetLongL() override { return NotMade("GetLongL"); }
    HRESULT put_LongL(LONG) override { return NotMade("put_LongL"); }
    HRESULT SetNamedPair(const WCHAR*, LONG, LONG) override { return NotMade("SetNamedPair"); }
    HRESULT GetNamedPair(const WCHAR*, LONG*, LONG*) override { return NotMade("GetNamedPair"); }
    HRESULT SetBuffer(std::uint64_t, BYTE*) override { return NotMade("SetBuffer"); }
    HRESULT TakeBuffer(int, std::uint64_t*, BYTE**) override { return NotMade("TakeBuffer"); }
    HRESULT GetTextByGuidBstr(const GUID&, BSTR*) override { return NotMade("GetTextByGuidBstr"); }
    HRESULT Reserved1() override { return NotMade("Reserved1"); }
    HRESULT Reserved2() override { return NotMade("Reserved2"); }
    HRESULT get_LongM(LONG*) override { return NotMade("get_LongM"); }
    HRESULT put_LongM(LONG) override { return NotMade("put_LongM"); }
    HRESULT get_ContextObjectV(IUnknown**) override { return NotMade("get_ContextObjectV"); }
    HRESULT put_ContextObjectV(IUnknown*) override { return NotMade("put_ContextObjectV"); }
    HRESULT put_ShortB(std::int16_t) override { return NotMade("put_ShortB"); }
    HRESULT get_ShortB(std::int16_t*) override { return NotMade("get_ShortB"); }
    HRESULT SetGuidList(int, const GUID*) override { return NotMade("SetGuidList"); }
    HRESULT GetGuidCount(int*) override { return NotMade("GetGuidCount"); }
    HRESULT GetGuidList(int, GUID*) override { return NotMade("GetGuidList"); }
    HRESULT put_LongH(LONG) override { return NotMade("put_LongH"); }
    HRESULT put_BstrA(BSTR) override { return NotMade("put_BstrA"); }
    HRESULT get_BstrA(BSTR*) override { return NotMade("get_BstrA"); }
    HRESULT get_GuidE(GUID*) override { return NotMade("get_GuidE"); }
    HRESULT put_GuidE(GUID) override { return NotMade("put_GuidE"); }
    HRESULT put_FlagA(VARIANT_BOOL) override { return NotMade("put_FlagA"); }
    HRESULT get_FlagA(VARIANT_BOOL*) override { return NotMade("get_FlagA"); }
    HRESULT put_BstrB(BSTR) override { return NotMade("put_BstrB"); }
    HRESULT get_BstrB(BSTR*) override { return NotMade("get_BstrB"); }
    HRESULT AddStatusMessage(HRESULT, const WCHAR*) override { return NotMade("AddStatusMessage"); }
    HRESULT put_LevelA(LONG) override { return NotMade("put_LevelA"); }
    HRESULT get_LevelA(LONG*) override { return NotMade("get_LevelA"); }
    HRESULT get_ContextObjectQ(IUnknown**) override { return NotMade("get_ContextObjectQ"); }
    void put_ContextObjectQ(IUnknown*) override { NotMade("put_ContextObjectQ"); }
    void put_BstrC(BSTR) override { NotMade("put_BstrC"); }
    HRESULT get_BstrC(BSTR*) override { return NotMade("get_BstrC"); }
    HRESULT put_HandleA(QBase::Counted*) override { return NotMade("put_HandleA"); }
    HRESULT get_HandleA(QBase::Counted**) override { return NotMade("get_HandleA"); }
    void put_BstrD(BSTR) override { NotMade("put_BstrD"); }
    HRESULT get_BstrD(BSTR*) override { return NotMade("get_BstrD"); }
    HRESULT put_GuidG(GUID) override { return NotMade("put_GuidG"); }
    HRESULT get_GuidG(GUID*) override { return NotMade("get_GuidG"); }
    HRESULT put_TextC(const WCHAR*) override { return NotMade("put_TextC"); }
    const WCHAR* GetTextC() override { return nullptr; }
    const GUID* GetGuidARef() override { return nullptr; }
    HRESULT ResolveObjectID(GUID*) override { return NotMade("ResolveObjectID"); }
    HRESULT put_HandleB(QBase::Counted*) override { return NotMade("put_HandleB"); }
    HRESULT get_HandleB(QBase::Counted**) override { return NotMade("get_HandleB"); }
    HRESULT CopyLogProperties(std::map<std::string, std::string>*) override { return NotMade("CopyLogProperties"); }
    HRESULT GetLogMessageInJSON(std::string*) override { return NotMade("GetLogMessageInJSON"); }
    HRESULT SetLogProperty(const char*, const char*) override { return NotMade("SetLogProperty"); }
    HRESULT ClearLogProperties() override { return NotMade("ClearLogProperties"); }
    HRESULT CallContextObjectA(IUnknown*) override { return NotMade("CallContextObjectA"); }
    void put_BstrE(BSTR) override { NotMade("put_BstrE"); }
    HRESULT get_BstrE(BSTR*) override { return NotMade("get_BstrE"); }
    int IsInMessageEmpty() override { return NotMade("IsInMessageEmpty"); }
    HRESULT BeginThreadMessage() override { return NotMade("BeginThreadMessage"); }
    void EndThreadMessage(DWORD) override { NotMade("EndThreadMessage"); }
    // clang-format on

protected:
    ~NullProcessContext() = default;

    virtual HRESULT NotMade(const char*) { return E_NOTIMPL; }
};
