// The process context: the data that the steps of one request share.
#pragma once

#include "base/Unlocked.h"
#include "context/ICKDXProcessContext.h"
#include "platform/ComObject.h"
#include "platform/Export.h"
#include "platform/QDataType.h"
#include "platform/QMessage.h"

#include <map>
#include <string>
#include <utility>

/// {5B0C9E4A-7C1D-4E0B-9C57-2F6A1B3D8E60}
QORJOB_API extern const GUID IID_ICKDXProcessContext;

/// A passive container: almost every operation stores or returns one field. The helper that such a row calls says in
/// its name how it locks and converts. Contexts are made with CreateProcessContext.
///
/// Threads: any. Operations without the lock access single fields that are set before the context is shared.
/// Owns:    one reference to each collaborator and message, its texts, its tables, its buffer.
/// Errors:  return codes; 0x8004308B or 0x8004308C where a collaborator throws. A setter whose old object throws in
///          Release has stored the new object. Nothing is logged.
/// Locks:   the root's lock (category 300); the thread messages' lock (category -3), which may be taken under it.
class QORJOB_API CKDXProcessContext : public CComObjectRootEx<CComMultiThreadModel>, public ICKDXProcessContext
{
public:
    using Interface = ICKDXProcessContext;
    static constexpr int cReferenceKind = ReferenceKindProcessContext;
    static const GUID& GetInterfaceId() { return IID_ICKDXProcessContext; }

    HRESULT FinalConstruct();
    IUnknown* GetAggregated() { return mMarshaler.Get(); }

    // --- The class's own operations, in the slots right behind the destructor ----------------------------------------

    /// No reference is added.
    virtual ICKDXProcessContext* QORJOB_STDCALL GetInterface();
    virtual HRESULT QORJOB_STDCALL put_LongG(LONG iLongG);
    virtual HRESULT QORJOB_STDCALL get_LinkB(IUnknown** oLinkB);
    virtual HRESULT QORJOB_STDCALL put_LinkB(IUnknown* iLinkB);
    /// Replaces the messages; the count of put_RequestCode stays.
    virtual HRESULT QORJOB_STDCALL SetRequestIn(LONG iCode, ICKDXReadMessage* iInMessage,
                                                ICKDXWriteMessage* iReplyMessage, IUnknown* iContextObjectD,
                                                GUID iRequestID);
    virtual HRESULT QORJOB_STDCALL SetRequestOut(LONG iCode, ICKDXWriteMessage* iOutMessage,
                                                 ICKDXWriteMessage* iReplyMessage, IUnknown* iContextObjectD,
                                                 GUID iRequestID);
    /// Without an output message nothing happens.
    virtual HRESULT QORJOB_STDCALL ConvertOutToIn();
    virtual HRESULT QORJOB_STDCALL get_LongD(LONG* oLongD);
    virtual HRESULT QORJOB_STDCALL put_LongD(LONG iLongD);
    virtual HRESULT QORJOB_STDCALL get_LongE(LONG* oLongE);
    virtual HRESULT QORJOB_STDCALL put_LongE(LONG iLongE);
    virtual HRESULT QORJOB_STDCALL get_GuidA(GUID* oGuidA);
    virtual HRESULT QORJOB_STDCALL put_GuidA(GUID iGuidA);
    virtual HRESULT QORJOB_STDCALL get_GuidC(GUID* oGuidC);
    virtual HRESULT QORJOB_STDCALL put_GuidC(GUID iGuidC);
    virtual HRESULT QORJOB_STDCALL SetTextByGuid(const GUID& iGuid, BSTR iText);
    /// Empties `ioText`.
    virtual HRESULT QORJOB_STDCALL MoveTextByGuid(const GUID& iGuid, QBase::wstring& ioText);
    /// Leaves `oText` unchanged when there is no text.
    virtual HRESULT QORJOB_STDCALL GetTextByGuid(const GUID& iGuid, QBase::wstring& oText);
    virtual HRESULT QORJOB_STDCALL CopyTextTable(CKDXProcessContext* iOther);
    virtual HRESULT QORJOB_STDCALL put_ContextObjectR(IUnknown* iContextObjectR);
    virtual HRESULT QORJOB_STDCALL get_ContextObjectR(IUnknown** oContextObjectR);
    virtual HRESULT QORJOB_STDCALL put_ContextObjectS(IUnknown* iContextObjectS);
    virtual HRESULT QORJOB_STDCALL get_ContextObjectS(IUnknown** oContextObjectS);
    virtual HRESULT QORJOB_STDCALL get_GuidF(GUID* oGuidF);

    // --- ICKDXProcessContext, in the order of its slots --------------------------------------------------------------

    HRESULT QORJOB_STDCALL get_RequestCode(LONG* oRequestCode) override;
    HRESULT QORJOB_STDCALL put_RequestCode(LONG iRequestCode) override;
    HRESULT QORJOB_STDCALL get_RequestID(GUID* oRequestID) override;
    HRESULT QORJOB_STDCALL get_ReplyMessage(IUnknown** oItem) override;
    HRESULT QORJOB_STDCALL get_LongB(LONG* oLongB) override;
    HRESULT QORJOB_STDCALL put_LongB(LONG iLongB) override;
    HRESULT QORJOB_STDCALL get_InMessageItem(IUnknown** oItem) override;
    HRESULT QORJOB_STDCALL get_ContextObjectDItem(IUnknown** oItem) override;
    HRESULT QORJOB_STDCALL get_ContextObjectB(IUnknown** oContextObjectB) override;
    HRESULT QORJOB_STDCALL put_ContextObjectB(IUnknown* iContextObjectB) override;
    HRESULT QORJOB_STDCALL get_ContextObjectE(IUnknown** oContextObjectE) override;
    HRESULT QORJOB_STDCALL put_ContextObjectE(IUnknown* iContextObjectE) override;
    HRESULT QORJOB_STDCALL get_ContextObjectA(IUnknown** oContextObjectA) override;
    HRESULT QORJOB_STDCALL put_ContextObjectA(IUnknown* iContextObjectA) override;
    HRESULT QORJOB_STDCALL get_ResolvedName(BSTR* oResolvedName) override;
    HRESULT QORJOB_STDCALL get_UserContextLogFlag(LONG* oUserContextLogFlag) override;
    HRESULT QORJOB_STDCALL put_UserContextLogFlag(LONG iUserContextLogFlag) override;
    HRESULT QORJOB_STDCALL get_ContextObjectC(IUnknown** oContextObjectC) override;
    HRESULT QORJOB_STDCALL put_ContextObjectC(IUnknown* iContextObjectC) override;
    HRESULT QORJOB_STDCALL get_ShortA(std::int16_t* oShortA) override;
    HRESULT QORJOB_STDCALL put_ShortA(std::int16_t iShortA) override;
    HRESULT QORJOB_STDCALL get_LinkA(IUnknown** oLinkA) override;
    HRESULT QORJOB_STDCALL put_LinkA(IUnknown* iLinkA) override;
    HRESULT QORJOB_STDCALL get_ContextObjectF(IUnknown** oContextObjectF) override;
    HRESULT QORJOB_STDCALL put_ContextObjectF(IUnknown* iContextObjectF) override;
    HRESULT QORJOB_STDCALL get_ContextObjectG(IUnknown** oContextObjectG) override;
    HRESULT QORJOB_STDCALL put_ContextObjectG(IUnknown* iContextObjectG) override;
    HRESULT QORJOB_STDCALL get_ContextObjectH(IUnknown** oContextObjectH) override;
    HRESULT QORJOB_STDCALL put_ContextObjectH(IUnknown* iContextObjectH) override;
    HRESULT QORJOB_STDCALL get_LongA(LONG* oLongA) override;
    HRESULT QORJOB_STDCALL put_LongA(LONG iLongA) override;
    HRESULT QORJOB_STDCALL get_ContextObjectI(IUnknown** oContextObjectI) override;
    HRESULT QORJOB_STDCALL put_ContextObjectI(IUnknown* iContextObjectI) override;
    HRESULT QORJOB_STDCALL get_TextB(BSTR* oTextB) override;
    HRESULT QORJOB_STDCALL put_TextB(const QBase::WCHAR* iTextB) override;
    HRESULT QORJOB_STDCALL get_GuidB(GUID* oGuidB) override;
    HRESULT QORJOB_STDCALL put_GuidB(GUID iGuidB) override;
    HRESULT QORJOB_STDCALL get_ContextObjectJ(IUnknown** oContextObjectJ) override;
    HRESULT QORJOB_STDCALL put_ContextObjectJ(IUnknown* iContextObjectJ) override;
    HRESULT QORJOB_STDCALL get_ContextObjectK(IUnknown** oContextObjectK) override;
    HRESULT QORJOB_STDCALL put_ContextObjectK(IUnknown* iContextObjectK) override;
    HRESULT QORJOB_STDCALL get_ContextObjectL(IUnknown** oContextObjectL) override;
    HRESULT QORJOB_STDCALL put_ContextObjectL(IUnknown* iContextObjectL) override;
    HRESULT QORJOB_STDCALL get_LongF(LONG* oLongF) override;
    HRESULT QORJOB_STDCALL put_LongF(LONG iLongF) override;
    HRESULT QORJOB_STDCALL get_InMessage(ICKDXReadMessage** oInMessage) override;
    HRESULT QORJOB_STDCALL get_ContextObjectD(IUnknown** oContextObjectD) override;
    HRESULT QORJOB_STDCALL get_OutMessage(ICKDXWriteMessage** oOutMessage) override;
    HRESULT QORJOB_STDCALL get_LongH(LONG* oLongH) override;
    HRESULT QORJOB_STDCALL InMessageQueryA(IUnknown* iArgument) override;
    HRESULT QORJOB_STDCALL InMessageQueryB(IUnknown* iArgument) override;
    HRESULT QORJOB_STDCALL get_LongG(LONG* oLongG) override;
    HRESULT QORJOB_STDCALL get_ContextObjectM(IUnknown** oContextObjectM) override;
    HRESULT QORJOB_STDCALL put_ContextObjectM(IUnknown* iContextObjectM) override;
    HRESULT QORJOB_STDCALL get_ContextObjectN(IUnknown** oContextObjectN) override;
    HRESULT QORJOB_STDCALL put_ContextObjectN(IUnknown* iContextObjectN) override;
    HRESULT QORJOB_STDCALL get_ContextObjectO(IUnknown** oContextObjectO) override;
    HRESULT QORJOB_STDCALL put_ContextObjectO(IUnknown* iContextObjectO) override;
    HRESULT QORJOB_STDCALL get_ContextObjectP(IUnknown** oContextObjectP) override;
    HRESULT QORJOB_STDCALL put_ContextObjectP(IUnknown* iContextObjectP) override;
    HRESULT QORJOB_STDCALL get_LimitA(LONG* oLimitA) override;
    HRESULT QORJOB_STDCALL put_LimitA(LONG iLimitA) override;
    void QORJOB_STDCALL put_SharedHandle(const std::shared_ptr<JobMemGovernor>& iSharedHandle) override;
    std::shared_ptr<JobMemGovernor> QORJOB_STDCALL get_SharedHandle() override;
    HRESULT QORJOB_STDCALL get_LimitB(LONG* oLimitB) override;
    HRESULT QORJOB_STDCALL put_LimitB(LONG iLimitB) override;
    HRESULT QORJOB_STDCALL get_LongI(LONG* oLongI) override;
    HRESULT QORJOB_STDCALL put_LongI(LONG iLongI) override;
    HRESULT QORJOB_STDCALL get_LongJ(LONG* oLongJ) override;
    HRESULT QORJOB_STDCALL put_LongJ(LONG iLongJ) override;
    HRESULT QORJOB_STDCALL get_LongK(LONG* oLongK) override;
    HRESULT QORJOB_STDCALL put_LongK(LONG iLongK) override;
    HRESULT QORJOB_STDCALL get_ContextObjectT(IUnknown** oContextObjectT) override;
    HRESULT QORJOB_STDCALL put_ContextObjectT(IUnknown* iContextObjectT) override;
    HRESULT QORJOB_STDCALL put_ContextObjectU(IUnknown* iContextObjectU) override;
    HRESULT QORJOB_STDCALL get_ContextObjectU(IUnknown** oContextObjectU) override;
    HRESULT QORJOB_STDCALL put_GuidD(GUID iGuidD) override;
    HRESULT QORJOB_STDCALL get_GuidD(GUID* oGuidD) override;
    LONG QORJOB_STDCALL GetLongL() override;
    HRESULT QORJOB_STDCALL put_LongL(LONG iLongL) override;
    HRESULT QORJOB_STDCALL SetNamedPair(const QBase::WCHAR* iName, LONG iFirst, LONG iSecond) override;
    HRESULT QORJOB_STDCALL GetNamedPair(const QBase::WCHAR* iName, LONG* oFirst, LONG* oSecond) override;
    HRESULT QORJOB_STDCALL SetBuffer(std::uint64_t iLength, BYTE* iBuffer) override;
    HRESULT QORJOB_STDCALL TakeBuffer(int iMode, std::uint64_t* oLength, BYTE** oBuffer) override;
    HRESULT QORJOB_STDCALL GetTextByGuidBstr(const GUID& iGuid, BSTR* oText) override;
    HRESULT QORJOB_STDCALL Reserved1() override;
    HRESULT QORJOB_STDCALL Reserved2() override;
    HRESULT QORJOB_STDCALL get_LongM(LONG* oLongM) override;
    HRESULT QORJOB_STDCALL put_LongM(LONG iLongM) override;
    HRESULT QORJOB_STDCALL get_ContextObjectV(IUnknown** oContextObjectV) override;
    HRESULT QORJOB_STDCALL put_ContextObjectV(IUnknown* iContextObjectV) override;
    HRESULT QORJOB_STDCALL put_ShortB(std::int16_t iShortB) override;
    HRESULT QORJOB_STDCALL get_ShortB(std::int16_t* oShortB) override;
    HRESULT QORJOB_STDCALL SetGuidList(int iCount, const GUID* iGuids) override;
    HRESULT QORJOB_STDCALL GetGuidCount(int* oCount) override;
    HRESULT QORJOB_STDCALL GetGuidList(int iCount, GUID* oGuids) override;
    HRESULT QORJOB_STDCALL put_LongH(LONG iLongH) override;
    HRESULT QORJOB_STDCALL put_BstrA(BSTR iBstrA) override;
    HRESULT QORJOB_STDCALL get_BstrA(BSTR* oBstrA) override;
    HRESULT QORJOB_STDCALL get_GuidE(GUID* oGuidE) override;
    HRESULT QORJOB_STDCALL put_GuidE(GUID iGuidE) override;
    HRESULT QORJOB_STDCALL put_FlagA(VARIANT_BOOL iFlagA) override;
    HRESULT QORJOB_STDCALL get_FlagA(VARIANT_BOOL* oFlagA) override;
    HRESULT QORJOB_STDCALL put_BstrB(BSTR iBstrB) override;
    HRESULT QORJOB_STDCALL get_BstrB(BSTR* oBstrB) override;
    HRESULT QORJOB_STDCALL AddStatusMessage(HRESULT iMessageId, const QBase::WCHAR* iTemplate) override;
    HRESULT QORJOB_STDCALL put_LevelA(LONG iLevelA) override;
    HRESULT QORJOB_STDCALL get_LevelA(LONG* oLevelA) override;
    HRESULT QORJOB_STDCALL get_ContextObjectQ(IUnknown** oContextObjectQ) override;
    void QORJOB_STDCALL put_ContextObjectQ(IUnknown* iContextObjectQ) override;
    void QORJOB_STDCALL put_BstrC(BSTR iBstrC) override;
    HRESULT QORJOB_STDCALL get_BstrC(BSTR* oBstrC) override;
    HRESULT QORJOB_STDCALL put_HandleA(QBase::Counted* iHandleA) override;
    HRESULT QORJOB_STDCALL get_HandleA(QBase::Counted** oHandleA) override;
    void QORJOB_STDCALL put_BstrD(BSTR iBstrD) override;
    HRESULT QORJOB_STDCALL get_BstrD(BSTR* oBstrD) override;
    HRESULT QORJOB_STDCALL put_GuidG(GUID iGuidG) override;
    HRESULT QORJOB_STDCALL get_GuidG(GUID* oGuidG) override;
    HRESULT QORJOB_STDCALL put_TextC(const QBase::WCHAR* iTextC) override;
    const QBase::WCHAR* QORJOB_STDCALL GetTextC() override;
    const GUID* QORJOB_STDCALL GetGuidARef() override;
    HRESULT QORJOB_STDCALL ResolveObjectID(GUID* oObjectID) override;
    HRESULT QORJOB_STDCALL put_HandleB(QBase::Counted* iHandleB) override;
    HRESULT QORJOB_STDCALL get_HandleB(QBase::Counted** oHandleB) override;
    HRESULT QORJOB_STDCALL CopyLogProperties(std::map<std::string, std::string>* oProperties) override;
    HRESULT QORJOB_STDCALL GetLogMessageInJSON(std::string* oMessage) override;
    HRESULT QORJOB_STDCALL SetLogProperty(const char* iKey, const char* iValue) override;
    HRESULT QORJOB_STDCALL ClearLogProperties() override;
    HRESULT QORJOB_STDCALL CallContextObjectA(IUnknown* iArgument) override;
    void QORJOB_STDCALL put_BstrE(BSTR iBstrE) override;
    HRESULT QORJOB_STDCALL get_BstrE(BSTR* oBstrE) override;
    int QORJOB_STDCALL IsInMessageEmpty() override;
    HRESULT QORJOB_STDCALL BeginThreadMessage() override;
    void QORJOB_STDCALL EndThreadMessage(DWORD iThreadId) override;

protected:
    CKDXProcessContext();
    ~CKDXProcessContext() override;

private:
    using Object = QBase::PtrI<IUnknown>;
    using Handle = QBase::PtrI<QBase::Counted>;
    using WriteMessage = QBase::PtrI<ICKDXWriteMessage>;
    using ReadMessage = QBase::PtrI<ICKDXReadMessage>;

    struct GuidOrder
    {
        bool operator()(const GUID& iLeft, const GUID& iRight) const;
    };

    using TextTable = QBase::map<GUID, QBase::wstring, GuidOrder>;

    /// The unique id of a request, 20 bytes.
    struct Udid
    {
        GUID mGuid = GUID_NULL;
        DWORD mNumber = 0;
    };

    // The helpers of the rows: CKDXProcessContextRows.h.
    template <class T>
    HRESULT GetLocked(const T& iField, T* oValue, HRESULT iNullCode = E_POINTER);
    template <class T>
    static HRESULT GetUnlocked(const Unlocked<T>& iField, T* oValue, HRESULT iNullCode = E_POINTER);
    template <class Field, class T>
    HRESULT PutLocked(Field& oField, const T& iValue);
    template <class T>
    static HRESULT PutUnlocked(Unlocked<T>& oField, const T& iValue);
    template <class... T>
    static HRESULT ReleaseAll(QBase::PtrI<T>&... ioObjects);
    template <class T>
    HRESULT GetObjectLocked(const QBase::PtrI<T>& iField, T** oObject, HRESULT iNullCode = E_POINTER);
    template <class T>
    QBase::PtrI<T> CopyLocked(const QBase::PtrI<T>& iField);
    template <class T>
    QBase::PtrI<T> ExchangeLocked(QBase::PtrI<T>& ioField, T* iObject);
    template <class T>
    HRESULT PutObjectLocked(QBase::PtrI<T>& oField, T* iObject);
    template <class T>
    HRESULT PutOtherObjectLocked(QBase::PtrI<T>& oField, T* iObject);
    template <class T>
    HRESULT PutObjectNotNullLocked(QBase::PtrI<T>& oField, T* iObject);
    HRESULT GetObjectOrFalseLocked(const Object& iField, IUnknown** oObject);
    HRESULT PutLinkLocked(Object& oField, IUnknown* iObject, Object& oTwin);
    HRESULT GetTextLocked(const QBase::wstring& iField, BSTR* oText, HRESULT iNullCode, HRESULT iEmptyCode);
    HRESULT PutTextLocked(QBase::wstring& oField, BSTR iText);
    static HRESULT PutTextUnlocked(Unlocked<QBase::wstring>& oField, BSTR iText);

    HRESULT SetRequest(LONG iCode, ICKDXReadMessage* iInMessage, ICKDXWriteMessage* iOutMessage,
                       ICKDXWriteMessage* iReplyMessage, IUnknown* iContextObjectD, const GUID& iRequestID);
    HRESULT AskInMessage(HRESULT (QORJOB_STDCALL ICKDXReadMessageHead::*iQuestion)(IUnknown*), IUnknown* iArgument);
    HRESULT MakeReplyMessage() QORJOB_REQUIRES(mpLock);
    HRESULT NewMessageFromInput(WriteMessage& oMessage) QORJOB_REQUIRES(mpLock);
    WriteMessage CurrentMessage(DWORD iThreadId, const WriteMessage& iReplyMessage)
        QORJOB_REQUIRES(mpThreadMessagesLock);
    QBase::wstring FetchResolvedName();
    std::map<std::string, std::string> GetLogProperties();

    // Each field is guarded, or Unlocked by contract. The few others never change, or no operation reads them.

    Object mMarshaler;
    QDataType::DateTime mCreationTime;
    QDataType::DateTime mTimestamp2;
    QDataType::DateTime mTimestamp3;
    Unlocked<LONG> mUserContextLogFlag = 0;
    Object mContextObjectA QORJOB_GUARDED_BY(mpLock);
    Object mContextObjectB QORJOB_GUARDED_BY(mpLock);
    Object mContextObjectC QORJOB_GUARDED_BY(mpLock);
    WriteMessage mOutMessage QORJOB_GUARDED_BY(mpLock);
    ReadMessage mInMessage QORJOB_GUARDED_BY(mpLock);
    WriteMessage mReplyMessage QORJOB_GUARDED_BY(mpLock);
    Object mContextObjectD QORJOB_GUARDED_BY(mpLock);
    const QSynch::CriticalSectionPtr mpThreadMessagesLock;
    QBase::map<DWORD, WriteMessage> mThreadMessages QORJOB_GUARDED_BY(mpThreadMessagesLock);
    Object mContextObjectE QORJOB_GUARDED_BY(mpLock);
    GUID mRequestID QORJOB_GUARDED_BY(mpLock) = GUID_NULL;
    LONG mLongA QORJOB_GUARDED_BY(mpLock) = -1;
    LONG mLongB QORJOB_GUARDED_BY(mpLock) = -1;
    LONG mLongC = -1;
    Unlocked<LONG> mRequestCode = -1;
    Unlocked<LONG> mLongD = 0;
    Unlocked<LONG> mLongE = -2;
    Unlocked<GUID> mGuidA = GUID_NULL;
    QBase::wstring mResolvedName QORJOB_GUARDED_BY(mpLock);
    Handle mHandleC; // no operation reads it
    Unlocked<QBase::wstring> mTextB;
    std::int16_t mShortA QORJOB_GUARDED_BY(mpLock) = 0;
    Object mLinkA QORJOB_GUARDED_BY(mpLock);
    Object mLinkB QORJOB_GUARDED_BY(mpLock);
    Object mContextObjectF QORJOB_GUARDED_BY(mpLock);
    Object mContextObjectG QORJOB_GUARDED_BY(mpLock);
    Object mContextObjectH QORJOB_GUARDED_BY(mpLock);
    Object mContextObjectI QORJOB_GUARDED_BY(mpLock);
    Object mContextObjectJ QORJOB_GUARDED_BY(mpLock);
    GUID mGuidB QORJOB_GUARDED_BY(mpLock) = GUID_NULL;
    Unlocked<LONG> mLevelA = cLevelNotSet;
    Object mContextObjectK QORJOB_GUARDED_BY(mpLock);
    Unlocked<std::shared_ptr<JobMemGovernor>> mSharedHandle;
    Object mContextObjectL QORJOB_GUARDED_BY(mpLock);
    Unlocked<GUID> mGuidC = GUID_NULL;
    LONG mLongF QORJOB_GUARDED_BY(mpLock) = 0;
    Unlocked<LONG> mTextBSetCount = 0;
    Unlocked<LONG> mRequestCodeSetCount = 0;
    Unlocked<LONG> mLongG = 0;
    Unlocked<LONG> mLongH = 0;
    Object mContextObjectM QORJOB_GUARDED_BY(mpLock);
    Object mContextObjectN QORJOB_GUARDED_BY(mpLock);
    Object mContextObjectO QORJOB_GUARDED_BY(mpLock);
    Object mContextObjectP QORJOB_GUARDED_BY(mpLock);
    GUID mReservedGuid1 = GUID_NULL;
    Object mContextObjectQ QORJOB_GUARDED_BY(mpLock);
    LONG mLimitA QORJOB_GUARDED_BY(mpLock) = cLimitNotSet;
    LONG mLimitB QORJOB_GUARDED_BY(mpLock) = cLimitNotSet;
    LONG mLongI QORJOB_GUARDED_BY(mpLock) = 0;
    Unlocked<LONG> mLongJ = 0;
    LONG mLongK QORJOB_GUARDED_BY(mpLock) = 0;
    Unlocked<LONG> mLongL = 0;
    TextTable mTextByGuid QORJOB_GUARDED_BY(mpLock);
    Object mContextObjectR QORJOB_GUARDED_BY(mpLock);
    Unlocked<QBase::map<QBase::wstring, std::pair<LONG, LONG>>> mPairByName;
    Object mContextObjectS QORJOB_GUARDED_BY(mpLock);
    Unlocked<BYTE*> mpBuffer = nullptr; // owned, on the general heap
    Unlocked<std::uint64_t> mBufferLength = 0;
    Udid mRequestUdid;
    Object mContextObjectT QORJOB_GUARDED_BY(mpLock);
    GUID mReservedGuid2 = GUID_NULL;
    Object mContextObjectU QORJOB_GUARDED_BY(mpLock);
    Unlocked<GUID> mGuidD = GUID_NULL;
    Unlocked<GUID> mGuidE = GUID_NULL;
    LONG mLongM QORJOB_GUARDED_BY(mpLock) = 0;
    Object mContextObjectV QORJOB_GUARDED_BY(mpLock);
    std::int16_t mShortB QORJOB_GUARDED_BY(mpLock) = 0;
    QBase::vector<GUID> mGuidList QORJOB_GUARDED_BY(mpLock);
    QBase::map<int, int> mReservedMap;
    GUID mGuidF QORJOB_GUARDED_BY(mpLock) = GUID_NULL;
    QBase::wstring mBstrA QORJOB_GUARDED_BY(mpLock);
    bool mbFlagA QORJOB_GUARDED_BY(mpLock) = true;
    QBase::wstring mBstrB QORJOB_GUARDED_BY(mpLock);
    Unlocked<QBase::wstring> mBstrC;
    Unlocked<QBase::wstring> mBstrD;
    Unlocked<GUID> mGuidG = GUID_NULL;
    Unlocked<QBase::wstring> mTextC;
    Handle mHandleA QORJOB_GUARDED_BY(mpLock);
    Handle mHandleB QORJOB_GUARDED_BY(mpLock);
    GUID mReservedGuid3 = GUID_NULL;
    QBase::map<QBase::string, QBase::string> mLogProperties QORJOB_GUARDED_BY(mpLock);
    QBase::wstring mBstrE QORJOB_GUARDED_BY(mpLock);
    GUID mReservedGuid4 = GUID_NULL;

    static constexpr LONG cLevelNotSet = 127;
    static constexpr LONG cLimitNotSet = 999;
};

/// Makes a context. E_OUTOFMEMORY, or the code of its final construction.
QORJOB_API HRESULT CreateProcessContext(QBase::PtrI<CKDXProcessContext>& oContext);
