// A data item that carries a block of bytes.
#pragma once

#include "data/QORJobData.h"

/// A copy shares the bytes with its original, and both free them: only one of the two may be destroyed.
///
/// Threads: as QORJobData.
/// Owns:    the bytes, on the general heap.
/// Errors:  as QORJobData.
/// Locks:   none.
class QORJOB_API QORBinaryData : public QORJobData
{
public:
    /// Takes ownership of the `iLength` bytes.
    QORBinaryData(int iId, void* iData, unsigned iLength);
    QORBinaryData(const QORBinaryData& iOther) = default;
    QORBinaryData& operator=(const QORBinaryData& iOther) = default;
    ~QORBinaryData() override;

    HRESULT Reset() override;
    HRESULT GetData(const void** oData) const override;
    HRESULT GetName(const QBase::WCHAR** oName) const override;
    HRESULT GetSaveObjSize(unsigned iVersion, unsigned* oSize) const override;
    HRESULT SaveObj(unsigned iVersion, unsigned iMaxSize, signed char* oBuffer, unsigned* oSize) const override;
    HRESULT LoadObj(unsigned iSize, const signed char* iBuffer) override;

private:
    void* mpData;
    unsigned mLength;
};
