// The saved bytes of a data item, as part of a job's snapshot.
#pragma once

#include "platform/Export.h"
#include "platform/Windows.h"

class QORJobData;

/// A plain value of fixed size.
///
/// Threads: one at a time.
/// Owns:    nothing.
/// Errors:  E_POINTER for null pointers, S_FALSE for a short buffer, E_INVALIDARG for bytes that can't be a record.
/// Locks:   none.
class QORJOB_API QORJobInfoData
{
public:
    static constexpr unsigned cCapacity = 128; ///< bytes of data

    QORJobInfoData() = default;
    /// Keeps the first 128 bytes; none of null.
    QORJobInfoData(int iId, const void* iData, unsigned iSize);
    /// Saves the item's id and its bytes. An item of more than 128 bytes has a size of 0 here. One of id 14 is called
    /// to save into 128 bytes nevertheless, and the size that it returns is kept: if that is more than 128, all bytes
    /// are zero.
    QORJobInfoData& operator=(const QORJobData& iItem);

    HRESULT GetId(int* oId) const;
    HRESULT GetSize(unsigned* oSize) const;
    /// The address of the 128 bytes. No more may be read, even if GetSize returns more for an item of id 14.
    HRESULT GetData(const void** oData) const;

    // The record: id, size (32 bits each, little-endian), data. `iVersion` is ignored.

    HRESULT GetSaveObjSize(unsigned iVersion, unsigned* oSize) const;
    /// Sets `oSize` to the record's size first. `iMaxSize` is compared with the size of the data only, as callers
    /// expect: the buffer must have room for 8 bytes more.
    HRESULT SaveObj(unsigned iVersion, unsigned iMaxSize, signed char* oBuffer, unsigned* oSize) const;
    /// Keeps the data in the `iSize` bytes, at most 128 bytes; E_INVALIDARG if id and size are incomplete.
    HRESULT LoadObj(unsigned iSize, const signed char* iBuffer);

private:
    signed char mData[cCapacity] = {};
    unsigned mSize = 0;
    int mId = 0;
};
