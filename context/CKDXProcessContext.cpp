// Construction and destruction of the process context, and the operations on its settings and tables.
#include "context/CKDXProcessContext.h"

#include "base/Categories.h"
#include "context/CKDXProcessContextRows.h"
#include "platform/QCOMShared.h"
#include "platform/QPerfMon.h"

#include <algorithm>
#include <cstring>

namespace
{

/// A mode of TakeBuffer: the caller knows the length, and the out value stays unchanged.
constexpr int cLengthIsKnown = 1;

} // namespace

const GUID IID_ICKDXProcessContext = {0x5B0C9E4A, 0x7C1D, 0x4E0B, {0x9C, 0x57, 0x2F, 0x6A, 0x1B, 0x3D, 0x8E, 0x60}};

HRESULT CreateProcessContext(QBase::PtrI<CKDXProcessContext>& oContext)
{
    return CComObject<CKDXProcessContext>::CreateInstance(oContext);
}

CKDXProcessContext::CKDXProcessContext()
    : CComObjectRootEx(LockCategoryComObject), mpThreadMessagesLock(QSynch::MakeCriticalSection(LockCategoryCommon))
{
    mCreationTime = QDataType::DateTime::NowUTC();
    if (QORObjectInstanceCount* instances = QORObjectInstanceCount::GetObjectInstanceCount())
        instances->IncreaseObjectInstanceCount(InstanceCategoryProcessContext);
}

CKDXProcessContext::~CKDXProcessContext()
{
    if (QORObjectInstanceCount* instances = QORObjectInstanceCount::GetObjectInstanceCount())
        instances->DecreaseObjectInstanceCount(InstanceCategoryProcessContext);
    QBase::HeapFree(mpBuffer);
}

/// The context may be used from any apartment without marshalling.
HRESULT CKDXProcessContext::FinalConstruct()
{
    return CoCreateFreeThreadedMarshaler(static_cast<ICKDXProcessContext*>(this), mMarshaler.Receive());
}

bool CKDXProcessContext::GuidOrder::operator()(const GUID& iLeft, const GUID& iRight) const
{
    return std::memcmp(&iLeft, &iRight, sizeof(GUID)) < 0;
}

ICKDXProcessContext* CKDXProcessContext::GetInterface() { return this; }

HRESULT CKDXProcessContext::get_RequestCode(LONG* oRequestCode)
{
    if (oRequestCode == nullptr)
        return E_POINTER;
    *oRequestCode = mRequestCodeSetCount == 0 ? -1 : mRequestCode.Get();
    return S_OK;
}

HRESULT CKDXProcessContext::put_RequestCode(LONG iRequestCode)
{
    SmartLock lock(mpLock.get());
    mRequestCode = iRequestCode;
    mRequestCodeSetCount = mRequestCodeSetCount + 1;
    return S_OK;
}

HRESULT CKDXProcessContext::get_TextB(BSTR* oTextB)
{
    if (oTextB == nullptr)
        return E_POINTER;
    if (mTextBSetCount == 0)
        return S_OK; // the out value stays unchanged
    const QBase::wstring& text = mTextB;
    *oTextB = SysAllocStringLen(text.data(), static_cast<unsigned>(text.size()));
    return *oTextB == nullptr ? E_OUTOFMEMORY : S_OK;
}

HRESULT CKDXProcessContext::put_TextB(const QBase::WCHAR* iTextB)
{
    return Boundary([&] {
        QBase::wstring text(iTextB == nullptr ? QORJOB_W("") : iTextB);
        SmartLock lock(mpLock.get());
        mTextB.Get().swap(text);
        mTextBSetCount = mTextBSetCount + 1;
        return S_OK;
    });
}

HRESULT CKDXProcessContext::put_TextC(const QBase::WCHAR* iTextC)
{
    return Boundary([&] {
        QBase::wstring& text = mTextC.Get();
        text.clear();
        if (iTextC != nullptr)
            text = iTextC;
        return S_OK;
    });
}

const QBase::WCHAR* CKDXProcessContext::GetTextC() { return mTextC.Get().c_str(); }

HRESULT CKDXProcessContext::get_LevelA(LONG* oLevelA)
{
    if (oLevelA == nullptr)
        return E_INVALIDARG;
    const LONG level = mLevelA;
    *oLevelA = level == cLevelNotSet ? 0 : level;
    return S_OK;
}

HRESULT CKDXProcessContext::put_FlagA(VARIANT_BOOL iFlagA) { return PutLocked(mbFlagA, iFlagA == VARIANT_TRUE); }

HRESULT CKDXProcessContext::get_FlagA(VARIANT_BOOL* oFlagA)
{
    bool bFlag = false;
    if (oFlagA == nullptr)
        return E_INVALIDARG;
    GetLocked(mbFlagA, &bFlag);
    *oFlagA = bFlag ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

// These two getters don't check for null: callers pass addresses of their own fields.

HRESULT CKDXProcessContext::get_GuidE(GUID* oGuidE)
{
    *oGuidE = mGuidE;
    return S_OK;
}

HRESULT CKDXProcessContext::get_GuidG(GUID* oGuidG)
{
    *oGuidG = mGuidG;
    return S_OK;
}

void CKDXProcessContext::put_SharedHandle(const std::shared_ptr<JobMemGovernor>& iSharedHandle)
{
    mSharedHandle = iSharedHandle;
}

std::shared_ptr<JobMemGovernor> CKDXProcessContext::get_SharedHandle() { return mSharedHandle; }

HRESULT CKDXProcessContext::SetNamedPair(const QBase::WCHAR* iName, LONG iFirst, LONG iSecond)
{
    if (iName == nullptr)
        return E_INVALIDARG;
    return Boundary([&] {
        mPairByName.Get().insert_or_assign(iName, std::pair(iFirst, iSecond));
        return S_OK;
    });
}

HRESULT CKDXProcessContext::GetNamedPair(const QBase::WCHAR* iName, LONG* oFirst, LONG* oSecond)
{
    if (iName == nullptr)
        return E_INVALIDARG;
    return Boundary([&] {
        const auto& pairs = mPairByName.Get();
        const auto found = pairs.find(iName);
        if (found == pairs.end())
            return S_FALSE;
        if (oFirst != nullptr)
            *oFirst = found->second.first;
        if (oSecond != nullptr)
            *oSecond = found->second.second;
        return S_OK;
    });
}

HRESULT CKDXProcessContext::SetBuffer(std::uint64_t iLength, BYTE* iBuffer)
{
    if (mpBuffer != iBuffer)
        QBase::HeapFree(mpBuffer);
    mpBuffer = iBuffer;
    mBufferLength = iLength;
    return S_OK;
}

HRESULT CKDXProcessContext::TakeBuffer(int iMode, std::uint64_t* oLength, BYTE** oBuffer)
{
    if (oLength == nullptr || oBuffer == nullptr)
        return E_INVALIDARG;
    if (mBufferLength == 0)
    {
        *oLength = 0;
        *oBuffer = nullptr;
        return S_FALSE;
    }
    if (iMode != cLengthIsKnown)
        *oLength = mBufferLength;
    *oBuffer = mpBuffer;
    mpBuffer = nullptr;
    mBufferLength = 0;
    return S_OK;
}

HRESULT CKDXProcessContext::SetTextByGuid(const GUID& iGuid, BSTR iText)
{
    if (SysStringLen(iText) == 0) // as for null
        return E_INVALIDARG;
    return Boundary([&] {
        QBase::wstring text(iText, SysStringLen(iText));
        SmartLock lock(mpLock.get());
        mTextByGuid.insert_or_assign(iGuid, std::move(text));
        return S_OK;
    });
}

HRESULT CKDXProcessContext::MoveTextByGuid(const GUID& iGuid, QBase::wstring& ioText)
{
    return Boundary([&] {
        SmartLock lock(mpLock.get());
        mTextByGuid.insert_or_assign(iGuid, ioText);
        ioText.clear();
        return S_OK;
    });
}

HRESULT CKDXProcessContext::GetTextByGuid(const GUID& iGuid, QBase::wstring& oText)
{
    return Boundary([&] {
        SmartLock lock(mpLock.get());
        const auto found = mTextByGuid.find(iGuid);
        if (found != mTextByGuid.end())
            oText = found->second;
        return S_OK;
    });
}

HRESULT CKDXProcessContext::GetTextByGuidBstr(const GUID& iGuid, BSTR* oText)
{
    if (oText == nullptr)
        return E_INVALIDARG;
    *oText = nullptr;
    return Boundary([&] {
        QBase::wstring text;
        const HRESULT code = GetTextByGuid(iGuid, text);
        if (FAILED(code))
            return code;
        *oText = SysAllocStringLen(text.data(), static_cast<unsigned>(text.size()));
        return *oText == nullptr ? E_OUTOFMEMORY : code;
    });
}

HRESULT CKDXProcessContext::CopyTextTable(CKDXProcessContext* iOther)
{
    if (iOther == nullptr)
        return E_INVALIDARG;
    return Boundary([&] {
        // One lock at a time, so that two contexts that copy from each other can't deadlock.
        TextTable table;
        {
            SmartLock lock(iOther->mpLock.get());
            table = iOther->mTextByGuid;
        }
        SmartLock lock(mpLock.get());
        mTextByGuid.swap(table);
        return S_OK;
    });
}

HRESULT CKDXProcessContext::SetGuidList(int iCount, const GUID* iGuids)
{
    if (iGuids == nullptr || iCount < 0)
        return E_INVALIDARG;
    return Boundary([&] {
        QBase::vector<GUID> guids(iGuids, iGuids + iCount);
        SmartLock lock(mpLock.get());
        mGuidList.swap(guids);
        return S_OK;
    });
}

HRESULT CKDXProcessContext::GetGuidCount(int* oCount)
{
    if (oCount == nullptr)
        return E_POINTER;
    SmartLock lock(mpLock.get());
    *oCount = static_cast<int>(mGuidList.size());
    return S_OK;
}

HRESULT CKDXProcessContext::GetGuidList(int iCount, GUID* oGuids)
{
    if (oGuids == nullptr)
        return E_INVALIDARG;
    SmartLock lock(mpLock.get());
    if (static_cast<std::size_t>(iCount) != mGuidList.size()) // no size is negative
        return E_UNEXPECTED;
    std::copy(mGuidList.begin(), mGuidList.end(), oGuids);
    return S_OK;
}

std::map<std::string, std::string> CKDXProcessContext::GetLogProperties()
{
    SmartLock lock(mpLock.get());
    return {mLogProperties.begin(), mLogProperties.end()};
}

HRESULT CKDXProcessContext::CopyLogProperties(std::map<std::string, std::string>* oProperties)
{
    if (oProperties == nullptr)
        return E_POINTER;
    return Boundary([&] {
        *oProperties = GetLogProperties();
        return S_OK;
    });
}

HRESULT CKDXProcessContext::GetLogMessageInJSON(std::string* oMessage)
{
    if (oMessage == nullptr)
        return E_POINTER;
    return Boundary([&] { return QCOMShared::GetLogMessageInJSON(GetLogProperties(), *oMessage); });
}

HRESULT CKDXProcessContext::SetLogProperty(const char* iKey, const char* iValue)
{
    if (iKey == nullptr || iValue == nullptr)
        return E_INVALIDARG;
    return Boundary([&] {
        SmartLock lock(mpLock.get());
        mLogProperties.insert_or_assign(iKey, iValue);
        return S_OK;
    });
}

HRESULT CKDXProcessContext::ClearLogProperties()
{
    SmartLock lock(mpLock.get());
    mLogProperties.clear();
    return S_OK;
}
