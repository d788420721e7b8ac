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
    virtual ICKDXProcessContext* GetInterface();
    virtual HRESULT put_LongG(LONG iLongG);
    virtual HRESULT get_LinkB(IUnknown** oLinkB);
    virtual HRESULT put_LinkB(IUnknown* iLinkB);
    /// Replaces the messages; the count of put_RequestCode stays.
    virtual HRESULT SetRequestIn(LONG iCode, ICKDXReadMessage* iInMessage, ICKDXWriteMessage* iReplyMessage,
                                 IUnknown* iContextObjectD, GUID iRequestID);
    virtual HRESULT SetRequestOut(LONG iCode, ICKDXWriteMessage* iOutMessage, ICKDXWriteMessage* iReplyMessage,
                                  IUnknown* iContextObjectD, GUID iRequestID);
    /// Without an output message nothing happens.
    virtual HRESULT ConvertOutToIn();
    virtual HRESULT get_LongD(LONG* oLongD);
    virtual HRESULT put_LongD(LONG iLongD);
    virtual HRESULT get_LongE(LONG* oLongE);
    virtual HRESULT put_LongE(LONG iLongE);
    virtual HRESULT get_GuidA(GUID* oGuidA);
    virtual HRESULT put_GuidA(GUID iGuidA);
    virtual HRESULT get_GuidC(GUID* oGuidC);
    virtual HRESULT put_GuidC(GUID iGuidC);
    virtual HRESULT SetTextByGuid(const GUID& iGuid, BSTR iText);
    /// Empties `ioText`.
    virtual HRESULT MoveTextByGuid(const GUID& iGuid, QBase::wstring& ioText);
    /// Leaves `oText` unchanged when there is no text.
    virtual HRESULT GetTextByGuid(const GUID& iGuid, QBase::wstring& oText);
    virtual HRESULT CopyTextTable(CKDXProcessContext* iOther);
    virtual HRESULT put_ContextObjectR(IUnknown* iContextObjectR);
    virtual HRESULT get_ContextObjectR(IUnknown** oContextObjectR);
    virtual HRESULT put_ContextObjectS(IUnknown* iContextObjectS);
    virtual HRESULT get_ContextObjectS(IUnknown** oContextObjectS);
    virtual HRESULT get_GuidF(GUID* oGuidF);

    // --- ICKDXProcessContext, in the order of its slots --------------------------------------------------------------

    HRESULT get_RequestCode(LONG* oRequestCode) override;
    HRESULT put_RequestCode(LONG iRequestCode) override;
    HRESULT get_RequestID(GUID* oRequestID) override;
    HRESULT get_ReplyMessage(IUnknown** oItem) override;
    HRESULT get_LongB(LONG* oLongB) override;
    HRESULT put_LongB(LONG iLongB) override;
    HRESULT get_InMessageItem(IUnknown** oItem) override;
    HRESULT get_ContextObjectDItem(IUnknown** oItem) override;
    HRESULT get_ContextObjectB(IUnknown** oContextObjectB) override;
    HRESULT put_ContextObjectB(IUnknown* iContextObjectB) override;
    HRESULT get_ContextObjectE(IUnknown** oContextObjectE) override;
    HRESULT put_ContextObjectE(IUnknown* iContextObjectE) override;
    HRESULT get_ContextObjectA(IUnknown** oContextObjectA) override;
    HRESULT put_ContextObjectA(IUnknown* iContextObjectA) override;
    HRESULT get_ResolvedName(BSTR* oResolvedName) override;
    HRESULT get_UserContextLogFlag(LONG* oUserContextLogFlag) override;
    HRESULT put_UserContextLogFlag(LONG iUserContextLogFlag) override;
    HRESULT get_ContextObjectC(IUnknown** oContextObjectC) override;
    HRESULT put_ContextObjectC(IUnknown* iContextObjectC) override;
    HRESULT get_ShortA(std::int16_t* oShortA) override;
    HRESULT put_ShortA(std::int16_t iShortA) override;
    HRESULT get_LinkA(IUnknown** oLinkA) override;
    HRESULT put_LinkA(IUnknown* iLinkA) override;
    HRESULT get_ContextObjectF(IUnknown** oContextObjectF) override;
    HRESULT put_ContextObjectF(IUnknown* iContextObjectF) override;
    HRESULT get_ContextObjectG(IUnknown** oContextObjectG) override;
    HRESULT put_ContextObjectG(IUnknown* iContextObjectG) override;
    HRESULT get_ContextObjectH(IUnknown** oContextObjectH) override;
    HRESULT put_ContextObjectH(IUnknown* iContextObjectH) override;
    HRESULT get_LongA(LONG* oLongA) override;
    HRESULT put_LongA(LONG iLongA) override;
    HRESULT get_ContextObjectI(IUnknown** oContextObjectI) override;
    HRESULT put_ContextObjectI(IUnknown* iContextObjectI) override;
    HRESULT get_TextB(BSTR* oTextB) override;
    HRESULT put_TextB(const QBase::WCHAR* iTextB) override;
    HRESULT get_GuidB(GUID* oGuidB) override;
    HRESULT put_GuidB(GUID iGuidB) override;
    HRESULT get_ContextObjectJ(IUnknown** oContextObjectJ) override;
    HRESULT put_ContextObjectJ(IUnknown* iContextObjectJ) override;
    HRESULT get_ContextObjectK(IUnknown** oContextObjectK) override;
    HRESULT put_ContextObjectK(IUnknown* iContextObjectK) override;
    HRESULT get_ContextObjectL(IUnknown** oContextObjectL) override;
    HRESULT put_ContextObjectL(IUnknown* iContextObjectL) override;
    HRESULT get_LongF(LONG* oLongF) override;
    HRESULT put_LongF(LONG iLongF) override;
    HRESULT get_InMessage(ICKDXReadMessage** oInMessage) override;
    HRESULT get_ContextObjectD(IUnknown** oContextObjectD) override;
    HRESULT get_OutMessage(ICKDXWriteMessage** oOutMessage) override;
    HRESULT get_LongH(LONG* oLongH) override;
    HRESULT InMessageQueryA(IUnknown* iArgument) override;
    HRESULT InMessageQueryB(IUnknown* iArgument) override;
    HRESULT get_LongG(LONG* oLongG) override;
    HRESULT get_ContextObjectM(IUnknown** oContextObjectM) override;
    HRESULT put_ContextObjectM(IUnknown* iContextObjectM) override;
    HRESULT get_ContextObjectN(IUnknown** oContextObjectN) override;
    HRESULT put_ContextObjectN(IUnknown* iContextObjectN) override;
    HRESULT get_ContextObjectO(IUnknown** oContextObjectO) override;
    HRESULT put_ContextObjectO(IUnknown* iContextObjectO) override;
    HRESULT get_ContextObjectP(IUnknown** oContextObjectP) override;
    HRESULT put_ContextObjectP(IUnknown* iContextObjectP) override;
    HRESULT get_LimitA(LONG* oLimitA) override;
    HRESULT put_LimitA(LONG iLimitA) override;
    void put_SharedHandle(const std::shared_ptr<JobMemGovernor>& iSharedHandle) override;
    std::shared_ptr<JobMemGovernor> get_SharedHandle() override;
    HRESULT get_LimitB(LONG* oLimitB) override;
    HRESULT put_LimitB(LONG iLimitB) override;
    HRESULT get_LongI(LONG* oLongI) override;
    HRESULT put_LongI(LONG iLongI) override;
    HRESULT get_LongJ(LONG* oLongJ) override;
    HRESULT put_LongJ(LONG iLongJ) override;
    HRESULT get_LongK(LONG* oLongK) override;
    HRESULT put_LongK(LONG iLongK) override;
    HRESULT get_ContextObjectT(IUnknown** oContextObjectT) override;
    HRESULT put_ContextObjectT(IUnknown* iContextObjectT) override;
    HRESULT put_ContextObjectU(IUnknown* iContextObjectU) override;
    HRESULT get_ContextObjectU(IUnknown** oContextObjectU) override;
    HRESULT put_GuidD(GUID iGuidD) override;
    HRESULT get_GuidD(GUID* oGuidD) override;
    LONG GetLongL() override;
    HRESULT put_LongL(LONG iLongL) override;
    HRESULT SetNamedPair(const QBase::WCHAR* iName, LONG iFirst, LONG iSecond) override;
    HRESULT GetNamedPair(const QBase::WCHAR* iName, LONG* oFirst, LONG* oSecond) override;
    HRESULT SetBuffer(std::uint64_t iLength, BYTE* iBuffer) override;
    HRESULT TakeBuffer(int iMode, std::uint64_t* oLength, BYTE** oBuffer) override;
    HRESULT GetTextByGuidBstr(const GUID& iGuid, BSTR* oText) override;
    HRESULT Reserved1() override;
    HRESULT Reserved2() override;
    HRESULT get_LongM(LONG* oLongM) override;
    HRESULT put_LongM(LONG iLongM) override;
    HRESULT get_ContextObjectV(IUnknown** oContextObjectV) override;
    HRESULT put_ContextObjectV(IUnknown* iContextObjectV) override;
    HRESULT put_ShortB(std::int16_t iShortB) override;
    HRESULT get_ShortB(std::int16_t* oShortB) override;
    HRESULT SetGuidList(int iCount, const GUID* iGuids) override;
    HRESULT GetGuidCount(int* oCount) override;
    HRESULT GetGuidList(int iCount, GUID* oGuids) override;
    HRESULT put_LongH(LONG iLongH) override;
    HRESULT put_BstrA(BSTR iBstrA) override;
    HRESULT get_BstrA(BSTR* oBstrA) override;
    HRESULT get_GuidE(GUID* oGuidE) override;
    HRESULT put_GuidE(GUID iGuidE) override;
    HRESULT put_FlagA(VARIANT_BOOL iFlagA) override;
    HRESULT get_FlagA(VARIANT_BOOL* oFlagA) override;
    HRESULT put_BstrB(BSTR iBstrB) override;
    HRESULT get_BstrB(BSTR* oBstrB) override;
    HRESULT AddStatusMessage(HRESULT iMessageId, const QBase::WCHAR* iTemplate) override;
    HRESULT put_LevelA(LONG iLevelA) override;
    HRESULT get_LevelA(LONG* oLevelA) override;
    HRESULT get_ContextObjectQ(IUnknown** oContextObjectQ) override;
    void put_ContextObjectQ(IUnknown* iContextObjectQ) override;
    void put_BstrC(BSTR iBstrC) override;
    HRESULT get_BstrC(BSTR* oBstrC) override;
    HRESULT put_HandleA(QBase::Counted* iHandleA) override;
    HRESULT get_HandleA(QBase::Counted** oHandleA) override;
    void put_BstrD(BSTR iBstrD) override;
    HRESULT get_BstrD(BSTR* oBstrD) override;
    HRESULT put_GuidG(GUID iGuidG) override;
    HRESULT get_GuidG(GUID* oGuidG) override;
    HRESULT put_TextC(const QBase::WCHAR* iTextC) override;
    const QBase::WCHAR* GetTextC() override;
    const GUID* GetGuidARef() override;
    HRESULT ResolveObjectID(GUID* oObjectID) override;
    HRESULT put_HandleB(QBase::Counted* iHandleB) override;
    HRESULT get_HandleB(QBase::Counted** oHandleB) override;
    HRESULT CopyLogProperties(std::map<std::string, std::string>* oProperties) override;
    HRESULT GetLogMessageInJSON(std::string* oMessage) override;
    HRESULT SetLogProperty(const char* iKey, const char* iValue) override;
    HRESULT ClearLogProperties() override;
    HRESULT CallContextObjectA(IUnknown* iArgument) override;
    void put_BstrE(BSTR iBstrE) override;
    HRESULT get_BstrE(BSTR* oBstrE) override;
    int IsInMessageEmpty() override;
    HRESULT BeginThreadMessage() override;
    void EndThreadMessage(DWORD iThreadId) override;

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
    HRESULT AskInMessage(HRESULT (ICKDXReadMessageHead::*iQuestion)(IUnknown*), IUnknown* iArgument);
    HRESULT MakeReplyMessage() QORJOB_REQUIRES(mpLock);
    HRESULT NewMessageFromInput(WriteMessage& oMessage) QORJOB_REQUIRES(mpLock);
    WriteMessage CurrentMessage(DWORD iThreadId, const WriteMessage& iReplyMessage)
        QORJOB_REQUIRES(mpThreadMessagesLock);
    QBase::wstring FetchResolvedName();
    std::map<std::string, std::string> GetLogProperties();

    // Each field is guarded, or Unlocked by contract. The few others never change, or no operation reads them.

    Object mMarshaler;
    QDataType::DateTime mCreationTime{0.0};
    QDataType::DateTime mTimestamp2{0.0};
    QDataType::DateTime mTimestamp3{0.0};
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
