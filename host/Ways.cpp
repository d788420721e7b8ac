// The ways of a job that no thread runs: into a queue, to rest, to the end.
#include "host/Boundary.h"
#include "host/Core.h"
#include "host/Failure.h"

#include <utility>

namespace QORHOST
{

/// Into the queue of the unit that runs its next step; in front of all others once the job has ended and only tells of
/// it. Another thread may have it then as soon as the record is let go.
void Core::Enter(Hold& ioHold)
{
    Record& record = ioHold.GetRecord();
    if (mClosing == ClosingEnded)
        return EndUnrun(ioHold);
    QORJob& job = *record.mpJob.Get();
    Unit* unit = record.mpUnit != nullptr ? record.mpUnit : mUnits.front().get();
    bool bFirst = true;
    const std::exception_ptr failure = Catch([&] {
        if (record.mbBroken)
            return;
        const int stepId = NextStepOf(record);
        unit = &UnitOf(stepId, *unit);
        bFirst = IsStopping() || QORJOB::HasEnded(StatusOf(job));
        job.GetPUPriority(&record.mPriority);
        SetCurrentStep(record, stepId);
        Expect(job.SetPUEnter(unit->GetPlan().mId, QORJOB_W(""), 0), "SetPUEnter");
        job.EnqueuePulse();
    });
    if (failure != nullptr)
        Break(ioHold, failure);
    record.mState = EnumHostState::Queued;
    record.mpUnit = unit;
    record.mSince = record.mEntered = Clock::now();
    SetTimer(record);
    unit->Put(record, record.mPriority, bFirst || record.mbBroken, record.mEntered);
}

/// The one that runs the step; `ioWhere` for a step that runs where the job is.
Unit& Core::UnitOf(int iStepId, Unit& ioWhere) const
{
    Unit* const unit = IsRunnableStep(iStepId) ? mStepUnits[static_cast<std::size_t>(iStepId)] : nullptr;
    return unit == nullptr ? ioWhere : *unit;
}

void Core::SetCurrentStep(Record& ioRecord, int iStepId)
{
    ioRecord.mStatisticsStep = iStepId;
    ioRecord.mpJob->SetCurrentStepForStatistics(iStepId);
}

/// The job leaves the unit that has run it.
void Core::Exit(Record& ioRecord)
{
    ioRecord.mpUnit->Leave(ioRecord);
    ioRecord.mpJob->SetPUExit(ioRecord.mpUnit->GetPlan().mId, QORJOB_W(""));
}

/// After a command or a failure: a job that no thread has goes on to what tells of it. Whoever has it sees for himself.
void Core::Advance(Hold& ioHold)
{
    Record& record = ioHold.GetRecord();
    switch (record.mState)
    {
    case EnumHostState::Queued:
        if (record.mpUnit == nullptr || !record.mpUnit->Remove(record))
            return;
        if (record.mbBroken || &UnitOf(NextStepOf(record), *record.mpUnit) == record.mpUnit)
            return record.mpUnit->Put(record, 0, true, record.mEntered);
        record.mpJob->SetPUExit(record.mpUnit->GetPlan().mId, QORJOB_W(""));
        return Enter(ioHold);
    case EnumHostState::Paused:
    case EnumHostState::Delayed:
        record.mRetryAt = cNever;
        return Enter(ioHold);
    default:
        return;
    }
}

/// For choosing a unit; 0 when there is none, and where the job can't tell, which is noticed when it is asked to run
/// one.
int Core::NextStepOf(const Record& iRecord)
{
    int stepId = iRecord.mOwedStep != StepNoMore ? iRecord.mOwedStep : iRecord.mHandedStep;
    if (stepId == StepNoMore)
        iRecord.mpJob->GetCurrentStepId(&stepId, nullptr);
    return stepId;
}

/// Nobody runs the job's last steps any more.
void Core::EndUnrun(Hold& ioHold)
{
    Record& record = ioHold.GetRecord();
    record.mState = EnumHostState::Running; // it is this thread's
    Break(ioHold, Catch([] { throw CallError("the host has ended"); }));
    ioHold.EndLater();
}

/// The job is with no thread and in no unit.
void Core::Rest(Hold& ioHold, EnumHostState iState)
{
    Record& record = ioHold.GetRecord();
    if (mClosing == ClosingEnded)
        return EndUnrun(ioHold);
    QORJob& job = *record.mpJob.Get();
    const int status = StatusOf(job);
    if (iState == EnumHostState::WaitingForChildren && !QORJOB::HasEnded(status))
        job.SetStatus(cWaitingForChildren, nullptr);
    if (iState == EnumHostState::Paused && !QORJOB::IsHeld(status))
        job.PauseCurrentStep(); // to be in a queue meanwhile was another status
    record.mState = iState;
    record.mSince = Clock::now();
    SetTimer(record);
}

/// When the host is stopped. A job that has ended, and tells of it or closes, is left alone.
void Core::StopWork(Hold& ioHold)
{
    Record& record = ioHold.GetRecord();
    QORJob& job = *record.mpJob.Get();
    const int status = StatusOf(job);
    if (QORJOB::HasEnded(status) || (record.mbCommitted && !QORJOB::IsHeld(status)))
        return;
    record.mbPaused = false;
    record.mRetryAt = cNever;
    record.mReason = "the host was stopped";
    job.SetStatus(JobStopped, nullptr);
    job.ClearTodoSteps();
    job.AddStep(new QORJobStep(StepCloseJob), nullptr); // without memory it has nothing left to run, and ends as well
}

/// The job has ended: once, by the thread that had it last.
void Core::EndJob(const std::shared_ptr<Record>& iRecord)
{
    Record& record = *iRecord;
    QORHostOnEnd onEnd = std::exchange(record.mOptions.mOnEnd, {});
    if (onEnd != nullptr || mConfig.mOnEnd != nullptr)
    {
        const std::lock_guard hold(record.mMutex);
        KeepEnd(record);
    }
    CallBack(iRecord, mConfig.mOnEnd); // before it leaves the open ones: who keeps ended jobs misses none
    {
        const std::lock_guard hold(mMutex);
        const std::shared_ptr<Record> open = std::move(*record.mOpenPlace);
        mOpen.erase(record.mOpenPlace);
        if (record.mpParent == nullptr)
            --mOpenJobs;
        mBytes -= record.mOptions.mBytes;
        if (record.mpUser != nullptr && --record.mpUser->mOpenJobs == 0)
            mUsers.erase(record.mUserPlace);
    }
    mRoom.notify_all();
    CallBack(iRecord, onEnd);
    onEnd = nullptr; // with what it has captured

    QBase::PtrI<QORJob> job;
    QBase::PtrI<ICKDXProcessContext> context;
    {
        const std::lock_guard hold(record.mMutex);
        if (record.mState != EnumHostState::Ended)
            KeepEnd(record);
        // Others than the caller and the document have it: from here on only copies of theirs are made.
        if (iRecord.use_count() > (record.mpParent == nullptr ? 1 : 2))
            KeepSnapshot(record);
        record.mbCalledBack = true;
        job = std::move(record.mpJob);
        context = std::move(record.mpContext);
    }
    record.mEnded.notify_all();
    if (record.mpParent != nullptr)
        EndChild(iRecord);
    context = {};
    job = {};
    --mUnfinished;
    WakeRunUntils();
    if (mEndWaiters == 0)
        return;
    const std::lock_guard hold(mMutex);
    mAllEnded.notify_all();
}

/// Threads of the server's own look again whether what they run jobs for has come.
void Core::WakeRunUntils()
{
    if (mRunUntils > 0)
        for (const auto& unit : mUnits)
            unit->Wake();
}

/// What handles are told from here on.
void Core::KeepEnd(Record& ioRecord)
{
    QORJob& job = *ioRecord.mpJob.Get();
    mTimers.Forget(ioRecord);
    ioRecord.mState = EnumHostState::Ended;
    ioRecord.mpCore = nullptr; // whoever ends the job has it, too
    job.UpdateJobCloseCounters();
    if (ioRecord.mbRunAway)
        job.NeedToPerisistMsgStatusForRunAway(RunAwayCleanUp);
    job.GetStatus(&ioRecord.mStatus);
    job.GetErrCode(&ioRecord.mErrorCode);
}

void Core::KeepSnapshot(Record& ioRecord)
{
    const std::exception_ptr failure = Catch([&] {
        auto snapshot = std::make_unique<QORJobInfo>();
        ExpectMemory(ioRecord.mpJob->GetJobInfo(snapshot.get()));
        ioRecord.mpSnapshot = std::move(snapshot);
    });
    ioRecord.mbSnapshotMissing = failure != nullptr;
}

void Core::CallBack(const std::shared_ptr<Record>& iRecord, const QORHostOnEnd& iOnEnd)
{
    if (iOnEnd == nullptr)
        return;
    const Own own(*this, *iRecord);
    if (const std::exception_ptr failure = Catch([&] { iOnEnd(QORHostJob(iRecord), *iRecord->mpJob.Get()); }))
        mLog.Write(EnumRouter::Error, "The callback of job %1 has thrown: %2", iRecord->mId, failure);
}

} // namespace QORHOST
