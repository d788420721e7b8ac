// The server's kernel: it makes a job for each request and drives it through the processing units.
#pragma once

#include "Connection.h"
#include "Control.h"
#include "JobRecord.h"
#include "Limits.h"
#include "Mailboxes.h"
#include "ProcessingUnit.h"
#include "StepTask.h"
#include "UserSession.h"
#include "Warehouse.h"
#include "Watchdog.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// The n-th child of document d has the id n + d times this; requests have lower ones.
inline constexpr int cFirstChild = 10'000;

class Dump;
class Trace;

/// What is written down of the jobs while they run; null where nobody wants it.
struct Recorders
{
    Dump* mpDump = nullptr;
    Trace* mpTrace = nullptr;
};

/// A job is in one unit at a time. A worker that has taken it asks it for its next step and runs it, until the step is
/// another unit's: then the job goes into that unit's queue. A document that is paused, or waits for its children, is
/// in no unit: the thread that ends its rest puts it into a queue again. After Ctrl-C no work is begun any more: the
/// jobs that are still queued only close.
///
/// Threads: any for GetLiveJobs, one for all others but StartChildren; the workers and the watchdog are its own.
/// Owns:    the units with their threads, the records, one reference to each job until it has closed.
/// Errors:  a request that fails is logged and answered with its error. The constructor throws RequestError when the
///          database can't be reached, std::system_error when there are no threads.
/// Locks:   a record's mutex first, then the kernel's or a unit's or the watchdog's; never two records'.
class Kernel
{
public:
    Kernel(const Warehouse& iWarehouse, Mailboxes& ioMailboxes, std::size_t iThreadsPerUnit, const Limits& iLimits,
           const Recorders& iRecorders);
    /// Waits for all jobs, and for the workers.
    ~Kernel();
    Kernel(const Kernel&) = delete;
    Kernel& operator=(const Kernel&) = delete;

    /// The answer goes to `iClient`, from a worker or before the call returns. The n-th request's job has the id n.
    void Submit(ICKDXReadMessage* iRequest, QORChannel* iClient);
    /// For the step that executes a document: each of its reports becomes a job.
    void StartChildren(JobRecord& ioDocument);
    /// False when jobs are still open at the end of that time.
    bool WaitFor(std::chrono::milliseconds iTime);

    // --- What is done to jobs: KernelControl.cpp. ---

    /// Is obeyed when the step comes, also for jobs to come; that it can't be done is logged.
    void Order(const Control& iControl);
    /// Is obeyed now; false when it is left for a step to come. Throws, with the reason, when it can't be done.
    bool Obey(const Control& iControl);
    /// When nobody is there any more who could.
    void ResumeAll();

    /// Those that are open, with references of the caller's own: to be released before the kernel ends.
    std::vector<QBase::PtrI<QORJob>> GetLiveJobs();
    /// In the order of the requests. Not while jobs run.
    const std::deque<JobRecord>& GetRecords() const { return mRecords; }
    /// Those whose step never came. Not while jobs run.
    const std::vector<Control>& GetOrders() const { return mOrders; }

private:
    JobRecord* Find(int iJob);
    UserSession* OpenSession(const Request& iRequest);
    ProcessingUnit& UnitOf(EnumUnit iUnit);

    // What a worker does with a job.
    void Drive(EnumUnit iUnit, std::size_t iWorker, JobRecord& ioRecord);
    bool RunSteps(EnumUnit iUnit, Workplace& iWorkplace, JobRecord& ioRecord);
    bool RunStep(const StepEntry& iStep, EnumUnit iUnit, Workplace& iWorkplace, JobRecord& ioRecord);
    void BeginStep(EnumUnit iUnit, StepTask& iTask, JobRecord& ioRecord);
    bool EndStep(EnumUnit iUnit, StepTask& iTask, const std::exception_ptr& iFailure, JobRecord& ioRecord);

    // On the way of a job.
    void Enter(const StepEntry& iNextStep, JobRecord& ioRecord);
    void EnterNext(JobRecord& ioRecord);
    void Start(EnumUnit iUnit, JobRecord& ioRecord);
    void Exit(EnumUnit iUnit, JobRecord& ioRecord);
    void Fail(const StepEntry& iStep, const std::exception_ptr& iFailure, JobRecord& ioRecord);
    void StopWork(JobRecord& ioRecord);
    void Abandon(JobRecord& ioRecord, const std::string& iReason);
    void End(JobRecord& ioRecord);
    void LetGo(JobRecord& ioRecord);
    void CountOpen(int iChange);

    // What is done to a job: under its record's mutex, but for ObeyOrders and TakeAway.
    void ObeyOrders(int iJob, int iStepId);
    bool ObeyOne(const Control& iControl, JobRecord& ioRecord);
    void Cancel(JobRecord& ioRecord);
    bool Pause(const Control& iControl, JobRecord& ioRecord);
    void RestPaused(const StepEntry& iStep, EnumUnit iUnit, JobRecord& ioRecord);
    void Resume(JobRecord& ioRecord);
    void SetTimeout(unsigned iMilliseconds, JobRecord& ioRecord);
    void Watch(JobRecord& ioRecord);
    std::vector<Control> TakeOrders(int iJob, int iStepId, bool ibResume);
    void TakeAway(JobRecord& ioRecord);
    void ReturnLate(JobRecord& ioRecord);

    // Documents and their children: KernelFamily.cpp
    JobRecord* AddChild(const std::string& iReport, JobRecord& ioDocument);
    void OpenChild(JobRecord& ioChild);
    HRESULT TakePart(ICKDXReadMessage& iAnswer, std::size_t iPlace, JobRecord& ioDocument);
    bool RestForChildren(EnumUnit iUnit, JobRecord& ioRecord);
    void EndChild(int iChild, JobRecord& ioDocument);
    void CancelChildren(JobRecord& ioDocument);

    const Warehouse& mWarehouse;
    Mailboxes& mMailboxes;
    const Limits mLimits;
    const Recorders mRecorders;
    std::vector<Connection> mConnections;                                           // one a worker of query execution
    std::map<std::pair<std::string, unsigned>, QBase::PtrI<UserSession>> mSessions; // by user and locale
    std::mutex mMutex;                                                              // guards what follows
    std::deque<JobRecord> mRecords;
    std::vector<Control> mOrders;
    std::condition_variable mAllEnded;
    int mOpen = 0; // jobs, and threads that were given up and haven't come back
    Watchdog mWatchdog;
    std::array<ProcessingUnit, 4> mUnits; // last: their threads use the rest
};

/// "job 16 (report for farid)"
std::string NameOf(const JobRecord& iRecord);
