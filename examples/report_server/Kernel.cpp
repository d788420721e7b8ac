#include "Kernel.h"

#include "Answer.h"
#include "Dump.h"
#include "Errors.h"
#include "Failure.h"
#include "JobCalls.h"
#include "JobFactory.h"
#include "Message.h"
#include "StopSignal.h"
#include "Trace.h"

#include <algorithm>
#include <exception>
#include <utility>

std::string NameOf(const JobRecord& iRecord)
{
    return "job " + std::to_string(iRecord.mId) + " (" + ToText(iRecord.mRequest.mKind) + " for " +
           iRecord.mRequest.mUser + ")";
}

namespace
{

/// What a worker adds to the memory that all queries have in common, for sorting and the like: one alone may take all
/// of it. Their rows are counted elsewhere.
std::uint64_t QueryMemoryOf(const Limits& iLimits)
{
    constexpr std::uint64_t cMegabyte = 1'024 * 1'024;
    constexpr std::uint64_t cLeast = 16 * cMegabyte;
    constexpr std::uint64_t cWithoutLimit = 256 * cMegabyte;
    return iLimits.mJobMemory == Limits().mJobMemory ? cWithoutLimit : std::max(iLimits.mJobMemory, cLeast);
}

} // namespace

Kernel::Kernel(const Warehouse& iWarehouse, Mailboxes& ioMailboxes, std::size_t iThreadsPerUnit, const Limits& iLimits,
               const Recorders& iRecorders)
    : mWarehouse(iWarehouse), mMailboxes(ioMailboxes), mLimits(iLimits), mRecorders(iRecorders)
{
    Connection::LimitMemory(iThreadsPerUnit * QueryMemoryOf(iLimits));
    for (std::size_t worker = 0; worker < iThreadsPerUnit; ++worker)
        mConnections.push_back(iWarehouse.Connect());
    mWatchdog.Start([this](JobRecord& ioRecord) { TakeAway(ioRecord); });
    for (const EnumUnit unit :
         {EnumUnit::SqlGeneration, EnumUnit::QueryExecution, EnumUnit::Analytics, EnumUnit::Delivery})
        UnitOf(unit).Start(iThreadsPerUnit,
                           [this, unit](JobRecord& ioRecord, std::size_t iWorker) { Drive(unit, iWorker, ioRecord); });
}

Kernel::~Kernel()
{
    constexpr std::chrono::milliseconds cMoment{50};
    while (!WaitFor(cMoment))
        ResumeAll();
    mWatchdog.Stop();
    for (ProcessingUnit& unit : mUnits)
        unit.Stop();
}

void Kernel::Submit(ICKDXReadMessage* iRequest, QORChannel* iClient)
{
    JobRecord* record = nullptr;
    {
        const std::lock_guard hold(mMutex);
        record = &mRecords.emplace_back();
        record->mId = static_cast<int>(mRecords.size());
    }
    record->mpClient = QBase::PtrI<QORChannel>(iClient);
    CountOpen(+1);
    try
    {
        record->mpContext = MakeContext(*record, iRequest);
        record->mRequest = UnpackRequest(*iRequest);
        if (record->mId >= cFirstChild)
            throw RequestError("there have been too many requests");
        record->mpSession = OpenSession(record->mRequest);
        if (!record->mRequest.mDestination.empty())
        {
            SendAccepted(iRequest, *iClient);
            record->mpMailbox = mMailboxes.Open(record->mId, record->mRequest);
        }
        const QBase::PtrI<QORJob> job = MakeJob(*record, mLimits.mJobMemory);
        {
            const std::lock_guard hold(record->mMutex);
            record->mpJob = job;
        }
        EnterNext(*record);
    }
    catch (const std::exception& error)
    {
        Abandon(*record, error.what());
    }
}

bool Kernel::WaitFor(std::chrono::milliseconds iTime)
{
    std::unique_lock hold(mMutex);
    return mAllEnded.wait_for(hold, iTime, [this] { return mOpen == 0; });
}

/// The one that is open, or a new one. It stays the kernel's.
UserSession* Kernel::OpenSession(const Request& iRequest)
{
    QBase::PtrI<UserSession>& session = mSessions[{iRequest.mUser, iRequest.mLocale}];
    if (!session)
        session = QBase::PtrI<UserSession>(new UserSession(iRequest.mUser, iRequest.mLocale));
    return session.Get();
}

ProcessingUnit& Kernel::UnitOf(EnumUnit iUnit) { return mUnits.at(static_cast<std::size_t>(iUnit) - 1); }

void Kernel::Drive(EnumUnit iUnit, std::size_t iWorker, JobRecord& ioRecord)
{
    try
    {
        Connection* connection = iUnit == EnumUnit::QueryExecution ? &mConnections.at(iWorker) : nullptr;
        Workplace workplace{*this, mWarehouse, connection};
        if (RunSteps(iUnit, workplace, ioRecord))
            End(ioRecord);
    }
    catch (...)
    {
        Abandon(ioRecord, ReasonOf(std::current_exception()));
    }
}

/// Runs what this unit can of the job. True when the job has closed; when it is false, the job isn't this thread's.
bool Kernel::RunSteps(EnumUnit iUnit, Workplace& iWorkplace, JobRecord& ioRecord)
{
    Start(iUnit, ioRecord);
    for (;;)
    {
        if (RestForChildren(iUnit, ioRecord))
            return false;
        if (StopSignal::IsRaised())
            StopWork(ioRecord);
        int stepId = StepNoMore;
        Expect(ioRecord.mpJob->GetCurrentStepIdToRun(&stepId, nullptr), "GetCurrentStepIdToRun");
        if (stepId == StepNoMore)
        {
            Exit(iUnit, ioRecord);
            if (ioRecord.mStepsDone.empty() || ioRecord.mStepsDone.back() != StepCloseJob)
                throw JobCallError("no step to run, but the job wasn't closed");
            return true;
        }
        const StepEntry& step = FindStep(stepId);
        if (step.mUnit != iUnit && step.mKind != EnumStepKind::Close)
        {
            Exit(iUnit, ioRecord);
            Enter(step, ioRecord);
            return false;
        }
        if (!RunStep(step, iUnit, iWorkplace, ioRecord))
            return false;
    }
}

/// False when the job isn't this thread's any more. Whatever the task throws is an error of its job and no more.
bool Kernel::RunStep(const StepEntry& iStep, EnumUnit iUnit, Workplace& iWorkplace, JobRecord& ioRecord)
{
    const std::unique_ptr<StepTask> task = iStep.mpMakeTask(ioRecord, iWorkplace, iStep);
    task->Init(QORJobData::CreateJobDataObject);
    BeginStep(iUnit, *task, ioRecord);
    ObeyOrders(ioRecord.mId, iStep.mStepId);
    std::exception_ptr failure;
    try
    {
        Expect(task->Run(), "Run");
    }
    catch (...)
    {
        failure = std::current_exception();
    }
    return EndStep(iUnit, *task, failure, ioRecord);
}

void Kernel::BeginStep(EnumUnit iUnit, StepTask& iTask, JobRecord& ioRecord)
{
    const int stepId = iTask.GetStep().mStepId;
    const std::lock_guard hold(ioRecord.mMutex);
    Expect(ioRecord.mpJob->SetCurrentStepForStatistics(stepId), "SetCurrentStepForStatistics");
    Expect(ioRecord.mpJob->SetStepStart(stepId, static_cast<int>(iUnit), &iTask), "SetStepStart");
    ioRecord.mpRunning = &iTask;
    ioRecord.mStepEnd = Moment::clock::now() + mLimits.mStepTime;
    Watch(ioRecord);
}

/// The task may have been taken away meanwhile: then the job has gone on without it.
bool Kernel::EndStep(EnumUnit iUnit, StepTask& iTask, const std::exception_ptr& iFailure, JobRecord& ioRecord)
{
    const StepEntry& step = iTask.GetStep();
    std::unique_lock hold(ioRecord.mMutex);
    if (ioRecord.mpRunning != &iTask)
    {
        hold.unlock();
        ReturnLate(ioRecord);
        return false;
    }
    ioRecord.mpRunning = nullptr;
    mWatchdog.Forget(ioRecord);
    QORJob& job = *ioRecord.mpJob.Get();
    const int status = StatusOf(job);
    const bool bStopped = iTask.WasStopped() && (status == JobCancelled || status == JobPausing);
    if (iFailure != nullptr && !bStopped)
        Fail(step, iFailure, ioRecord);
    Expect(job.SetStepFinish(step.mStepId, static_cast<int>(iUnit), &iTask), "SetStepFinish");
    if (job.IsStepPausing())
    {
        RestPaused(step, iUnit, ioRecord);
        return false;
    }
    ioRecord.mStepsDone.push_back(step.mStepId);
    return true;
}

/// Into the queue of the unit that runs the job's next step. Nothing may touch the record afterwards.
void Kernel::Enter(const StepEntry& iNextStep, JobRecord& ioRecord)
{
    QORJob& job = *ioRecord.mpJob.Get();
    int priority = 0;
    Expect(job.GetPUPriority(&priority), "GetPUPriority");
    Expect(job.SetCurrentStepForStatistics(iNextStep.mStepId), "SetCurrentStepForStatistics");
    Expect(job.SetPUEnter(static_cast<int>(iNextStep.mUnit), QORJOB_W(""), 0), "SetPUEnter");
    job.EnqueuePulse();
    ioRecord.mVisits.push_back({iNextStep.mUnit, Moment::clock::now(), {}, {}});
    UnitOf(iNextStep.mUnit).Put(ioRecord, priority);
}

/// For a job that no worker has.
void Kernel::EnterNext(JobRecord& ioRecord)
{
    int stepId = StepNoMore;
    Expect(ioRecord.mpJob->GetCurrentStepId(&stepId, nullptr), "GetCurrentStepId");
    Enter(FindStep(stepId), ioRecord);
}

void Kernel::Start(EnumUnit iUnit, JobRecord& ioRecord)
{
    ioRecord.mpJob->DequeuePulse();
    Expect(ioRecord.mpJob->SetPUStart(static_cast<int>(iUnit)), "SetPUStart");
    ioRecord.mVisits.back().mStart = Moment::clock::now();
}

void Kernel::Exit(EnumUnit iUnit, JobRecord& ioRecord)
{
    Expect(ioRecord.mpJob->SetPUExit(static_cast<int>(iUnit), QORJOB_W("")), "SetPUExit");
    ioRecord.mVisits.back().mExit = Moment::clock::now();
    if (mRecorders.mpTrace != nullptr)
        mRecorders.mpTrace->AddVisit(*ioRecord.mpJob.Get());
}

/// The job's error rewrites its list of steps: what tells of the error is left, and the closing step.
void Kernel::Fail(const StepEntry& iStep, const std::exception_ptr& iFailure, JobRecord& ioRecord)
{
    LogError(NameOf(ioRecord) + ": " + StepNameOf(iStep.mStepId) + " failed: " + ReasonOf(iFailure));
    if (!QORJOB::HasEnded(StatusOf(*ioRecord.mpJob.Get())))
        ForgetAnswer(*ioRecord.mpContext.Get());
    ReportFailure(*ioRecord.mpJob.Get(), iStep.mStepId, iFailure);
    if (iStep.mKind == EnumStepKind::Answer)
        ioRecord.mbAnswered = false;
}

/// After Ctrl-C. A job that has ended, and tells of it or closes, is left alone.
void Kernel::StopWork(JobRecord& ioRecord)
{
    int stepId = StepNoMore;
    const std::lock_guard hold(ioRecord.mMutex);
    QORJob& job = *ioRecord.mpJob.Get();
    Expect(job.GetCurrentStepId(&stepId, nullptr), "GetCurrentStepId");
    if (stepId == StepNoMore || stepId == StepCloseJob || QORJOB::HasEnded(StatusOf(job)))
        return;
    Expect(job.ClearTodoSteps(), "ClearTodoSteps");
    Expect(job.AddStep(new QORJobStep(StepCloseJob), nullptr), "AddStep");
    Expect(job.SetStatus(JobStopped, nullptr), "SetStatus");
}

/// For a job that the library wouldn't drive any further.
void Kernel::Abandon(JobRecord& ioRecord, const std::string& iReason)
{
    LogError(NameOf(ioRecord) + " is abandoned: " + iReason);
    std::unique_lock hold(ioRecord.mMutex);
    try
    {
        if (ioRecord.mpJob)
            ReportException(*ioRecord.mpJob.Get(), "the kernel", iReason);
        else if (ioRecord.mpContext)
            PackError(*ioRecord.mpContext.Get(), ioRecord.mId, "the kernel", iReason);
    }
    catch (const std::exception& error)
    {
        LogError(NameOf(ioRecord) + " has no error to send: " + error.what());
    }
    hold.unlock();
    End(ioRecord);
}

/// A job that was stopped has given no answer: its client gets an empty one, so that it doesn't wait for another.
void Kernel::End(JobRecord& ioRecord)
{
    try
    {
        std::unique_lock hold(ioRecord.mMutex);
        const bool bToAnswer = ioRecord.mpContext && !std::exchange(ioRecord.mbAnswered, true);
        hold.unlock();
        if (bToAnswer)
            SendAnswer(*ioRecord.mpContext.Get(),
                       ioRecord.mpMailbox ? *ioRecord.mpMailbox.Get() : *ioRecord.mpClient.Get());
    }
    catch (const std::exception& error)
    {
        LogError(NameOf(ioRecord) + " has sent no answer: " + error.what());
    }
    if (ioRecord.mpJob)
    {
        if (FAILED(ioRecord.mpJob->GetStatus(&ioRecord.mFinalStatus)))
            LogError(NameOf(ioRecord) + " didn't tell its status");
        if (FAILED(ioRecord.mpJob->UpdateJobCloseCounters()))
            LogError(NameOf(ioRecord) + " wasn't counted");
        // A thread that was given up and hasn't come back needs the job: whoever comes second lets it go.
        const bool bThreadIsBack = ioRecord.mpJob->NeedToPerisistMsgStatusForRunAway(RunAwayCleanUp);
        if (bThreadIsBack || !ioRecord.mpJob->NeedToKeepMsgInJobForRunAway())
            LetGo(ioRecord);
    }
    if (ioRecord.mpParent != nullptr)
        EndChild(ioRecord.mId, *ioRecord.mpParent);
    CountOpen(-1);
}

/// The last reference goes, and with it the job; somebody who is looking at the job may keep it a little longer.
void Kernel::LetGo(JobRecord& ioRecord)
{
    const std::lock_guard hold(ioRecord.mMutex);
    if (mRecorders.mpDump != nullptr)
        mRecorders.mpDump->Add(*ioRecord.mpJob.Get());
    ioRecord.mpJob = {};
    ioRecord.mpContext = {};
}

void Kernel::CountOpen(int iChange)
{
    const std::lock_guard hold(mMutex);
    mOpen += iChange;
    if (mOpen == 0)
        mAllEnded.notify_all();
}
