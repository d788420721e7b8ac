#include "data/QORBinaryData.h"

#include "data/Payload.h"

#include <utility>

// A null pointer has no bytes, whatever the length says.
QORBinaryData::QORBinaryData(int iId, void* iData, unsigned iLength)
    : QORJobData(iId), mpData(iData), mLength(iData == nullptr ? 0 : iLength)
{
}

QORBinaryData::~QORBinaryData() { QORBinaryData::Reset(); }

HRESULT QORBinaryData::Reset()
{
    QBase::HeapFree(std::exchange(mpData, nullptr));
    mLength = 0;
    return S_OK;
}

HRESULT QORBinaryData::GetData(const void** oData) const
{
    if (oData == nullptr)
        return E_POINTER;
    *oData = mpData;
    return S_OK;
}

HRESULT QORBinaryData::GetName(const QBase::WCHAR** oName) const { return QORJobData::GetName(GetOwnId(), oName); }

HRESULT QORBinaryData::GetSaveObjSize(unsigned, unsigned* oSize) const
{
    if (oSize == nullptr)
        return E_POINTER;
    *oSize = mLength;
    return S_OK;
}

HRESULT QORBinaryData::SaveObj(unsigned iVersion, unsigned iMaxSize, signed char* oBuffer, unsigned* oSize) const
{
    // Not the virtual operation: a derived class may add a header of its own to the size.
    const HRESULT code = QORBinaryData::GetSaveObjSize(iVersion, oSize);
    if (code != S_OK)
        return code;
    return mLength > iMaxSize ? S_FALSE : WriteBytes(mpData, mLength, oBuffer);
}

HRESULT QORBinaryData::LoadObj(unsigned iSize, const signed char* iBuffer)
{
    QBase::HeapText block; // in units: the block is twice as long as its bytes, as users of loaded items expect
    const HRESULT code = ReadBytes(iBuffer, iSize, iSize, block);
    if (code != S_OK)
        return code;
    mpData = block.release();
    mLength = iSize;
    return S_OK;
}
