// The saved bytes of a data item inside a snapshot of its job: a plain value of fixed size.
#pragma once

#include "platform/Export.h"
#include "platform/Windows.h"

class QORJobData;

/// Threads: one at a time.
/// Owns:    nothing.
/// Errors:  E_POINTER for null pointers, S_FALSE for a short buffer, E_INVALIDARG for bytes that can't be a record.
/// Locks:   none.
class QORJOB_API QORJobInfoData
{
public:
    static constexpr unsigned cCapacity = 128; ///< bytes of data

    QORJobInfoData() = default;
    /// Keeps the first 128 bytes. Null has none.
    QORJobInfoData(int iId, const void* iData, unsigned iSize);
    /// Asks the item for its id and its bytes. More than 128 bytes give a size of 0; an item of id 14 is asked all the
    /// same, to save into 128 bytes, and the size that it then tells counts: past 128 nothing of it is in here, and all
    /// bytes are zero.
    QORJobInfoData& operator=(const QORJobData& iItem);

    HRESULT GetId(int* oId) const;
    HRESULT GetSize(unsigned* oSize) const;
    /// The address of the 128 bytes. They are all that may be read, whatever GetSize tells of an item of id 14.
    HRESULT GetData(const void** oData) const;

    // The record: id, size (32 bits each, little-endian), data. `iVersion` selects nothing.

    HRESULT GetSaveObjSize(unsigned iVersion, unsigned* oSize) const;
    /// Stores the record's size first. `iMaxSize` is held against the data alone, as callers give it: the buffer has to
    /// have room for 8 bytes more.
    HRESULT SaveObj(unsigned iVersion, unsigned iMaxSize, signed char* oBuffer, unsigned* oSize) const;
    /// Keeps what the `iSize` bytes hold of the data, at most 128 bytes; E_INVALIDARG when id and size are not whole.
    HRESULT LoadObj(unsigned iSize, const signed char* iBuffer);

private:
    signed char mData[cCapacity] = {};
    unsigned mSize = 0;
    int mId = 0;
};
