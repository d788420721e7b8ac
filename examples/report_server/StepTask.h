// The tasks that run the steps.
#pragma once

#include "Connection.h"
#include "JobRecord.h"
#include "Warehouse.h"
#include "qorjob.h"

#include <string>
#include <vector>

/// What the thread that runs a step has to work with.
struct Workplace
{
    const Warehouse& mWarehouse;
    Connection* mpConnection; ///< in the unit of query execution only
};

/// Runs one step of one job.
///
/// Threads: the one that has the job.
/// Errors:  Run gives E_FAIL, sets the task aborted, and keeps the reason.
class StepTask : public QORJobTask
{
public:
    using Work = void (*)(JobRecord& ioRecord, Workplace& iWorkplace);

    StepTask(JobRecord& ioRecord, Workplace& iWorkplace, Work iWork);

    HRESULT Run() override;
    /// Why it failed.
    const std::string& GetError() const { return mError; }

private:
    JobRecord& mRecord;
    Workplace& mWorkplace;
    Work mpWork;
    std::string mError;
};

/// Which unit runs a step, and how.
struct StepEntry
{
    QORJobProcessingStep mStepId;
    EnumUnit mUnit;
    bool mbAnywhere; ///< any unit may run it
    StepTask::Work mpWork;
};

/// Throws JobCallError for a step that this server doesn't know.
const StepEntry& FindStep(int iStepId);

/// The steps that a request of that kind is made of. The closing step is the last one.
const std::vector<QORJobProcessingStep>& StepsOf(EnumRequestKind iKind);
