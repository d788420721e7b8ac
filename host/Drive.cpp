// What a thread does with a job that it has taken from a unit's queue.
#include "host/Boundary.h"
#include "host/Core.h"
#include "host/Failure.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace QORHOST
{

namespace
{

thread_local const Own* tOwn = nullptr;

bool HasWork(const QORHostStep& iStep) { return iStep.mStepId != StepNoMore; }

/// A step that was begun looks so until it is made anew.
void Renew(QORJob& ioJob) { Expect(ioJob.RenewCurrentStep(), "RenewCurrentStep"); }

} // namespace

Own::Own(const Core& iCore, const Record& iRecord) : mpCore(&iCore), mpRecord(&iRecord), mpBefore(tOwn) { tOwn = this; }

Own::~Own() { tOwn = mpBefore; }

/// The steps and callbacks of this host that the calling thread is in.
std::size_t Core::CountOwn() const
{
    std::size_t count = 0;
    for (const Own* own = tOwn; own != nullptr; own = own->mpBefore)
        count += own->mpCore == this ? 1 : 0;
    return count;
}

/// Whether the wait for that job's end would never end: it is the calling thread's own, or waits for that, or nobody
/// runs jobs any more.
bool Core::IsWaitInVain(const Record& iRecord)
{
    for (const Own* own = tOwn; own != nullptr; own = own->mpBefore)
        if (iRecord.mpCore.get() == own->mpCore && own->mpCore->mClosing == ClosingEnded)
            return true;
    return IsOwn(iRecord);
}

/// Whether the calling thread is in a step or a callback of that job, or of a child of it.
bool Core::IsOwn(const Record& iRecord)
{
    for (const Own* own = tOwn; own != nullptr; own = own->mpBefore)
        for (const Record* waiting = own->mpRecord; waiting != nullptr; waiting = waiting->mpParent.get())
            if (waiting == &iRecord)
                return true;
    return false;
}

bool Core::RunOne(Unit& ioUnit, Moment iUntil, std::uint64_t iWakes)
{
    const std::shared_ptr<Record> record = ioUnit.Take(iUntil, iWakes);
    if (record != nullptr)
        Drive(record, ioUnit, nullptr);
    return record != nullptr;
}

void Core::RunUntilClosed(Unit& ioUnit)
{
    ++mRunUntils;
    for (;;)
    {
        const std::uint64_t wakes = ioUnit.CountWakes();
        if ((mClosing != ClosingNot && mUnfinished <= CountOwn()) || ioUnit.IsClosed())
            break;
        RunOne(ioUnit, cNever, wakes);
    }
    --mRunUntils;
}

bool Core::RunUntil(Unit& ioUnit, const QORHostJob& iJob, Moment iUntil)
{
    if (IsOwn(*iJob.mpRecord))
        return iJob.HasEnded();
    ++mRunUntils;
    bool bEnded = false;
    for (;;)
    {
        const std::uint64_t wakes = ioUnit.CountWakes(); // before the look at the job, whose end wakes
        bEnded = iJob.WaitFor({});
        if (bEnded || Clock::now() >= iUntil || ioUnit.IsClosed())
            break;
        RunOne(ioUnit, iUntil, wakes);
    }
    --mRunUntils;
    return bEnded;
}

void Core::Drive(const std::shared_ptr<Record>& iRecord, Unit& ioUnit, Worker* iWorker)
{
    EnumLeave leave = EnumLeave::Elsewhere;
    if (iWorker != nullptr)
        iWorker->mJob = iRecord->mId;
    {
        std::optional<QORHostRun> run; // ends after the hold: what it lets go is the server's
        Hold hold(*this, *iRecord);
        run.emplace(*this, iRecord, ioUnit, iWorker);
        const std::exception_ptr failure = Catch([&] { leave = DriveSteps(hold, *run); });
        if (failure != nullptr)
        {
            Break(hold, failure);
            iRecord->mpUnit->Leave(*iRecord);
            leave = EnumLeave::Ended;
        }
    }
    if (leave == EnumLeave::Ended)
        EndJob(iRecord);
    if (leave == EnumLeave::Late)
        --mLateThreads; // it has let go of the job, too
}

/// Until the job isn't this thread's any more. All is done under the record's lock, but for the steps themselves.
EnumLeave Core::DriveSteps(Hold& ioHold, QORHostRun& ioRun)
{
    Record& record = ioHold.GetRecord();
    QORJob& job = *record.mpJob.Get();
    record.mState = EnumHostState::Running;
    if (!record.mbBroken)
    {
        job.DequeuePulse();
        job.SetPUStart(ioRun.mUnit.GetPlan().mId);
    }
    for (;;)
    {
        const QORHostStep* step = nullptr;
        const EnumLeave leave = ChooseStep(ioHold, ioRun, step);
        if (step == nullptr)
            return leave;
        if (!RunStep(*step, ioHold, ioRun))
            return EnumLeave::Late;
    }
}

/// The step that this thread runs next; null when the job rests, goes to another unit or ends.
EnumLeave Core::ChooseStep(Hold& ioHold, QORHostRun& ioRun, const QORHostStep*& oStep)
{
    Record& record = ioHold.GetRecord();
    QORJob& job = *record.mpJob.Get();
    const auto rest = [&](EnumHostState iState) {
        Exit(record);
        Rest(ioHold, iState);
        return EnumLeave::Elsewhere;
    };
    if (mClosing == ClosingEnded)
        Break(ioHold, std::make_exception_ptr(CallError("the host has ended")));
    if (record.mbBroken)
    {
        Exit(record);
        return EnumLeave::Ended;
    }
    if (IsStopping())
        StopWork(ioHold);
    if (!record.mChildren.empty())
        return rest(EnumHostState::WaitingForChildren);
    if (record.mbPaused)
        return rest(EnumHostState::Paused);
    if (record.mRetryAt != cNever)
        return rest(EnumHostState::Delayed);
    const int before = StatusOf(job);
    ioRun.mbEndedBefore = QORJOB::HasEnded(before); // a job that gets a step below neither ends there nor begins anew
    if (before == JobPausing)                       // and was resumed before it could rest
        GoOn(record);

    const auto moves = [&](int iStepId) {
        if (&UnitOf(iStepId, ioRun.mUnit) == &ioRun.mUnit)
            return false;
        Exit(record);
        Enter(ioHold);
        return true;
    };
    // Who asks for a step to run marks it as started, and is warned when it isn't started next. So in the ordinary way
    // the host looks, starts what it sees, and asks only where that changes the list: at the end, and to begin anew.
    int stepId = NextStepOf(record);
    if (moves(stepId))
        return EnumLeave::Elsewhere;
    const bool bKnown = record.mOwedStep != StepNoMore || record.mHandedStep != StepNoMore;
    record.mHandedStep = StepNoMore;
    if (!bKnown && (stepId == StepNoMore || ioRun.mbEndedBefore || before == JobRequeued))
        Expect(job.GetCurrentStepIdToRun(&stepId, nullptr), "GetCurrentStepIdToRun");
    if (stepId == StepNoMore)
    {
        const int status = StatusOf(job);
        if (QORJOB::IsHeld(status) && mClosing != ClosingNot) // by a step, and nobody may resume it any more
        {
            GoOn(record);
            return ChooseStep(ioHold, ioRun, oStep);
        }
        record.mbPaused = QORJOB::IsHeld(status);
        if (record.mbPaused)
            return rest(EnumHostState::Paused);
        if (!QORJOB::HasEnded(status))
            throw CallError("no step to run, but the job wasn't closed");
        Exit(record);
        return EnumLeave::Ended;
    }
    oStep = FindStep(stepId);
    if (oStep == nullptr)
        throw CallError("step " + std::to_string(stepId) + " isn't one that can be run");
    ioRun.mStepId = stepId;
    if (&UnitOf(stepId, ioRun.mUnit) == &ioRun.mUnit)
        return EnumLeave::Elsewhere;
    // What is left of a job that has failed or lost a step, and what one begins anew with, is known only now. The list
    // of the former stays as it is; the step of the latter is to be looked at there as any other.
    if (ioRun.mbEndedBefore)
        record.mHandedStep = stepId;
    else
        Renew(job);
    oStep = nullptr;
    static_cast<void>(moves(stepId));
    return EnumLeave::Elsewhere;
}

/// False when the step was given up meanwhile: then the job went on without this thread.
bool Core::RunStep(const QORHostStep& iStep, Hold& ioHold, QORHostRun& ioRun)
{
    Record& record = ioHold.GetRecord();
    QORJob& job = *record.mpJob.Get();
    const bool bOwed = record.mOwedStep == ioRun.mStepId;
    ioRun.Begin(iStep);
    Outcome outcome;
    const bool bMayPass = IsReportingStep(ioRun.mStepId) || ioRun.mStepId == StepCloseJob || ioRun.mbEndedBefore;
    if (!HasWork(iStep) && !bMayPass)
        outcome = {Outcome::EnumKind::Failed, std::make_exception_ptr(MakeError(GetStepName(ioRun.mStepId), record.mId,
                                                                                "no unit runs this step"))};
    if (!bOwed)
    {
        SetCurrentStep(record, ioRun.mStepId);
        Expect(job.SetStepStart(ioRun.mStepId, ioRun.mUnit.GetPlan().mId, &ioRun.mTask), "SetStepStart");
    }
    if (HasWork(iStep) && !(record.mbSilent && ioRun.mStepId != StepCloseJob))
    {
        record.mpRunning = &ioRun;
        record.mbCommitted = record.mbCommitted || iStep.mbCommits || iStep.mStepId == StepCloseJob;
        StartTimes(record);
        ioHold.Release();
        outcome = Execute(iStep, ioRun);
        ioHold.Take();
        if (record.mpRunning != &ioRun)
        {
            ioHold.Release();
            ReturnLate(ioRun);
            return false;
        }
        record.mpRunning = nullptr;
    }
    FinishStep(outcome, ioHold, ioRun);
    return true;
}

/// Runs the server's function, or a task that it makes, without the lock. What it throws is the server's, too, and is
/// put in words here.
Core::Outcome Core::Execute(const QORHostStep& iStep, QORHostRun& ioRun) const
{
    using enum Outcome::EnumKind;
    const Own own(*this, *ioRun.mpRecord);
    const std::exception_ptr thrown = Catch([&] {
        if (iStep.mRun != nullptr)
            return iStep.mRun(ioRun);
        const std::unique_ptr<QORJobTask> task = iStep.mMakeTask(ioRun);
        if (task == nullptr)
            throw std::bad_alloc();
        const HRESULT code = task->Run();
        if (FAILED(code))
            throw QORHostError(code, {}, "the task gave " + ToText(code));
        JobTaskStatus status = JobTaskStatusNone;
        if (task->GetStatus(&status) == S_OK && status == JobTaskStatusAborted)
            throw QORHostError(cTaskAborted, {}, "the task was aborted");
    });
    if (thrown == nullptr)
        return {};
    ioRun.mTask.SetAbort();
    Outcome outcome{Failed}; // where the context throws, too
    static_cast<void>(Catch([&] { outcome.mKind = ioRun.IsToldToStop() ? Stopped : Failed; }));
    outcome.mError = Catch([&] {
        const auto again = [&](const RetryRequest& iRequest) {
            outcome.mKind = outcome.mKind == Stopped ? Stopped : TryAgain;
            outcome.mRetry = iRequest.mRetry;
            throw QORHostError(iRequest.mError);
        };
        IsA<RetryRequest>(thrown, again);
        throw ToError(thrown, GetStepName(ioRun.mStepId), ioRun.mpRecord->mId);
    });
    return outcome;
}

/// What comes of a step that has ended in its thread.
void Core::FinishStep(const Outcome& iOutcome, Hold& ioHold, QORHostRun& ioRun)
{
    using enum Outcome::EnumKind;
    Record& record = ioHold.GetRecord();
    QORJob& job = *record.mpJob.Get();
    const char* const overdue = std::exchange(record.mpOverdue, nullptr);
    record.mGraceEnd = cNever;
    ioRun.ReturnMemory();
    if (std::exchange(record.mOwedStep, StepNoMore) == ioRun.mStepId)
        return; // the library knows nothing of this run

    const int status = StatusOf(job); // the step may have changed it, too
    const bool bEnded = QORJOB::HasEnded(status);
    bool bStays = false; // the step is to be run again
    if (iOutcome.mKind == Done)
    {
        if (ioRun.mStepId == StepCloseJob && !bEnded)
            job.SetStatus(JobCompleted, nullptr);
        else if (status == JobPausing)
            job.SetStatus(JobExecuting, nullptr); // else the library would keep the step queued
    }
    else if (!bEnded)
    {
        bStays = overdue == nullptr && iOutcome.mKind != Failed &&
                 (status == JobPausing || MayTryAgain(iOutcome, record, ioRun));
        if (overdue != nullptr)
            Fail(ioHold, MakeError(GetStepName(ioRun.mStepId), record.mId, overdue));
        else if (!bStays && (iOutcome.mKind == Failed || !IsStopping()))
            Fail(ioHold, iOutcome.mError);
    }
    // Only a step that pauses stays queued when it is finished. Looking started, it has to be made anew.
    const bool bAsIfPaused = bStays && status != JobPausing;
    if (bAsIfPaused)
        job.SetStatus(JobPausing, nullptr);
    Expect(job.SetStepFinish(ioRun.mStepId, ioRun.mUnit.GetPlan().mId, &ioRun.mTask), "SetStepFinish");
    if (!bStays)
        record.mRetries = 0;
    else
        Renew(job);
    if (bAsIfPaused)
        job.SetStatus(JobExecuting, nullptr);
}

/// Counts one more run of the step, and sets when.
bool Core::MayTryAgain(const Outcome& iOutcome, Record& ioRecord, const QORHostRun& iRun) const
{
    if (iOutcome.mKind != Outcome::EnumKind::TryAgain || IsStopping() || iRun.mAttempt >= iOutcome.mRetry.mMostTimes)
        return false;
    constexpr double cMost = 1e12; // beyond it Until says never
    const double growth = std::min(std::pow(iOutcome.mRetry.mGrowth, ioRecord.mRetries), cMost);
    const double delay = std::max(0.0, growth * static_cast<double>(iOutcome.mRetry.mDelay.count()));
    const auto longest = static_cast<double>(iOutcome.mRetry.mLongestDelay.count());
    ioRecord.mRetries = iRun.mAttempt;
    ioRecord.mRetryAt = Until(std::chrono::milliseconds(static_cast<std::int64_t>(std::min({delay, longest, cMost}))));
    return true;
}

/// The job goes on after a pause.
void Core::GoOn(Record& ioRecord)
{
    ioRecord.mbContextTold = false;
    ioRecord.mpJob->ResetStatusBeforeResumeExecution();
    ioRecord.mpJob->SetRunning(true, nullptr);
}

/// For a thread whose step was given up; what it uses is its own.
void Core::ReturnLate(QORHostRun& ioRun)
{
    ioRun.ReturnMemory();
    if (ioRun.mbRunAway)
        ioRun.mpJob->NeedToPerisistMsgStatusForRunAway(RunAwayThread);
    mLog.Write(EnumRouter::Info, "The thread that was left in %1 of job %2 has come back", GetStepName(ioRun.mStepId),
               ioRun.mpRecord->mId);
}

} // namespace QORHOST
