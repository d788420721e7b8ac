// One stay of a job in a processing unit.
#pragma once

#include "base/HeapObject.h"
#include "platform/Export.h"
#include "platform/QDataType.h"
#include "platform/Windows.h"

/// Threads: one at a time; the job's lock protects the records in its list.
/// Owns:    nothing.
/// Errors:  E_POINTER for null out-pointers, S_FALSE for a short buffer.
/// Locks:   none.
class QORJOB_API QORJobPUInfo : public HeapObject
{
public:
    explicit QORJobPUInfo(int iPUId = -1);
    QORJobPUInfo(const QORJobPUInfo&) = default;
    QORJobPUInfo& operator=(const QORJobPUInfo&) = default;
    ~QORJobPUInfo() = default;

    /// Without an argument: now, in UTC; the entry also notes the calling thread.
    HRESULT SetEnterTime();
    HRESULT SetEnterTime(QDataType::DateTime iTime);
    HRESULT SetStartTime();
    HRESULT SetStartTime(QDataType::DateTime iTime);
    HRESULT SetExitTime();
    HRESULT SetExitTime(QDataType::DateTime iTime);
    HRESULT GetEnterTime(QDataType::DateTime* oTime) const;
    HRESULT GetStartTime(QDataType::DateTime* oTime) const;
    HRESULT GetExitTime(QDataType::DateTime* oTime) const;
    HRESULT GetId(int* oPUId) const;

    /// The binary record: enter, exit and start time (in this order) and the PU id, little-endian.
    DWORD GetSaveObjSize(unsigned* oSize) const;
    /// Writes the record's size to `oSize` first; S_FALSE when it is more than `iBufferSize`. `iVersion` selects
    /// nothing.
    DWORD SaveObj(unsigned iVersion, unsigned iBufferSize, signed char* oBuffer, unsigned* oSize) const;
    /// `iBuffer` must hold a whole record. The thread id, which the record lacks, keeps its value.
    DWORD LoadObj(unsigned iVersion, const signed char* iBuffer);

private:
    struct Record; // the saved fields

    friend class QORJobPUInfoOld; // it shows the thread id, too

    QDataType::DateTime mEnterTime{0.0};
    QDataType::DateTime mStartTime{0.0};
    QDataType::DateTime mExitTime{0.0};
    DWORD mThreadId = 0;
    int mPUId;
};
