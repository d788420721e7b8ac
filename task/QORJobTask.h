// The base of every unit of work that runs one step of a job.
#pragma once

#include "platform/Export.h"
#include "platform/Windows.h"

#include <atomic>

class QORJob;

enum JobTaskStatus : int
{
    JobTaskStatusNone = 0,
    JobTaskStatusComplete = 1,
    JobTaskStatusAborted = 2,
};

/// Tasks of other modules derive from it and override Run.
///
/// Threads: the status may be read and set from any thread; the rest belongs to the thread that runs the task.
/// Owns:    one reference to its job.
/// Errors:  return codes.
/// Locks:   none.
class QORJOB_API QORJobTask
{
public:
    /// `iJob` may be null.
    explicit QORJobTask(QORJob* iJob);
    virtual HRESULT Run();
    virtual ~QORJobTask();

    QORJobTask(const QORJobTask&) = delete;
    QORJobTask& operator=(const QORJobTask&) = delete;

    /// E_POINTER for null.
    HRESULT GetStatus(JobTaskStatus* oStatus) const;
    /// `oOld` may be null.
    HRESULT SetStatus(JobTaskStatus iStatus, JobTaskStatus* oOld);

    /// The performance-profile index of a task id from 0 to 40. E_POINTER for a null `oIndex`, and for any other id
    /// (with -1 written): callers know that code.
    static HRESULT GetProfileIndex(int iTaskId, int* oIndex);

private:
    static constexpr unsigned cTaskIdCount = 41;

    static int mProfileIndex[cTaskIdCount];

    QORJob* mpJob;
    std::atomic<JobTaskStatus> mStatus{JobTaskStatusNone};
};
