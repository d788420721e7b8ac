// One processing step of a job: which it is, when and where it ran.
#pragma once

#include "base/HeapObject.h"
#include "platform/Export.h"
#include "platform/QDataType.h"
#include "platform/Windows.h"

/// A record that a job has queued is to keep its id: the job knows its closing steps by what they were when they came.
/// Assigning or loading another id into it is an error of whoever holds it.
///
/// Threads: one at a time; the job's lock protects the steps in its lists.
/// Owns:    nothing.
/// Errors:  E_POINTER for null out-pointers, S_FALSE for a short buffer, E_FAIL when thread times can't be read.
/// Locks:   none.
class QORJOB_API QORJobStep : public HeapObject
{
public:
    static constexpr int cChapterKeyUnits = 41; ///< with the terminating zero

    explicit QORJobStep(int iStepId = 0);
    /// Copies all but the task CPU time, which starts at 0; assignment copies that too. Callers rely on the difference.
    QORJobStep(const QORJobStep& iOther);
    QORJobStep& operator=(const QORJobStep& iOther);
    ~QORJobStep() = default;

    /// Without an argument: now, in UTC.
    HRESULT SetStartTime();
    HRESULT SetStartTime(QDataType::DateTime iTime);
    HRESULT SetFinishTime();
    HRESULT SetFinishTime(QDataType::DateTime iTime);
    HRESULT GetStartTime(QDataType::DateTime* oTime) const;
    HRESULT GetFinishTime(QDataType::DateTime* oTime) const;

    /// Stores what the calling thread has used since the two given times.
    HRESULT SetTaskCPUTime(FILETIME iKernelAtStart, FILETIME iUserAtStart);
    /// In 100-nanosecond units, modulo 2^32. `oTime` must not be null.
    HRESULT GetTaskCPUTime(double* oTime) const;

    HRESULT SetPUId(int iPUId);
    HRESULT SetPUPriority(int iPriority);
    /// Without an argument: the calling thread's.
    HRESULT SetThreadId();
    HRESULT SetThreadId(DWORD iThreadId);
    HRESULT GetId(int* oStepId) const;
    HRESULT GetPUId(int* oPUId) const;
    HRESULT GetPUPriority(int* oPriority) const;
    HRESULT GetThreadId(DWORD* oThreadId) const;

    void InitChapterKey();
    /// Null counts as empty; what is longer than 40 units is cut.
    void SetChapterKey(const QBase::WCHAR* iKey);
    /// Zero-terminated; valid while the step lives.
    const QBase::WCHAR* GetChapterKey() const { return mChapterKey; }

    /// A new step with this step's id and nothing else of it; null without memory, and still 0. The caller owns it.
    HRESULT Clone(QORJobStep** oStep) const;

    /// The binary record: two times, step id, PU id, thread id and the whole chapter key, little-endian.
    DWORD GetSaveObjSize(unsigned* oSize) const;
    /// Writes the record's size to `oSize` first; S_FALSE when it is more than `iBufferSize`. `iVersion` selects
    /// nothing.
    DWORD SaveObj(unsigned iVersion, unsigned iBufferSize, signed char* oBuffer, unsigned* oSize) const;
    /// `iBuffer` must hold a whole record. Fields that the record lacks keep their values.
    DWORD LoadObj(unsigned iVersion, const signed char* iBuffer);

private:
    struct Record; // the saved fields

    QDataType::DateTime mStartTime{0.0};
    QDataType::DateTime mFinishTime{0.0};
    DWORD mTaskCPUTime = 0;
    int mPUPriority = 0;
    int mPUId = -1;
    DWORD mThreadId = 0;
    int mStepId;
    QBase::WCHAR mChapterKey[cChapterKeyUnits] = {};
};
