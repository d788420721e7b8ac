// The interface of the process context: the data that the steps of one request share.
#pragma once

#include "platform/Export.h"
#include "platform/QBase.h"
#include "platform/Windows.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>

class ICKDXReadMessage;
class ICKDXWriteMessage;
class JobMemGovernor;

/// The kernel's modules call these 134 operations by their slots behind the three of IUnknown: never move or insert
/// one. Some pairs have their put first; they stay that way.
///
/// Most fields are for the kernel's own use. Those that this library reads or writes:
///
///   ContextObjectA  the session (ICKDXSession)             LongB   the stop flag: cStop or cGoOn
///   ContextObjectB  the report instance                    LongA   what a pulse records
///   ContextObjectC  the source of the definition           ShortA  whether a reply is an error
///   ContextObjectN  the delivery object                    LimitA  the job's priority
///   BstrE           the chapter key of the step that runs  LimitB  the priority of a query
///
/// Threads: any.
/// Owns:    a reference to each object that it is given. Getters add one for the caller.
/// Errors:  E_POINTER or E_INVALIDARG for a null out-pointer, which get_GuidE and get_GuidG must not be given.
/// Locks:   its own, never held while a job is called.
class ICKDXProcessContext : public IUnknown
{
public:
    /// Values of LongB: whether the request's steps are to stop. A task reads it while it works.
    static constexpr LONG cStop = 1;
    static constexpr LONG cGoOn = 0;

    virtual HRESULT QORJOB_STDCALL get_RequestCode(LONG* oRequestCode) = 0;
    virtual HRESULT QORJOB_STDCALL put_RequestCode(LONG iRequestCode) = 0;
    virtual HRESULT QORJOB_STDCALL get_RequestID(GUID* oRequestID) = 0;
    virtual HRESULT QORJOB_STDCALL get_ReplyMessage(IUnknown** oItem) = 0;
    virtual HRESULT QORJOB_STDCALL get_LongB(LONG* oLongB) = 0;
    virtual HRESULT QORJOB_STDCALL put_LongB(LONG iLongB) = 0;
    virtual HRESULT QORJOB_STDCALL get_InMessageItem(IUnknown** oItem) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectDItem(IUnknown** oItem) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectB(IUnknown** oContextObjectB) = 0;
    virtual HRESULT QORJOB_STDCALL put_ContextObjectB(IUnknown* iContextObjectB) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectE(IUnknown** oContextObjectE) = 0;
    virtual HRESULT QORJOB_STDCALL put_ContextObjectE(IUnknown* iContextObjectE) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectA(IUnknown** oContextObjectA) = 0;
    virtual HRESULT QORJOB_STDCALL put_ContextObjectA(IUnknown* iContextObjectA) = 0;
    virtual HRESULT QORJOB_STDCALL get_ResolvedName(BSTR* oResolvedName) = 0;
    virtual HRESULT QORJOB_STDCALL get_UserContextLogFlag(LONG* oUserContextLogFlag) = 0;
    virtual HRESULT QORJOB_STDCALL put_UserContextLogFlag(LONG iUserContextLogFlag) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectC(IUnknown** oContextObjectC) = 0;
    virtual HRESULT QORJOB_STDCALL put_ContextObjectC(IUnknown* iContextObjectC) = 0;
    virtual HRESULT QORJOB_STDCALL get_ShortA(std::int16_t* oShortA) = 0;
    virtual HRESULT QORJOB_STDCALL put_ShortA(std::int16_t iShortA) = 0;
    virtual HRESULT QORJOB_STDCALL get_LinkA(IUnknown** oLinkA) = 0;
    virtual HRESULT QORJOB_STDCALL put_LinkA(IUnknown* iLinkA) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectF(IUnknown** oContextObjectF) = 0;
    virtual HRESULT QORJOB_STDCALL put_ContextObjectF(IUnknown* iContextObjectF) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectG(IUnknown** oContextObjectG) = 0;
    virtual HRESULT QORJOB_STDCALL put_ContextObjectG(IUnknown* iContextObjectG) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectH(IUnknown** oContextObjectH) = 0;
    virtual HRESULT QORJOB_STDCALL put_ContextObjectH(IUnknown* iContextObjectH) = 0;
    virtual HRESULT QORJOB_STDCALL get_LongA(LONG* oLongA) = 0;
    virtual HRESULT QORJOB_STDCALL put_LongA(LONG iLongA) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectI(IUnknown** oContextObjectI) = 0;
    virtual HRESULT QORJOB_STDCALL put_ContextObjectI(IUnknown* iContextObjectI) = 0;
    virtual HRESULT QORJOB_STDCALL get_TextB(BSTR* oTextB) = 0;
    virtual HRESULT QORJOB_STDCALL put_TextB(const QBase::WCHAR* iTextB) = 0;
    virtual HRESULT QORJOB_STDCALL get_GuidB(GUID* oGuidB) = 0;
    virtual HRESULT QORJOB_STDCALL put_GuidB(GUID iGuidB) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectJ(IUnknown** oContextObjectJ) = 0;
    virtual HRESULT QORJOB_STDCALL put_ContextObjectJ(IUnknown* iContextObjectJ) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectK(IUnknown** oContextObjectK) = 0;
    virtual HRESULT QORJOB_STDCALL put_ContextObjectK(IUnknown* iContextObjectK) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectL(IUnknown** oContextObjectL) = 0;
    virtual HRESULT QORJOB_STDCALL put_ContextObjectL(IUnknown* iContextObjectL) = 0;
    virtual HRESULT QORJOB_STDCALL get_LongF(LONG* oLongF) = 0;
    virtual HRESULT QORJOB_STDCALL put_LongF(LONG iLongF) = 0;
    virtual HRESULT QORJOB_STDCALL get_InMessage(ICKDXReadMessage** oInMessage) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectD(IUnknown** oContextObjectD) = 0;
    virtual HRESULT QORJOB_STDCALL get_OutMessage(ICKDXWriteMessage** oOutMessage) = 0;
    virtual HRESULT QORJOB_STDCALL get_LongH(LONG* oLongH) = 0;
    virtual HRESULT QORJOB_STDCALL InMessageQueryA(IUnknown* iArgument) = 0;
    virtual HRESULT QORJOB_STDCALL InMessageQueryB(IUnknown* iArgument) = 0;
    virtual HRESULT QORJOB_STDCALL get_LongG(LONG* oLongG) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectM(IUnknown** oContextObjectM) = 0;
    virtual HRESULT QORJOB_STDCALL put_ContextObjectM(IUnknown* iContextObjectM) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectN(IUnknown** oContextObjectN) = 0;
    virtual HRESULT QORJOB_STDCALL put_ContextObjectN(IUnknown* iContextObjectN) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectO(IUnknown** oContextObjectO) = 0;
    virtual HRESULT QORJOB_STDCALL put_ContextObjectO(IUnknown* iContextObjectO) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectP(IUnknown** oContextObjectP) = 0;
    virtual HRESULT QORJOB_STDCALL put_ContextObjectP(IUnknown* iContextObjectP) = 0;
    virtual HRESULT QORJOB_STDCALL get_LimitA(LONG* oLimitA) = 0;
    virtual HRESULT QORJOB_STDCALL put_LimitA(LONG iLimitA) = 0;
    virtual void QORJOB_STDCALL put_SharedHandle(const std::shared_ptr<JobMemGovernor>& iSharedHandle) = 0;
    virtual std::shared_ptr<JobMemGovernor> QORJOB_STDCALL get_SharedHandle() = 0;
    virtual HRESULT QORJOB_STDCALL get_LimitB(LONG* oLimitB) = 0;
    virtual HRESULT QORJOB_STDCALL put_LimitB(LONG iLimitB) = 0;
    virtual HRESULT QORJOB_STDCALL get_LongI(LONG* oLongI) = 0;
    virtual HRESULT QORJOB_STDCALL put_LongI(LONG iLongI) = 0;
    virtual HRESULT QORJOB_STDCALL get_LongJ(LONG* oLongJ) = 0;
    virtual HRESULT QORJOB_STDCALL put_LongJ(LONG iLongJ) = 0;
    virtual HRESULT QORJOB_STDCALL get_LongK(LONG* oLongK) = 0;
    virtual HRESULT QORJOB_STDCALL put_LongK(LONG iLongK) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectT(IUnknown** oContextObjectT) = 0;
    virtual HRESULT QORJOB_STDCALL put_ContextObjectT(IUnknown* iContextObjectT) = 0;
    virtual HRESULT QORJOB_STDCALL put_ContextObjectU(IUnknown* iContextObjectU) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectU(IUnknown** oContextObjectU) = 0;
    virtual HRESULT QORJOB_STDCALL put_GuidD(GUID iGuidD) = 0;
    virtual HRESULT QORJOB_STDCALL get_GuidD(GUID* oGuidD) = 0;
    virtual LONG QORJOB_STDCALL GetLongL() = 0;
    virtual HRESULT QORJOB_STDCALL put_LongL(LONG iLongL) = 0;
    virtual HRESULT QORJOB_STDCALL SetNamedPair(const QBase::WCHAR* iName, LONG iFirst, LONG iSecond) = 0;
    virtual HRESULT QORJOB_STDCALL GetNamedPair(const QBase::WCHAR* iName, LONG* oFirst, LONG* oSecond) = 0;
    virtual HRESULT QORJOB_STDCALL SetBuffer(std::uint64_t iLength, BYTE* iBuffer) = 0;
    virtual HRESULT QORJOB_STDCALL TakeBuffer(int iMode, std::uint64_t* oLength, BYTE** oBuffer) = 0;
    virtual HRESULT QORJOB_STDCALL GetTextByGuidBstr(const GUID& iGuid, BSTR* oText) = 0;
    virtual HRESULT QORJOB_STDCALL Reserved1() = 0;
    virtual HRESULT QORJOB_STDCALL Reserved2() = 0;
    virtual HRESULT QORJOB_STDCALL get_LongM(LONG* oLongM) = 0;
    virtual HRESULT QORJOB_STDCALL put_LongM(LONG iLongM) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectV(IUnknown** oContextObjectV) = 0;
    virtual HRESULT QORJOB_STDCALL put_ContextObjectV(IUnknown* iContextObjectV) = 0;
    virtual HRESULT QORJOB_STDCALL put_ShortB(std::int16_t iShortB) = 0;
    virtual HRESULT QORJOB_STDCALL get_ShortB(std::int16_t* oShortB) = 0;
    virtual HRESULT QORJOB_STDCALL SetGuidList(int iCount, const GUID* iGuids) = 0;
    virtual HRESULT QORJOB_STDCALL GetGuidCount(int* oCount) = 0;
    virtual HRESULT QORJOB_STDCALL GetGuidList(int iCount, GUID* oGuids) = 0;
    virtual HRESULT QORJOB_STDCALL put_LongH(LONG iLongH) = 0;
    virtual HRESULT QORJOB_STDCALL put_BstrA(BSTR iBstrA) = 0;
    virtual HRESULT QORJOB_STDCALL get_BstrA(BSTR* oBstrA) = 0;
    virtual HRESULT QORJOB_STDCALL get_GuidE(GUID* oGuidE) = 0;
    virtual HRESULT QORJOB_STDCALL put_GuidE(GUID iGuidE) = 0;
    virtual HRESULT QORJOB_STDCALL put_FlagA(VARIANT_BOOL iFlagA) = 0;
    virtual HRESULT QORJOB_STDCALL get_FlagA(VARIANT_BOOL* oFlagA) = 0;
    virtual HRESULT QORJOB_STDCALL put_BstrB(BSTR iBstrB) = 0;
    virtual HRESULT QORJOB_STDCALL get_BstrB(BSTR* oBstrB) = 0;
    virtual HRESULT QORJOB_STDCALL AddStatusMessage(HRESULT iMessageId, const QBase::WCHAR* iTemplate) = 0;
    virtual HRESULT QORJOB_STDCALL put_LevelA(LONG iLevelA) = 0;
    virtual HRESULT QORJOB_STDCALL get_LevelA(LONG* oLevelA) = 0;
    virtual HRESULT QORJOB_STDCALL get_ContextObjectQ(IUnknown** oContextObjectQ) = 0;
    virtual void QORJOB_STDCALL put_ContextObjectQ(IUnknown* iContextObjectQ) = 0;
    virtual void QORJOB_STDCALL put_BstrC(BSTR iBstrC) = 0;
    virtual HRESULT QORJOB_STDCALL get_BstrC(BSTR* oBstrC) = 0;
    virtual HRESULT QORJOB_STDCALL put_HandleA(QBase::Counted* iHandleA) = 0;
    virtual HRESULT QORJOB_STDCALL get_HandleA(QBase::Counted** oHandleA) = 0;
    virtual void QORJOB_STDCALL put_BstrD(BSTR iBstrD) = 0;
    virtual HRESULT QORJOB_STDCALL get_BstrD(BSTR* oBstrD) = 0;
    virtual HRESULT QORJOB_STDCALL put_GuidG(GUID iGuidG) = 0;
    virtual HRESULT QORJOB_STDCALL get_GuidG(GUID* oGuidG) = 0;
    virtual HRESULT QORJOB_STDCALL put_TextC(const QBase::WCHAR* iTextC) = 0;
    virtual const QBase::WCHAR* QORJOB_STDCALL GetTextC() = 0;
    virtual const GUID* QORJOB_STDCALL GetGuidARef() = 0;
    virtual HRESULT QORJOB_STDCALL ResolveObjectID(GUID* oObjectID) = 0;
    virtual HRESULT QORJOB_STDCALL put_HandleB(QBase::Counted* iHandleB) = 0;
    virtual HRESULT QORJOB_STDCALL get_HandleB(QBase::Counted** oHandleB) = 0;
    virtual HRESULT QORJOB_STDCALL CopyLogProperties(std::map<std::string, std::string>* oProperties) = 0;
    virtual HRESULT QORJOB_STDCALL GetLogMessageInJSON(std::string* oMessage) = 0;
    virtual HRESULT QORJOB_STDCALL SetLogProperty(const char* iKey, const char* iValue) = 0;
    virtual HRESULT QORJOB_STDCALL ClearLogProperties() = 0;
    virtual HRESULT QORJOB_STDCALL CallContextObjectA(IUnknown* iArgument) = 0;
    virtual void QORJOB_STDCALL put_BstrE(BSTR iBstrE) = 0;
    virtual HRESULT QORJOB_STDCALL get_BstrE(BSTR* oBstrE) = 0;
    virtual int QORJOB_STDCALL IsInMessageEmpty() = 0;
    virtual HRESULT QORJOB_STDCALL BeginThreadMessage() = 0;
    virtual void QORJOB_STDCALL EndThreadMessage(DWORD iThreadId) = 0;

protected:
    ~ICKDXProcessContext() = default;
};

/// Whether the user's context is to be logged. True for null.
QORJOB_API bool GetUsrContextLogFlag(ICKDXProcessContext* iContext);
