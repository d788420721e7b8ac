#include "data/QORStringData.h"

#include "data/Payload.h"
#include "data/QORNamedIdsList.h"

#include <algorithm>
#include <utility>

QORStringData::QORStringData(int iId, const QBase::WCHAR* iText, COPY_FLAG iFlag)
    : QORJobData(iId), mpText(const_cast<QBase::WCHAR*>(iText)) // an adopted text belongs to the item
{
    if (iFlag == COPY_STRING && QORNamedIdsList::DuplicateString(iText, &mpText) != S_OK)
        throw std::bad_alloc();
}

QORStringData::~QORStringData() { QORStringData::Reset(); }

HRESULT QORStringData::Reset()
{
    QBase::HeapFree(std::exchange(mpText, nullptr));
    return S_OK;
}

HRESULT QORStringData::GetData(const void** oData) const
{
    if (oData == nullptr)
        return E_POINTER;
    *oData = mpText;
    return S_OK;
}

HRESULT QORStringData::GetName(const QBase::WCHAR** oName) const { return QORJobData::GetName(GetOwnId(), oName); }

HRESULT QORStringData::GetSaveObjSize(unsigned, unsigned* oSize) const
{
    if (oSize == nullptr)
        return E_POINTER;
    *oSize = static_cast<unsigned>(LengthOf(mpText) * sizeof(QBase::WCHAR));
    return S_OK;
}

HRESULT QORStringData::SaveObj(unsigned, unsigned iMaxSize, signed char* oBuffer, unsigned* oSize) const
{
    if (oSize == nullptr)
        return E_POINTER;
    const std::size_t room = iMaxSize / sizeof(QBase::WCHAR) * sizeof(QBase::WCHAR);
    const std::size_t bytes = std::min(room, LengthOf(mpText) * sizeof(QBase::WCHAR));
    *oSize = static_cast<unsigned>(bytes);
    return WriteBytes(mpText, bytes, oBuffer);
}

HRESULT QORStringData::LoadObj(unsigned iSize, const signed char* iBuffer)
{
    const unsigned units = iSize / sizeof(QBase::WCHAR);
    QBase::HeapText text;
    const HRESULT code = ReadText(iBuffer, units * sizeof(QBase::WCHAR), std::uint64_t{units} + 1, text);
    if (code == S_OK)
        mpText = text.release();
    return code;
}

HRESULT QORStringData::GetData(QBase::wstring& oText) const { return AssignText(mpText, oText); }

HRESULT QORStringData::GetDataCopy(QBase::WCHAR** oText) const
{
    return QORNamedIdsList::DuplicateString(mpText, oText);
}

HRESULT QORStringData::Append(const QBase::WCHAR* iText)
{
    if (iText == nullptr)
        return S_OK;
    const std::size_t length = LengthOf(mpText);
    const std::size_t added = LengthOf(iText);
    QBase::WCHAR* joined = AllocateUnits(std::uint64_t{length} + added + 1);
    if (joined == nullptr)
        return E_OUTOFMEMORY;
    // The old text is freed last: it may be `iText` itself.
    std::copy_n(iText, added + 1, std::copy_n(mpText, length, joined));
    QBase::HeapFree(std::exchange(mpText, joined));
    return S_OK;
}
