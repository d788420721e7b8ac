#include "data/QORTextFileData.h"

#include "data/Payload.h"
#include "data/QORNamedIdsList.h"

#include <utility>

QORTextFileData::QORTextFileData(int iId, const QBase::WCHAR* iText) : QORJobData(iId)
{
    if (QORNamedIdsList::DuplicateString(iText, &mpText) != S_OK)
        throw std::bad_alloc();
}

QORTextFileData::~QORTextFileData() { QORTextFileData::Reset(); }

HRESULT QORTextFileData::Reset()
{
    QBase::HeapFree(std::exchange(mpText, nullptr));
    return S_OK;
}

HRESULT QORTextFileData::GetData(const void** oData) const
{
    if (oData == nullptr)
        return E_POINTER;
    *oData = mpText;
    return S_OK;
}

HRESULT QORTextFileData::GetName(const QBase::WCHAR** oName) const { return QORJobData::GetName(GetOwnId(), oName); }

HRESULT QORTextFileData::GetSaveObjSize(unsigned, unsigned* oSize) const
{
    if (oSize == nullptr)
        return E_POINTER;
    *oSize = static_cast<unsigned>(LengthOf(mpText));
    return S_OK;
}

HRESULT QORTextFileData::SaveObj(unsigned iVersion, unsigned iMaxSize, signed char* oBuffer, unsigned* oSize) const
{
    // Not the virtual operation: a derived class may add a header of its own to the size.
    const HRESULT code = QORTextFileData::GetSaveObjSize(iVersion, oSize);
    if (code != S_OK)
        return code;
    return *oSize > iMaxSize ? S_FALSE : WriteBytes(mpText, *oSize, oBuffer);
}

HRESULT QORTextFileData::LoadObj(unsigned iSize, const signed char* iBuffer)
{
    QBase::HeapText text;
    const HRESULT code = ReadText(iBuffer, iSize, std::uint64_t{iSize} + 1, text);
    if (code == S_OK)
        mpText = text.release();
    return code;
}
