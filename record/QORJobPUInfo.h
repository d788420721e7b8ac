// One visit of a job to a processing unit.
#pragma once

#include "base/HeapObject.h"
#include "platform/Export.h"
#include "platform/QDataType.h"
#include "platform/Windows.h"
#include "record/FieldAccess.h"

/// Threads: one at a time; the job's lock protects the records in its list.
/// Owns:    nothing.
/// Errors:  E_POINTER for null out-pointers, S_FALSE for a short buffer.
/// Locks:   none.
class QORJOB_API QORJobPUInfo : public HeapObject
{
public:
    explicit QORJobPUInfo(int iPUId = -1) : mPUId(iPUId) {}
    QORJobPUInfo(const QORJobPUInfo&) = default;
    QORJobPUInfo& operator=(const QORJobPUInfo&) = default;
    ~QORJobPUInfo() = default;

    /// Without an argument: now, in UTC; SetEnterTime stores the calling thread, too.
    HRESULT SetEnterTime();
    HRESULT SetEnterTime(QDataType::DateTime iTime) { return QORJOB::SetField(mEnterTime, iTime); }
    HRESULT SetStartTime();
    HRESULT SetStartTime(QDataType::DateTime iTime) { return QORJOB::SetField(mStartTime, iTime); }
    HRESULT SetExitTime();
    HRESULT SetExitTime(QDataType::DateTime iTime) { return QORJOB::SetField(mExitTime, iTime); }
    HRESULT GetEnterTime(QDataType::DateTime* oTime) const { return QORJOB::GetField(mEnterTime, oTime); }
    HRESULT GetStartTime(QDataType::DateTime* oTime) const { return QORJOB::GetField(mStartTime, oTime); }
    HRESULT GetExitTime(QDataType::DateTime* oTime) const { return QORJOB::GetField(mExitTime, oTime); }
    HRESULT GetId(int* oPUId) const { return QORJOB::GetField(mPUId, oPUId); }

    /// The binary record: enter, exit and start time (in this order) and the PU id, little-endian.
    DWORD GetSaveObjSize(unsigned* oSize) const;
    /// Sets `oSize` to the record's size first; S_FALSE if that is more than `iBufferSize`. `iVersion` is ignored.
    DWORD SaveObj(unsigned iVersion, unsigned iBufferSize, signed char* oBuffer, unsigned* oSize) const;
    /// `iBuffer` must hold a whole record. The thread id isn't in it and keeps its value.
    DWORD LoadObj(unsigned iVersion, const signed char* iBuffer);

private:
    struct Record; // the saved fields

    friend class QORJobPUInfoOld; // copies the thread id, which has no getter

    QDataType::DateTime mEnterTime;
    QDataType::DateTime mStartTime;
    QDataType::DateTime mExitTime;
    DWORD mThreadId = 0;
    int mPUId;
};
