// One processing step of a job: its id, and when and where it ran.
#pragma once

#include "base/HeapObject.h"
#include "platform/Export.h"
#include "platform/QBase.h"
#include "platform/QDataType.h"
#include "platform/Windows.h"
#include "record/FieldAccess.h"

#include <memory>

/// The id of a step must not change while it is queued in a job, neither by assignment nor by LoadObj: the job counts
/// its closing steps when they are added.
///
/// Threads: one at a time; the job's lock protects the steps in its lists.
/// Owns:    nothing.
/// Errors:  E_POINTER for null out-pointers, S_FALSE for a short buffer, E_FAIL when thread times can't be read.
/// Locks:   none.
class QORJOB_API QORJobStep : public HeapObject
{
public:
    static constexpr int cChapterKeyUnits = 41; ///< with the terminating zero

    explicit QORJobStep(int iStepId = 0) : mStepId(iStepId) {}
    /// The copy constructor leaves the task CPU time at 0, assignment copies it: callers rely on the difference.
    QORJobStep(const QORJobStep& iOther);
    QORJobStep& operator=(const QORJobStep& iOther);
    ~QORJobStep() = default;

    /// Makes a step in the buffer of the job that it will be given to, and which it must not outlive; its memory comes
    /// back with the buffer's. On the heap, as with `new`, for null. Null without memory. `delete` is for steps on the
    /// heap only.
    static QORJobStep* NewStep(int iStepId, QBase::Buffer* iBuffer);

    /// Ends a step wherever it lies; for std::unique_ptr.
    struct Ender
    {
        void operator()(QORJobStep* iStep) const noexcept
        {
            if (iStep->mbInBuffer)
                iStep->~QORJobStep();
            else
                delete iStep;
        }
    };

    /// Without an argument: now, in UTC.
    HRESULT SetStartTime() { return SetStartTime(QDataType::DateTime::NowUTC()); }
    HRESULT SetStartTime(QDataType::DateTime iTime) { return QORJOB::SetField(mStartTime, iTime); }
    HRESULT SetFinishTime() { return SetFinishTime(QDataType::DateTime::NowUTC()); }
    HRESULT SetFinishTime(QDataType::DateTime iTime) { return QORJOB::SetField(mFinishTime, iTime); }
    HRESULT GetStartTime(QDataType::DateTime* oTime) const { return QORJOB::GetField(mStartTime, oTime); }
    HRESULT GetFinishTime(QDataType::DateTime* oTime) const { return QORJOB::GetField(mFinishTime, oTime); }

    /// Stores the CPU time of the calling thread since the two given times.
    HRESULT SetTaskCPUTime(FILETIME iKernelAtStart, FILETIME iUserAtStart);
    /// In 100-nanosecond units, modulo 2^32. `oTime` must not be null.
    HRESULT GetTaskCPUTime(double* oTime) const;

    HRESULT SetPUId(int iPUId) { return QORJOB::SetField(mPUId, iPUId); }
    HRESULT SetPUPriority(int iPriority) { return QORJOB::SetField(mPUPriority, iPriority); }
    /// Without an argument: the calling thread's.
    HRESULT SetThreadId() { return SetThreadId(QBase::GetCurrentThreadID()); }
    HRESULT SetThreadId(DWORD iThreadId) { return QORJOB::SetField(mThreadId, iThreadId); }
    HRESULT GetId(int* oStepId) const { return QORJOB::GetField(mStepId, oStepId); }
    HRESULT GetPUId(int* oPUId) const { return QORJOB::GetField(mPUId, oPUId); }
    HRESULT GetPUPriority(int* oPriority) const { return QORJOB::GetField(mPUPriority, oPriority); }
    HRESULT GetThreadId(DWORD* oThreadId) const { return QORJOB::GetField(mThreadId, oThreadId); }

    void InitChapterKey();
    /// Null is taken as empty; more than 40 units are truncated.
    void SetChapterKey(const QBase::WCHAR* iKey);
    /// Zero-terminated; valid while the step lives.
    const QBase::WCHAR* GetChapterKey() const { return mChapterKey; }

    /// A new step with only the id of this one, owned by the caller; null and S_OK without memory.
    HRESULT Clone(QORJobStep** oStep) const;

    /// The binary record: two times, step id, PU id, thread id and the whole chapter key, little-endian.
    DWORD GetSaveObjSize(unsigned* oSize) const;
    /// Sets `oSize` to the record's size first; S_FALSE if that is more than `iBufferSize`. `iVersion` is ignored.
    DWORD SaveObj(unsigned iVersion, unsigned iBufferSize, signed char* oBuffer, unsigned* oSize) const;
    /// `iBuffer` must hold a whole record. Fields that aren't in it keep their values.
    DWORD LoadObj(unsigned iVersion, const signed char* iBuffer);

private:
    struct Record; // the saved fields

    QDataType::DateTime mStartTime;
    QDataType::DateTime mFinishTime;
    DWORD mTaskCPUTime = 0;
    int mPUPriority = 0;
    int mPUId = -1;
    DWORD mThreadId = 0;
    int mStepId;
    QBase::WCHAR mChapterKey[cChapterKeyUnits] = {};
    bool mbInBuffer = false; // of this object: not copied
};

/// Owns a step that a job is to have or has had.
using QORJobStepPtr = std::unique_ptr<QORJobStep, QORJobStep::Ender>;
