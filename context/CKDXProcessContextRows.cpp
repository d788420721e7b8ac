// The rows of the process context: operations that store or return one field. Operations with rules of their own are in
// the other files.
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

/// Clearing one of the two links clears the other as well, under one lock.
HRESULT CKDXProcessContext::PutLinkLocked(Object& oField, IUnknown* iObject, Object& oTwin)
{
    return Boundary([&] {
        Object object(iObject);
        Object twin;
        {
            SmartLock lock(mpLock.get());
            std::swap(oField, object);
            if (iObject == nullptr)
                std::swap(oTwin, twin);
        }
        return ReleaseAll(object, twin);
    });
}

HRESULT CKDXProcessContext::GetTextLocked(const QBase::wstring& iField, BSTR* oText, HRESULT iNullCode,
                                          HRESULT iEmptyCode)
{
    if (oText == nullptr)
        return iNullCode;
    *oText = nullptr;
    SmartLock lock(mpLock.get());
    if (iField.empty())
        return iEmptyCode;
    *oText = SysAllocStringLen(iField.data(), static_cast<unsigned>(iField.size()));
    return *oText == nullptr ? E_OUTOFMEMORY : S_OK;
}

HRESULT CKDXProcessContext::PutTextLocked(QBase::wstring& oField, BSTR iText)
{
    return Boundary([&] {
        QBase::wstring text = TextOf(iText);
        SmartLock lock(mpLock.get());
        oField.swap(text);
        return S_OK;
    });
}

HRESULT CKDXProcessContext::PutTextUnlocked(Unlocked<QBase::wstring>& oField, BSTR iText)
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
HRESULT CKDXProcessContext::get_UserContextLogFlag(LONG* oUserContextLogFlag) { return GetUnlocked(mUserContextLogFlag, oUserContextLogFlag); }
HRESULT CKDXProcessContext::put_UserContextLogFlag(LONG iUserContextLogFlag) { return PutUnlocked(mUserContextLogFlag, iUserContextLogFlag); }
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
const GUID* CKDXProcessContext::GetGuidARef() { return &mGuidA.Get(); }

HRESULT CKDXProcessContext::get_ContextObjectA(IUnknown** oContextObjectA) { return GetObjectLocked(mContextObjectA, oContextObjectA); }
HRESULT CKDXProcessContext::put_ContextObjectA(IUnknown* iContextObjectA) { return PutObjectNotNullLocked(mContextObjectA, iContextObjectA); }
HRESULT CKDXProcessContext::get_ContextObjectB(IUnknown** oContextObjectB) { return GetObjectLocked(mContextObjectB, oContextObjectB); }
HRESULT CKDXProcessContext::get_ContextObjectC(IUnknown** oContextObjectC) { return GetObjectLocked(mContextObjectC, oContextObjectC); }
HRESULT CKDXProcessContext::get_ContextObjectD(IUnknown** oContextObjectD) { return GetObjectLocked(mContextObjectD, oContextObjectD); }
HRESULT CKDXProcessContext::get_ContextObjectE(IUnknown** oContextObjectE) { return GetObjectLocked(mContextObjectE, oContextObjectE); }
HRESULT CKDXProcessContext::put_ContextObjectE(IUnknown* iContextObjectE) { return PutObjectNotNullLocked(mContextObjectE, iContextObjectE); }
HRESULT CKDXProcessContext::get_ContextObjectF(IUnknown** oContextObjectF) { return GetObjectLocked(mContextObjectF, oContextObjectF); }
HRESULT CKDXProcessContext::put_ContextObjectF(IUnknown* iContextObjectF) { return PutObjectLocked(mContextObjectF, iContextObjectF); }
HRESULT CKDXProcessContext::get_ContextObjectG(IUnknown** oContextObjectG) { return GetObjectLocked(mContextObjectG, oContextObjectG); }
HRESULT CKDXProcessContext::put_ContextObjectG(IUnknown* iContextObjectG) { return PutObjectLocked(mContextObjectG, iContextObjectG); }
HRESULT CKDXProcessContext::get_ContextObjectH(IUnknown** oContextObjectH) { return GetObjectLocked(mContextObjectH, oContextObjectH); }
HRESULT CKDXProcessContext::put_ContextObjectH(IUnknown* iContextObjectH) { return PutObjectLocked(mContextObjectH, iContextObjectH); }
HRESULT CKDXProcessContext::get_ContextObjectI(IUnknown** oContextObjectI) { return GetObjectLocked(mContextObjectI, oContextObjectI); }
HRESULT CKDXProcessContext::put_ContextObjectI(IUnknown* iContextObjectI) { return PutObjectLocked(mContextObjectI, iContextObjectI); }
HRESULT CKDXProcessContext::get_ContextObjectJ(IUnknown** oContextObjectJ) { return GetObjectLocked(mContextObjectJ, oContextObjectJ); }
HRESULT CKDXProcessContext::put_ContextObjectJ(IUnknown* iContextObjectJ) { return PutObjectLocked(mContextObjectJ, iContextObjectJ); }
HRESULT CKDXProcessContext::get_ContextObjectK(IUnknown** oContextObjectK) { return GetObjectLocked(mContextObjectK, oContextObjectK); }
HRESULT CKDXProcessContext::put_ContextObjectK(IUnknown* iContextObjectK) { return PutObjectLocked(mContextObjectK, iContextObjectK); }
HRESULT CKDXProcessContext::get_ContextObjectL(IUnknown** oContextObjectL) { return GetObjectLocked(mContextObjectL, oContextObjectL); }
HRESULT CKDXProcessContext::put_ContextObjectL(IUnknown* iContextObjectL) { return PutObjectLocked(mContextObjectL, iContextObjectL); }
HRESULT CKDXProcessContext::get_ContextObjectM(IUnknown** oContextObjectM) { return GetObjectLocked(mContextObjectM, oContextObjectM); }
HRESULT CKDXProcessContext::put_ContextObjectM(IUnknown* iContextObjectM) { return PutObjectLocked(mContextObjectM, iContextObjectM); }
HRESULT CKDXProcessContext::get_ContextObjectN(IUnknown** oContextObjectN) { return GetObjectLocked(mContextObjectN, oContextObjectN); }
HRESULT CKDXProcessContext::put_ContextObjectN(IUnknown* iContextObjectN) { return PutObjectLocked(mContextObjectN, iContextObjectN); }
HRESULT CKDXProcessContext::get_ContextObjectO(IUnknown** oContextObjectO) { return GetObjectOrFalseLocked(mContextObjectO, oContextObjectO); }
HRESULT CKDXProcessContext::get_ContextObjectP(IUnknown** oContextObjectP) { return GetObjectOrFalseLocked(mContextObjectP, oContextObjectP); }
HRESULT CKDXProcessContext::put_ContextObjectP(IUnknown* iContextObjectP) { return PutObjectLocked(mContextObjectP, iContextObjectP); }
HRESULT CKDXProcessContext::get_ContextObjectQ(IUnknown** oContextObjectQ) { return GetObjectLocked(mContextObjectQ, oContextObjectQ); }
void CKDXProcessContext::put_ContextObjectQ(IUnknown* iContextObjectQ) { PutObjectLocked(mContextObjectQ, iContextObjectQ); }
HRESULT CKDXProcessContext::get_ContextObjectR(IUnknown** oContextObjectR) { return GetObjectLocked(mContextObjectR, oContextObjectR, E_INVALIDARG); }
HRESULT CKDXProcessContext::put_ContextObjectR(IUnknown* iContextObjectR) { return PutObjectLocked(mContextObjectR, iContextObjectR); }
HRESULT CKDXProcessContext::get_ContextObjectS(IUnknown** oContextObjectS) { return GetObjectLocked(mContextObjectS, oContextObjectS, S_FALSE); }
HRESULT CKDXProcessContext::put_ContextObjectS(IUnknown* iContextObjectS) { return PutOtherObjectLocked(mContextObjectS, iContextObjectS); }
HRESULT CKDXProcessContext::get_ContextObjectT(IUnknown** oContextObjectT) { return GetObjectLocked(mContextObjectT, oContextObjectT); }
HRESULT CKDXProcessContext::put_ContextObjectT(IUnknown* iContextObjectT) { return PutObjectLocked(mContextObjectT, iContextObjectT); }
HRESULT CKDXProcessContext::get_ContextObjectU(IUnknown** oContextObjectU) { return GetObjectLocked(mContextObjectU, oContextObjectU); }
HRESULT CKDXProcessContext::put_ContextObjectU(IUnknown* iContextObjectU) { return PutObjectLocked(mContextObjectU, iContextObjectU); }
HRESULT CKDXProcessContext::get_ContextObjectV(IUnknown** oContextObjectV) { return GetObjectLocked(mContextObjectV, oContextObjectV); }
HRESULT CKDXProcessContext::put_ContextObjectV(IUnknown* iContextObjectV) { return PutObjectLocked(mContextObjectV, iContextObjectV); }
HRESULT CKDXProcessContext::get_LinkA(IUnknown** oLinkA) { return GetObjectLocked(mLinkA, oLinkA); }
HRESULT CKDXProcessContext::put_LinkA(IUnknown* iLinkA) { return PutLinkLocked(mLinkA, iLinkA, mLinkB); }
HRESULT CKDXProcessContext::get_LinkB(IUnknown** oLinkB) { return GetObjectLocked(mLinkB, oLinkB); }
HRESULT CKDXProcessContext::put_LinkB(IUnknown* iLinkB) { return PutLinkLocked(mLinkB, iLinkB, mLinkA); }
HRESULT CKDXProcessContext::get_InMessage(ICKDXReadMessage** oInMessage) { return GetObjectLocked(mInMessage, oInMessage); }
HRESULT CKDXProcessContext::get_HandleA(QBase::Counted** oHandleA) { return GetObjectLocked(mHandleA, oHandleA); }
HRESULT CKDXProcessContext::put_HandleA(QBase::Counted* iHandleA) { return PutOtherObjectLocked(mHandleA, iHandleA); }
HRESULT CKDXProcessContext::get_HandleB(QBase::Counted** oHandleB) { return GetObjectLocked(mHandleB, oHandleB); }
HRESULT CKDXProcessContext::put_HandleB(QBase::Counted* iHandleB) { return PutOtherObjectLocked(mHandleB, iHandleB); }

HRESULT CKDXProcessContext::put_BstrA(BSTR iBstrA) { return PutTextLocked(mBstrA, iBstrA); }
HRESULT CKDXProcessContext::get_BstrA(BSTR* oBstrA) { return GetTextLocked(mBstrA, oBstrA, E_INVALIDARG, S_OK); }
HRESULT CKDXProcessContext::put_BstrB(BSTR iBstrB) { return PutTextLocked(mBstrB, iBstrB); }
HRESULT CKDXProcessContext::get_BstrB(BSTR* oBstrB) { return GetTextLocked(mBstrB, oBstrB, E_INVALIDARG, S_OK); }
void CKDXProcessContext::put_BstrC(BSTR iBstrC) { PutTextUnlocked(mBstrC, iBstrC); }
HRESULT CKDXProcessContext::get_BstrC(BSTR* oBstrC) { return GetTextLocked(mBstrC.Get(), oBstrC, E_INVALIDARG, S_OK); }
void CKDXProcessContext::put_BstrD(BSTR iBstrD) { PutTextUnlocked(mBstrD, iBstrD); }
HRESULT CKDXProcessContext::get_BstrD(BSTR* oBstrD) { return GetTextLocked(mBstrD.Get(), oBstrD, E_INVALIDARG, S_OK); }
void CKDXProcessContext::put_BstrE(BSTR iBstrE) { PutTextLocked(mBstrE, iBstrE); }
HRESULT CKDXProcessContext::get_BstrE(BSTR* oBstrE) { return GetTextLocked(mBstrE, oBstrE, E_POINTER, E_POINTER); }

HRESULT CKDXProcessContext::Reserved1() { return E_NOTIMPL; }
HRESULT CKDXProcessContext::Reserved2() { return E_NOTIMPL; }

// clang-format on
