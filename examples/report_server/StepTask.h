// The tasks that run the steps.
#pragma once

#include "Connection.h"
#include "JobRecord.h"
#include "Warehouse.h"
#include "qorjob.h"

#include <string>
#include <vector>

class Kernel;
struct StepEntry;

/// What the thread that runs a step has to work with.
struct Workplace
{
    Kernel& mKernel;
    const Warehouse& mWarehouse;
    Connection* mpConnection; ///< in the unit of query execution only
};

/// Runs one step of one job. The watchdog may give the step up meanwhile: the task then works on, beside the thread
/// that closes the job. It finds all that it uses of the record as it was; what it leaves in the job nobody reads.
///
/// Threads: the one that runs it.
/// Errors:  Run gives E_FAIL, sets the task aborted, and keeps the reason.
class StepTask : public QORJobTask
{
public:
    using Work = void (*)(JobRecord& ioRecord, Workplace& iWorkplace);

    StepTask(JobRecord& ioRecord, Workplace& iWorkplace, const StepEntry& iStep);

    HRESULT Run() override;
    /// Why it failed.
    const std::string& GetError() const { return mError; }
    /// Whether it failed because it was told to stop.
    bool WasStopped() const { return mbStopped; }
    const StepEntry& GetStep() const { return mStep; }

private:
    JobRecord& mRecord;
    Workplace& mWorkplace;
    const StepEntry& mStep;
    std::string mError;
    bool mbStopped = false;
};

/// What may happen to a step.
enum class EnumStepKind
{
    Work,   ///< may be stopped, and given up when it takes too long
    Family, ///< may be stopped
    Answer,
    Close, ///< any unit may run it
};

/// Which unit runs a step, and how.
struct StepEntry
{
    QORJobProcessingStep mStepId;
    EnumUnit mUnit;
    EnumStepKind mKind;
    StepTask::Work mpWork;

    bool IsStoppable() const { return mKind == EnumStepKind::Work || mKind == EnumStepKind::Family; }
};

/// Throws JobCallError for a step that this server doesn't know.
const StepEntry& FindStep(int iStepId);

/// The steps that a request of that kind is made of. The closing step is the last one.
const std::vector<QORJobProcessingStep>& StepsOf(EnumRequestKind iKind);
