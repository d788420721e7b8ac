// The handle of a job that a host runs.
#pragma once

#include "host/QORHostTypes.h"

#include <chrono>
#include <memory>
#include <string>

namespace QORHOST
{
class Core;
struct Record;
} // namespace QORHOST

/// Outlives the job and the host: what is asked then is answered as it was at the job's end, and commands are too late.
/// Each command is over when it returns: what it answers is true then, and stays true but for what others do.
///
/// Threads: any; one object is for one thread at a time, as with all values.
/// Owns:    a share of the host's record of the job; not the job.
/// Errors:  an empty handle may only be asked whether it is empty, compared, and assigned to.
/// Locks:   the record's, for a moment.
class QORHostJob
{
public:
    QORHostJob() = default;
    explicit operator bool() const { return mpRecord != nullptr; }
    bool operator==(const QORHostJob& iOther) const = default;

    /// The job's own.
    int GetId() const;
    EnumHostState GetState() const;
    bool HasEnded() const { return GetState() == EnumHostState::Ended; }
    /// One of EnumJobStatus.
    int GetStatus() const;
    /// The first error's code, 0 for none; and in English why the job failed, was cancelled or stopped, else empty.
    HRESULT GetErrorCode() const;
    std::string GetReason() const;
    /// The percentage that a step has reported last.
    int GetProgress() const;
    /// Costs less than the others together, and much less than a snapshot.
    QORHostLook GetLook() const;
    /// For its reading operations, which any thread may call: null once it has ended and its callbacks have.
    QBase::PtrI<QORJob> GetJob() const;
    /// The job as it is, or as it was at its end. A step that was passed over stands among the finished ones, too,
    /// without a start. E_HANDLE when it has ended and nobody had a handle then; E_OUTOFMEMORY when there was no memory
    /// to keep it.
    HRESULT GetSnapshot(QORJobInfo& oInfo) const;

    /// Until the job has ended, and its callback has. The second is false when that took longer; a step or a callback
    /// that waits for its own job, or for a document that waits for it, gets at once whether that has ended.
    bool Wait() const;
    bool WaitFor(std::chrono::milliseconds iLimit) const;

    /// The job ends as cancelled: a running step is told to stop, what reports and closes is still run, the children
    /// are cancelled. The code 0x80043014 is the answer in the job's output message, with the reason as its argument.
    /// NotPossible when the job's report instance refuses it.
    EnumHostAnswer Cancel(const std::string& iReason);
    /// Documents only. A running step is told to stop: if it does it is run again after the pause, if it ends it is
    /// not. NotPossible for other jobs, and for one that is paused.
    EnumHostAnswer Pause();
    /// NotPossible for a job that isn't paused; also goes on with one that a step has put into a held state.
    EnumHostAnswer Resume();
    /// The job, and the queue or the step that it is in, have that much time left from now on, whatever the limits
    /// were; 0: as much as they like. TooLate once the step was told that its time is over.
    EnumHostAnswer SetTimeLeft(std::chrono::milliseconds iTime);
    EnumHostAnswer SetPriority(int iPriority);

private:
    friend class QORHOST::Core;
    friend class QORHost;
    friend class QORHostJobReference;
    friend class QORHostRun;
    explicit QORHostJob(std::shared_ptr<QORHOST::Record> iRecord) : mpRecord(std::move(iRecord)) {}

    std::shared_ptr<QORHOST::Record> mpRecord;
};

/// What finds a handle again without keeping what is left of the job.
class QORHostJobReference
{
public:
    QORHostJobReference() = default;
    explicit QORHostJobReference(const QORHostJob& iJob) : mpRecord(iJob.mpRecord) {}

    /// Empty once the job has ended and nobody has a handle.
    QORHostJob Lock() const { return QORHostJob(mpRecord.lock()); }
    bool IsOf(const QORHostJob& iJob) const
    {
        return !mpRecord.owner_before(iJob.mpRecord) && !iJob.mpRecord.owner_before(mpRecord);
    }

private:
    std::weak_ptr<QORHOST::Record> mpRecord;
};

/// What Submit gives: the handle is empty unless the job was accepted.
struct QORHostSubmission
{
    EnumHostSubmit mResult = EnumHostSubmit::Closed;
    QORHostJob mJob;

    explicit operator bool() const { return mResult == EnumHostSubmit::Accepted; }
};
