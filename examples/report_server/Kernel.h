// Makes a job for each request and drives it through the processing units.
#pragma once

#include "Connection.h"
#include "JobRecord.h"
#include "ProcessingUnit.h"
#include "StepTask.h"
#include "UserSession.h"
#include "Warehouse.h"

#include <array>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// A job is in one unit at a time. A worker that has taken it asks it for its next step and runs it, until the step is
/// another unit's: then the job goes into that unit's queue. After Ctrl-C no work is begun any more: the jobs that are
/// still queued only close.
///
/// Threads: one for Submit, WaitForAll and GetRecords; the workers are its own.
/// Owns:    the units with their threads, the records, one reference to each job until it has closed.
/// Errors:  a request that fails is logged and answered with its error. The constructor throws RequestError when the
///          database can't be reached, std::system_error when there are no threads.
class Kernel
{
public:
    Kernel(const Warehouse& iWarehouse, std::size_t iThreadsPerUnit);
    /// Waits for all jobs, and for the workers.
    ~Kernel();
    Kernel(const Kernel&) = delete;
    Kernel& operator=(const Kernel&) = delete;

    /// The answer goes to `iClient`, from a worker or before the call returns.
    void Submit(ICKDXReadMessage* iRequest, QORChannel* iClient);
    void WaitForAll();

    /// In the order of the requests. Not while jobs run.
    const std::deque<JobRecord>& GetRecords() const { return mRecords; }

private:
    UserSession* OpenSession(const Request& iRequest);
    void MakeJob(UserSession* iSession, JobRecord& ioRecord);
    void DescribeJob(const JobRecord& iRecord);
    ProcessingUnit& UnitOf(EnumUnit iUnit);

    // What a worker does with a job.
    void Drive(EnumUnit iUnit, std::size_t iWorker, JobRecord& ioRecord);
    bool RunSteps(EnumUnit iUnit, Workplace& iWorkplace, JobRecord& ioRecord);
    void RunStep(const StepEntry& iStep, EnumUnit iUnit, Workplace& iWorkplace, JobRecord& ioRecord);

    // On the way of a job.
    void Enter(const StepEntry& iNextStep, JobRecord& ioRecord);
    void Start(EnumUnit iUnit, JobRecord& ioRecord);
    void Exit(EnumUnit iUnit, JobRecord& ioRecord);
    void Fail(const StepEntry& iStep, const std::string& iReason, JobRecord& ioRecord);
    void StopWork(JobRecord& ioRecord);
    void RemoveWork(JobRecord& ioRecord);
    void Abandon(JobRecord& ioRecord, const std::string& iReason);
    void End(JobRecord& ioRecord);

    const Warehouse& mWarehouse;
    std::vector<Connection> mConnections;                                           // one a worker of query execution
    std::map<std::pair<std::string, unsigned>, QBase::PtrI<UserSession>> mSessions; // by user and locale
    std::deque<JobRecord> mRecords;
    std::mutex mMutex; // guards the count
    std::condition_variable mAllEnded;
    std::size_t mOpenJobs = 0;
    std::array<ProcessingUnit, 4> mUnits; // last: their threads use the rest
};
