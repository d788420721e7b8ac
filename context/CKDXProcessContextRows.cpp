// The rows: operations that store or give one field. Those with a rule of their own are in the other files.
#include "context/CKDXProcessContextRows.h"

namespace
{

QBase::wstring TextOf(BSTR iText)
{
    return iText == nullptr ? QBase::wstring() : QBase::wstring(iText, SysStringLen(iText));
}

} // namespace

HRESULT CKDXProcessContext::GetObjectOrFalseLocked(const Object& iField, IUnknown** oObject)
{
    const HRESULT code = GetObjectLocked(iField, oObject);
    return code == S_OK && *oObject == nullptr ? S_FALSE : code;
}

/// The two links live and die together: clearing one clears the other, in one hold of the lock.
HRESULT CKDXProcessContext::PutLinkLocked(Object& oField, IUnknown* iObject, Object& oTwin)
{
    return Boundary([&] {
        Object object(iObject);
        Object twin;
        {
            SmartLock lock(mpLock);
            std::swap(oField, object);
            if (iObject == nullptr)
                std::swap(oTwin, twin);
        }
        for (Object* old : {&object, &twin})
        {
            if (*old)
                old->Detach()->Release(); // as in PutObjectLocked
        }
        return S_OK;
    });
}

HRESULT CKDXProcessContext::GetTextLocked(const QBase::wstring& iField, BSTR* oText, HRESULT iNullCode,
                                          HRESULT iEmptyCode)
{
    if (oText == nullptr)
        return iNullCode;
    *oText = nullptr;
    SmartLock lock(mpLock);
    if (iField.empty())
        return iEmptyCode;
    *oText = SysAllocStringLen(iField.data(), static_cast<unsigned>(iField.size()));
    return *oText == nullptr ? E_OUTOFMEMORY : S_OK;
}

HRESULT CKDXProcessContext::PutTextLocked(QBase::wstring& oField, BSTR iText)
{
    return Boundary([&] {
        QBase::wstring text = TextOf(iText);
        SmartLock lock(mpLock);
        oField.swap(text);
        return S_OK;
    });
}

HRESULT CKDXProcessContext::PutTextUnlocked(QBase::wstring& oField, BSTR iText)
{
    return Boundary([&] {
        oField = TextOf(iText);
        return S_OK;
    });
}

// clang-format off

HRESULT CKDXProcessContext::get_RequestID(GUID* oRequestID) { return GetLocked(mRequestID, oRequestID); }
HRESULT CKDXProcessContext::get_LongA(LONG* oLongA) { return GetLocked(mLongA, oLongA); }
HRESULT CKDXProcessContext::put_LongA(LONG iLongA) { return PutLocked(mLongA, iLongA); }
HRESULT CKDXProcessContext::get_LongB(LONG* oLongB) { return GetLocked(mLongB, oLongB); }
HRESULT CKDXProcessContext::put_LongB(LONG iLongB) { return PutLocked(mLongB, iLongB); }
HRESULT CKDXProcessContext::get_LongD(LONG* oLongD) { return GetUnlocked(mLongD, oLongD); }
HRESULT CKDXProcessContext::put_LongD(LONG iLongD) { return PutUnlocked(mLongD, iLongD); }
HRESULT CKDXProcessContext::get_LongE(LONG* oLongE) { return GetUnlocked(mLongE, oLongE); }
HRESULT CKDXProcessContext::put_LongE(LONG iLongE) { return PutUnlocked(mLongE, iLongE); }
HRESULT CKDXProcessContext::get_LongF(LONG* oLongF) { return GetLocked(mLongF, oLongF); }
HRESULT CKDXProcessContext::put_LongF(LONG iLongF) { return PutLocked(mLongF, iLongF); }
HRESULT CKDXProcessContext::get_LongG(LONG* oLongG) { return GetUnlocked(mLongG, oLongG); }
HRESULT CKDXProcessContext::put_LongG(LONG iLongG) { return PutLocked(mLongG, iLongG); }
HRESULT CKDXProcessContext::get_LongH(LONG* oLongH) { return GetUnlocked(mLongH, oLongH); }
HRESULT CKDXProcessContext::put_LongH(LONG iLongH) { return PutLocked(mLongH, iLongH); }
HRESULT CKDXProcessContext::get_LongI(LONG* oLongI) { return GetLocked(mLongI, oLongI); }
HRESULT CKDXProcessContext::put_LongI(LONG iLongI) { return PutLocked(mLongI, iLongI); }
HRESULT CKDXProcessContext::get_LongJ(LONG* oLongJ) { return GetUnlocked(mLongJ, oLongJ); }
HRESULT CKDXProcessContext::put_LongJ(LONG iLongJ) { return PutUnlocked(mLongJ, iLongJ); }
HRESULT CKDXProcessContext::get_LongK(LONG* oLongK) { return GetLocked(mLongK, oLongK); }
HRESULT CKDXProcessContext::put_LongK(LONG iLongK) { return PutLocked(mLongK, iLongK); }
LONG CKDXProcessContext::GetLongL() { return mLongL; }
HRESULT CKDXProcessContext::put_LongL(LONG iLongL) { return PutUnlocked(mLongL, iLongL); }
HRESULT CKDXProcessContext::get_LongM(LONG* oLongM) { return GetLocked(mLongM, oLongM); }
HRESULT CKDXProcessContext::put_LongM(LONG iLongM) { return PutLocked(mLongM, iLongM); }
HRESULT CKDXProcessContext::get_LimitA(LONG* oLimitA) { return GetLocked(mLimitA, oLimitA); }
HRESULT CKDXProcessContext::put_LimitA(LONG iLimitA) { return PutLocked(mLimitA, iLimitA); }
HRESULT CKDXProcessContext::get_LimitB(LONG* oLimitB) { return GetLocked(mLimitB, oLimitB); }
HRESULT CKDXProcessContext::put_LimitB(LONG iLimitB) { return PutLocked(mLimitB, iLimitB); }
HRESULT CKDXProcessContext::get_ShortA(std::int16_t* oShortA) { return GetLocked(mShortA, oShortA); }
HRESULT CKDXProcessContext::put_ShortA(std::int16_t iShortA) { return PutLocked(mShortA, iShortA); }
HRESULT CKDXProcessContext::get_ShortB(std::int16_t* oShortB) { return GetLocked(mShortB, oShortB); }
HRESULT CKDXProcessContext::put_ShortB(std::int16_t iShortB) { return PutLocked(mShortB, iShortB); }
HRESULT CKDXProcessContext::get_UserContextLogFlag(LONG* oFlag) { return GetUnlocked(mUserContextLogFlag, oFlag); }
HRESULT CKDXProcessContext::put_UserContextLogFlag(LONG iFlag) { return PutUnlocked(mUserContextLogFlag, iFlag); }
HRESULT CKDXProcessContext::put_LevelA(LONG iLevelA) { return PutUnlocked(mLevelA, iLevelA); }

HRESULT CKDXProcessContext::get_GuidA(GUID* oGuidA) { return GetUnlocked(mGuidA, oGuidA); }
HRESULT CKDXProcessContext::put_GuidA(GUID iGuidA) { return PutUnlocked(mGuidA, iGuidA); }
HRESULT CKDXProcessContext::get_GuidB(GUID* oGuidB) { return GetLocked(mGuidB, oGuidB); }
HRESULT CKDXProcessContext::put_GuidB(GUID iGuidB) { return PutLocked(mGuidB, iGuidB); }
HRESULT CKDXProcessContext::get_GuidC(GUID* oGuidC) { return GetUnlocked(mGuidC, oGuidC); }
HRESULT CKDXProcessContext::put_GuidC(GUID iGuidC) { return PutUnlocked(mGuidC, iGuidC); }
HRESULT CKDXProcessContext::get_GuidD(GUID* oGuidD) { return GetUnlocked(mGuidD, oGuidD); }
HRESULT CKDXProcessContext::put_GuidD(GUID iGuidD) { return PutUnlocked(mGuidD, iGuidD); }
HRESULT CKDXProcessContext::put_GuidE(GUID iGuidE) { return PutUnlocked(mGuidE, iGuidE); }
HRESULT CKDXProcessContext::get_GuidF(GUID* oGuidF) { return GetLocked(mGuidF, oGuidF, E_INVALIDARG); }
HRESULT CKDXProcessContext::put_GuidG(GUID iGuidG) { return PutUnlocked(mGuidG, iGuidG); }
const GUID* CKDXProcessContext::GetGuidARef() { return &mGuidA; }

HRESULT CKDXProcessContext::get_ContextObjectA(IUnknown** oObject) { return GetObjectLocked(mContextObjectA, oObject); }
HRESULT CKDXProcessContext::put_ContextObjectA(IUnknown* iObject) { return PutObjectNotNullLocked(mContextObjectA, iObject); }
HRESULT CKDXProcessContext::get_ContextObjectB(IUnknown** oObject) { return GetObjectLocked(mContextObjectB, oObject); }
HRESULT CKDXProcessContext::get_ContextObjectC(IUnknown** oObject) { return GetObjectLocked(mContextObjectC, oObject); }
HRESULT CKDXProcessContext::get_ContextObjectD(IUnknown** oObject) { return GetObjectLocked(mContextObjectD, oObject); }
HRESULT CKDXProcessContext::get_ContextObjectE(IUnknown** oObject) { return GetObjectLocked(mContextObjectE, oObject); }
HRESULT CKDXProcessContext::put_ContextObjectE(IUnknown* iObject) { return PutObjectNotNullLocked(mContextObjectE, iObject); }
HRESULT CKDXProcessContext::get_ContextObjectF(IUnknown** oObject) { return GetObjectLocked(mContextObjectF, oObject); }
HRESULT CKDXProcessContext::put_ContextObjectF(IUnknown* iObject) { return PutObjectLocked(mContextObjectF, iObject); }
HRESULT CKDXProcessContext::get_ContextObjectG(IUnknown** oObject) { return GetObjectLocked(mContextObjectG, oObject); }
HRESULT CKDXProcessContext::put_ContextObjectG(IUnknown* iObject) { return PutObjectLocked(mContextObjectG, iObject); }
HRESULT CKDXProcessContext::get_ContextObjectH(IUnknown** oObject) { return GetObjectLocked(mContextObjectH, oObject); }
HRESULT CKDXProcessContext::put_ContextObjectH(IUnknown* iObject) { return PutObjectLocked(mContextObjectH, iObject); }
HRESULT CKDXProcessContext::get_ContextObjectI(IUnknown** oObject) { return GetObjectLocked(mContextObjectI, oObject); }
HRESULT CKDXProcessContext::put_ContextObjectI(IUnknown* iObject) { return PutObjectLocked(mContextObjectI, iObject); }
HRESULT CKDXProcessContext::get_ContextObjectJ(IUnknown** oObject) { return GetObjectLocked(mContextObjectJ, oObject); }
HRESULT CKDXProcessContext::put_ContextObjectJ(IUnknown* iObject) { return PutObjectLocked(mContextObjectJ, iObject); }
HRESULT CKDXProcessContext::get_ContextObjectK(IUnknown** oObject) { return GetObjectLocked(mContextObjectK, oObject); }
HRESULT CKDXProcessContext::put_ContextObjectK(IUnknown* iObject) { return PutObjectLocked(mContextObjectK, iObject); }
HRESULT CKDXProcessContext::get_ContextObjectL(IUnknown** oObject) { return GetObjectLocked(mContextObjectL, oObject); }
HRESULT CKDXProcessContext::put_ContextObjectL(IUnknown* iObject) { return PutObjectLocked(mContextObjectL, iObject); }
HRESULT CKDXProcessContext::get_ContextObjectM(IUnknown** oObject) { return GetObjectLocked(mContextObjectM, oObject); }
HRESULT CKDXProcessContext::put_ContextObjectM(IUnknown* iObject) { return PutObjectLocked(mContextObjectM, iObject); }
HRESULT CKDXProcessContext::get_ContextObjectN(IUnknown** oObject) { return GetObjectLocked(mContextObjectN, oObject); }
HRESULT CKDXProcessContext::put_ContextObjectN(IUnknown* iObject) { return PutObjectLocked(mContextObjectN, iObject); }
HRESULT CKDXProcessContext::get_ContextObjectO(IUnknown** oObject) { return GetObjectOrFalseLocked(mContextObjectO, oObject); }
HRESULT CKDXProcessContext::get_ContextObjectP(IUnknown** oObject) { return GetObjectOrFalseLocked(mContextObjectP, oObject); }
HRESULT CKDXProcessContext::put_ContextObjectP(IUnknown* iObject) { return PutObjectLocked(mContextObjectP, iObject); }
HRESULT CKDXProcessContext::get_ContextObjectQ(IUnknown** oObject) { return GetObjectLocked(mContextObjectQ, oObject); }
void CKDXProcessContext::put_ContextObjectQ(IUnknown* iObject) { PutObjectLocked(mContextObjectQ, iObject); }
HRESULT CKDXProcessContext::get_ContextObjectR(IUnknown** oObject) { return GetObjectLocked(mContextObjectR, oObject, E_INVALIDARG); }
HRESULT CKDXProcessContext::put_ContextObjectR(IUnknown* iObject) { return PutObjectLocked(mContextObjectR, iObject); }
HRESULT CKDXProcessContext::get_ContextObjectS(IUnknown** oObject) { return GetObjectLocked(mContextObjectS, oObject, S_FALSE); }
HRESULT CKDXProcessContext::put_ContextObjectS(IUnknown* iObject) { return PutOtherObjectLocked(mContextObjectS, iObject); }
HRESULT CKDXProcessContext::get_ContextObjectT(IUnknown** oObject) { return GetObjectLocked(mContextObjectT, oObject); }
HRESULT CKDXProcessContext::put_ContextObjectT(IUnknown* iObject) { return PutObjectLocked(mContextObjectT, iObject); }
HRESULT CKDXProcessContext::get_ContextObjectU(IUnknown** oObject) { return GetObjectLocked(mContextObjectU, oObject); }
HRESULT CKDXProcessContext::put_ContextObjectU(IUnknown* iObject) { return PutObjectLocked(mContextObjectU, iObject); }
HRESULT CKDXProcessContext::get_ContextObjectV(IUnknown** oObject) { return GetObjectLocked(mContextObjectV, oObject); }
HRESULT CKDXProcessContext::put_ContextObjectV(IUnknown* iObject) { return PutObjectLocked(mContextObjectV, iObject); }
HRESULT CKDXProcessContext::get_LinkA(IUnknown** oObject) { return GetObjectLocked(mLinkA, oObject); }
HRESULT CKDXProcessContext::put_LinkA(IUnknown* iObject) { return PutLinkLocked(mLinkA, iObject, mLinkB); }
HRESULT CKDXProcessContext::get_LinkB(IUnknown** oObject) { return GetObjectLocked(mLinkB, oObject); }
HRESULT CKDXProcessContext::put_LinkB(IUnknown* iObject) { return PutLinkLocked(mLinkB, iObject, mLinkA); }
HRESULT CKDXProcessContext::get_InMessage(ICKDXReadMessage** oMessage) { return GetObjectLocked(mInMessage, oMessage); }
HRESULT CKDXProcessContext::get_HandleA(QBase::Counted** oHandle) { return GetObjectLocked(mHandleA, oHandle); }
HRESULT CKDXProcessContext::put_HandleA(QBase::Counted* iHandle) { return PutOtherObjectLocked(mHandleA, iHandle); }
HRESULT CKDXProcessContext::get_HandleB(QBase::Counted** oHandle) { return GetObjectLocked(mHandleB, oHandle); }
HRESULT CKDXProcessContext::put_HandleB(QBase::Counted* iHandle) { return PutOtherObjectLocked(mHandleB, iHandle); }

HRESULT CKDXProcessContext::put_BstrA(BSTR iText) { return PutTextLocked(mBstrA, iText); }
HRESULT CKDXProcessContext::get_BstrA(BSTR* oText) { return GetTextLocked(mBstrA, oText, E_INVALIDARG, S_OK); }
HRESULT CKDXProcessContext::put_BstrB(BSTR iText) { return PutTextLocked(mBstrB, iText); }
HRESULT CKDXProcessContext::get_BstrB(BSTR* oText) { return GetTextLocked(mBstrB, oText, E_INVALIDARG, S_OK); }
void CKDXProcessContext::put_BstrC(BSTR iText) { PutTextUnlocked(mBstrC, iText); }
HRESULT CKDXProcessContext::get_BstrC(BSTR* oText) { return GetTextLocked(mBstrC, oText, E_INVALIDARG, S_OK); }
void CKDXProcessContext::put_BstrD(BSTR iText) { PutTextUnlocked(mBstrD, iText); }
HRESULT CKDXProcessContext::get_BstrD(BSTR* oText) { return GetTextLocked(mBstrD, oText, E_INVALIDARG, S_OK); }
void CKDXProcessContext::put_BstrE(BSTR iText) { PutTextLocked(mBstrE, iText); }
HRESULT CKDXProcessContext::get_BstrE(BSTR* oText) { return GetTextLocked(mBstrE, oText, E_POINTER, E_POINTER); }

HRESULT CKDXProcessContext::Reserved1() { return E_NOTIMPL; }
HRESULT CKDXProcessContext::Reserved2() { return E_NOTIMPL; }

// clang-format on
