#include "record/QORJobInfoData.h"

#include "data/QORJobData.h"
#include "record/FieldAccess.h"
#include "record/RecordFields.h"

#include <algorithm>

namespace
{

constexpr unsigned cHeadSize = 2 * sizeof(DWORD);
constexpr int cUnlimitedId = 14;

} // namespace

QORJobInfoData::QORJobInfoData(int iId, const void* iData, unsigned iSize)
    : mSize(iData == nullptr ? 0 : std::min(iSize, cCapacity)), mId(iId)
{
    std::copy_n(static_cast<const signed char*>(iData), mSize, mData);
}

QORJobInfoData& QORJobInfoData::operator=(const QORJobData& iItem)
{
    unsigned id = 0;
    unsigned size = 0;
    iItem.GetId(&id);
    iItem.GetSaveObjSize(0, &size);
    // Cleared first: the item may return a size and write nothing.
    *this = QORJobInfoData(static_cast<int>(id), nullptr, 0);
    if (size <= cCapacity || mId == cUnlimitedId)
        iItem.SaveObj(0, cCapacity, mData, &mSize);
    return *this;
}

HRESULT QORJobInfoData::GetId(int* oId) const { return QORJOB::GetField(mId, oId); }

HRESULT QORJobInfoData::GetSize(unsigned* oSize) const { return QORJOB::GetField(mSize, oSize); }

HRESULT QORJobInfoData::GetData(const void** oData) const { return QORJOB::GetField<const void*>(mData, oData); }

HRESULT QORJobInfoData::GetSaveObjSize(unsigned, unsigned* oSize) const
{
    return QORJOB::GetField(mSize + cHeadSize, oSize);
}

HRESULT QORJobInfoData::SaveObj(unsigned iVersion, unsigned iMaxSize, signed char* oBuffer, unsigned* oSize) const
{
    const HRESULT code = GetSaveObjSize(iVersion, oSize);
    if (code != S_OK)
        return code;
    if (mSize > iMaxSize)
        return S_FALSE;
    if (oBuffer == nullptr)
        return E_POINTER;
    RecordWriter head(oBuffer);
    head.Put(mId);
    head.Put(static_cast<DWORD>(mSize));
    // A size beyond the capacity is what an item returned for data that isn't kept: zeros are saved in its place.
    const unsigned kept = std::min(mSize, cCapacity);
    std::fill_n(std::copy_n(mData, kept, oBuffer + cHeadSize), mSize - kept, static_cast<signed char>(0));
    return S_OK;
}

HRESULT QORJobInfoData::LoadObj(unsigned iSize, const signed char* iBuffer)
{
    if (iBuffer == nullptr)
        return E_POINTER;
    if (iSize < cHeadSize)
        return E_INVALIDARG;
    RecordReader head(iBuffer);
    DWORD size = 0;
    head.Get(mId);
    head.Get(size);
    mSize = std::min({static_cast<unsigned>(size), iSize - cHeadSize, cCapacity});
    std::copy_n(iBuffer + cHeadSize, mSize, mData);
    return S_OK;
}
