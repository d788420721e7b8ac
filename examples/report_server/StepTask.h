// The base of the tasks that run the steps, and the table of the steps.
#pragma once

#include "Connection.h"
#include "JobRecord.h"
#include "Warehouse.h"
#include "qorjob.h"

#include <memory>
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

/// Runs one step of one job: Tasks.h has a class for each. The watchdog may give the step up meanwhile: the task then
/// works on, beside the thread that closes the job. It finds all that it uses of the record as it was; what it leaves
/// in the job nobody reads.
///
/// Threads: the one that runs it.
/// Errors:  Run throws what the work threw, and the task is aborted.
class StepTask : public QORJobTask
{
public:
    StepTask(JobRecord& ioRecord, Workplace& iWorkplace, const StepEntry& iStep);

    HRESULT Run() override;
    /// Whether it was aborted because it was told to stop.
    bool WasStopped() const { return mbStopped; }
    const StepEntry& GetStep() const { return mStep; }

protected:
    /// What the step does: takes its inputs of the job's data items and leaves its output there.
    virtual void Work() = 0;

    /// A job that is cancelled, paused or given up says so in its process context.
    bool IsToldToStop() const;

    JobRecord& mRecord;
    Workplace& mWorkplace;

private:
    const StepEntry& mStep;
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
    std::unique_ptr<StepTask> (*mpMakeTask)(JobRecord& ioRecord, Workplace& iWorkplace, const StepEntry& iStep);

    bool IsStoppable() const { return mKind == EnumStepKind::Work || mKind == EnumStepKind::Family; }
};

/// Gives the tasks the names of their steps, under which the profiles are kept. Once, before the first job.
void NameTasks();

/// Throws JobCallError for a step that this server doesn't know.
const StepEntry& FindStep(int iStepId);

/// The steps that the request is made of. The closing step is the last one.
std::vector<QORJobProcessingStep> StepsOf(const Request& iRequest);
