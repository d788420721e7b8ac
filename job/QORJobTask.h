// The base of every unit of work that runs one step of a job.
#pragma once

#include "platform/Export.h"
#include "platform/QBase.h"
#include "platform/QORTask.h"
#include "platform/QSynch.h"
#include "platform/Windows.h"

#include <atomic>
#include <string>

class ConfigManager;
class QORJob;
class QORJobData;
class QORJobError;
class QORNamedIdsList;

enum JobTaskStatus : int
{
    JobTaskStatusNone = 0,
    JobTaskStatusComplete = 1,
    JobTaskStatusAborted = 2,
};

/// The first part of a task's own operations. Other modules call them by their slots, and one class may not have both
/// of Init: compilers differ in the order of overloads in a table.
class QORJobTaskHead : public QORTask
{
public:
    /// Makes the data item of an id for a job, such as QORJobData::CreateJobDataObject.
    using DataObjectFactory = HRESULT (*)(const QORJob* iJob, int iId, QORJobData** oData);

    virtual HRESULT Cancel(QORJob* iJob) = 0;
    virtual DWORD Init(DataObjectFactory iFactory) = 0;
};

/// Tasks of other modules derive from it, override Run, read their inputs with GetContextDataX, leave their result with
/// SetOutput, and end with SetComplete or SetAbort. The steps of the job are the business of whoever runs the task.
///
/// Threads: the status may be read and set from any thread; the rest belongs to the thread that runs the task.
/// Owns:    one reference to its job, and one to each input until the task ends. It isn't counted itself: who made it
///          deletes it.
/// Errors:  return codes; 0x80070006 (E_HANDLE) where an operation needs the job and there is none. Exceptions of
///          others stay inside and are logged, as with the operations of QORJob.
/// Locks:   none, but for making the task-name registry.
class QORJOB_API QORJobTask : public QORJobTaskHead
{
public:
    /// `iJob` may be null.
    explicit QORJobTask(QORJob* iJob);

    HRESULT Run() override;
    /// A new task for the same job, and nothing else of this one. Without memory null, and 0 all the same.
    HRESULT Clone(QORTask** oTask) override;
    ~QORJobTask() override;
    void CancelLog() override;
    /// E_NOTIMPL. For servers whose tasks have a way to end early: the library doesn't call it. QORJob::Cancel sets the
    /// stop flag of the job's context, which a task asks for while it works.
    HRESULT Cancel(QORJob* iJob) override;
    /// Both store what they are given and give 0. The manager stays its owner's.
    DWORD Init(DataObjectFactory iFactory) override;
    virtual unsigned Init(ConfigManager* iManager, DataObjectFactory iFactory);

    QORJobTask(const QORJobTask&) = delete;
    QORJobTask& operator=(const QORJobTask&) = delete;

    /// Takes a reference; null clears.
    HRESULT SetJob(QORJob* iJob);
    /// -1 without a job. The second ignores its argument.
    int GetJobId() const;
    int GetJobId(const int* iIgnored) const;
    /// E_POINTER for null.
    HRESULT GetStatus(JobTaskStatus* oStatus) const;
    /// `oOld` may be null.
    HRESULT SetStatus(JobTaskStatus iStatus, JobTaskStatus* oOld);
    HRESULT SetConfigManager(ConfigManager* iManager);
    /// What the factory gives for the task's job; only after Init with a factory.
    HRESULT CreateJobDataObject(int iId, QORJobData** oData);
    /// Never writes `oId`: names are resolved by QORJobData::GetId.
    HRESULT GetDataIdByName(const QBase::WCHAR* iName, int* oId) const;

    /// The job's data item of that id, null when there is none. The task keeps the reference: the item is good until
    /// the task is completed, aborted or destroyed, and not to be released.
    HRESULT GetContextDataX(int iId, QORJobData** oData);
    HRESULT GetContextData(int iId, void** oData);
    /// QORJob::SetJobData of the task's job.
    HRESULT SetOutput(QORJobData* iData);
    /// The same with a new QORBinaryData. `iData`, of the general heap, is taken over whatever comes back, unless the
    /// task has no job: then it stays the caller's.
    HRESULT SetOutput(int iId, void* iData, unsigned iLength);

    /// QORJob::GetJobErrorBuilder of the task's job, which it must have.
    QSynch::SmartPtr<QORJobError, QBase::DeleteC<QORJobError>> GetJobErrorBuilder(HRESULT iCode);

    /// Both release the inputs, even when one of them throws, and give 0. SetAbort first reports the error 0x8004FE0F,
    /// in the language of the user's session, to the error reporter of the job's process context.
    HRESULT SetComplete();
    HRESULT SetAbort();

    // The task-name registry: one a process, made by InitJobTaskNameIds or the first AddName; lookups give E_HANDLE
    // without it. UnInitJobTaskNameIds is for the time when nobody looks anything up any more.

    static HRESULT InitJobTaskNameIds();
    static HRESULT UnInitJobTaskNameIds();
    /// An id from 0 to 40 also gets the name's performance profile.
    static HRESULT AddName(const QBase::WCHAR* iName, int iId);
    /// -1 when the name is unknown.
    static HRESULT GetId(const QBase::WCHAR* iName, int* oId);
    /// The registry's own text; null when the id is unknown.
    static HRESULT GetName(int iId, const QBase::WCHAR** oName);
    static HRESULT GetName(int iId, QBase::wstring& oName);
    /// The performance-profile index of a task id from 0 to 40. E_POINTER for a null `oIndex`, and for any other id
    /// (with -1 written): callers know that code.
    static HRESULT GetProfileIndex(int iTaskId, int* oIndex);

private:
    static constexpr unsigned cTaskIdCount = 41;

    static HRESULT MakeRegistry(bool ibClearProfiles);
    HRESULT ReleaseContextData();
    void ReportAbort() const;
    static std::string GetErrMessage(unsigned iCode, int iLocale);

    static std::atomic<QORNamedIdsList*> mJobTaskNames;
    static std::atomic<int> mProfileIndex[cTaskIdCount]; // zeros until AddName makes the registry, then -1 for none

    QBase::PtrI<QORJob> mpJob;
    std::atomic<JobTaskStatus> mStatus{JobTaskStatusNone};
    QBase::list<QORJobData*> mContextData; // with a reference each; null for an empty slot
    DataObjectFactory mpFactory = nullptr;
    ConfigManager* mpConfigManager = nullptr; // not owned
};
