// Times: limits of waiting, running and living, steps that are tried again, and what is done about steps that hang.
#include "host/Boundary.h"
#include "host/Core.h"
#include "host/Failure.h"

#include <algorithm>
#include <utility>

namespace QORHOST
{

namespace
{

constexpr const char* cWaitedTooLong = "it waited in the queue for longer than it may";
constexpr const char* cLivedTooLong = "it took longer than the job's time allows";
constexpr const char* cRanTooLong = "it took longer than a step may take";
constexpr const char* cSilentTooLong = "it reported no progress for longer than it may";

} // namespace

/// The thread that looks after times, after requests of signal handlers, and after threads that couldn't be started.
void Core::Watch()
{
    constexpr std::chrono::milliseconds cTick{100};
    while (mTimers.Wait(Clock::now() + cTick))
    {
        if (const int requested = mRequested; requested > mClosing)
            Close(requested);
        while (const std::shared_ptr<Record> record = mTimers.TakeDue(Clock::now()))
            if (const auto failure = Catch([&] { CheckTimes(record); }))
                mLog.Write(EnumRouter::Error, "The times of job %1 couldn't be looked at: %2", record->mId, failure);
        RefillUnits();
    }
}

/// Starts the threads that are missing: that of a step that was given up, and those that couldn't be started before.
void Core::RefillUnits()
{
    constexpr std::chrono::milliseconds cPause{500}; // after a failure
    if (Clock::now() < mNextRefill.load())
        return;
    for (const auto& unit : mUnits)
        if (unit->CountMissing() > 0)
            if (const auto failure = Catch([&] { unit->Refill(); }))
            {
                mNextRefill = Clock::now() + cPause;
                mLog.Write(EnumRouter::Error, "Unit %1 lacks a thread, which doesn't start: %2", unit->GetPlan().mName,
                           failure);
            }
}

void Core::CheckTimes(const std::shared_ptr<Record>& iRecord)
{
    Hold hold(*this, *iRecord);
    Record& record = *iRecord;
    if (record.mpCore == nullptr)
        return;
    const Moment now = Clock::now();
    const char* why = nullptr;
    if (record.mpRunning != nullptr)
        CheckStep(hold, now);
    else if (now >= GetEnd(record, &why) && why != nullptr)
    {
        FailOverdue(hold, why);
        Advance(hold);
    }
    else if (record.mState == EnumHostState::Delayed && now >= record.mRetryAt)
    {
        record.mRetryAt = cNever;
        Enter(hold);
    }
    if (record.mpCore != nullptr)
        SetTimer(record);
}

/// When the time of what the job does now is over, and why; never for one that has ended and only tells of it, unless
/// a step of it hangs.
Moment Core::GetEnd(const Record& iRecord, const char** oWhy)
{
    Moment end = cNever;
    const auto limit = [&](Moment iEnd, const char* iWhy) {
        if (iEnd < end)
        {
            end = iEnd;
            *oWhy = iWhy;
        }
    };
    const QORHostRun* const run = iRecord.mpRunning;
    const bool bOpen = !IsTooLate(iRecord);
    if (run != nullptr && run->mbEndedBefore) // what tells of the end has as much time again
        limit(After(iRecord.mOptions.mLongestLife, iRecord.mStepStart), cLivedTooLong);
    else if (run != nullptr || bOpen)
        limit(iRecord.mLifeEnd, cLivedTooLong);
    if (bOpen && iRecord.mState == EnumHostState::Queued)
        limit(std::max(After(iRecord.mOptions.mLongestWait, iRecord.mEntered), iRecord.mGivenUntil), cWaitedTooLong);
    if (run != nullptr)
    {
        const Moment reported{Clock::duration(run->mLastReport)};
        const auto given = [&](Moment iEnd) { return std::max(iEnd, iRecord.mGivenUntil); };
        limit(given(After(run->mpStep->mLongestRun, iRecord.mStepStart)), cRanTooLong);
        limit(given(After(run->mpStep->mLongestSilence, std::max(reported, iRecord.mStepStart))), cSilentTooLong);
    }
    return end;
}

/// At the earliest moment at which something is to be done.
void Core::SetTimer(Record& ioRecord)
{
    const char* why = nullptr;
    Moment next = ioRecord.mGraceEnd != cNever ? ioRecord.mGraceEnd : GetEnd(ioRecord, &why);
    if (ioRecord.mState == EnumHostState::Delayed)
        next = std::min(next, ioRecord.mRetryAt);
    if (next != cNever)
        mTimers.Set(ioRecord, next);
}

void Core::StartTimes(Record& ioRecord)
{
    ioRecord.mGivenUntil = {};
    ioRecord.mSince = Clock::now();
    if (!Timers::IsPrepared(ioRecord))
        return;
    ioRecord.mStepStart = ioRecord.mSince;
    SetTimer(ioRecord);
}

/// A step whose time is over is told to stop; and when it hasn't after the grace, it is given up.
void Core::CheckStep(Hold& ioHold, Moment iNow)
{
    Record& record = ioHold.GetRecord();
    if (record.mpOverdue == nullptr)
    {
        const char* why = nullptr;
        if (iNow < GetEnd(record, &why) || why == nullptr)
            return;
        record.mpOverdue = why;
        record.mGraceEnd = Until(mConfig.mGrace);
        mLog.Write(EnumRouter::Warning, "%1 of job %2 is told to stop: %3", GetStepName(record.mpRunning->mStepId),
                   record.mId, why);
        if (!record.mpRunning->mpStep->mbCommits)
            TellToStop(ioHold);
    }
    if (iNow >= record.mGraceEnd)
        TakeAway(ioHold, record.mpOverdue);
}

/// The job goes on without the step and the thread that runs it. That thread may come back when it likes.
void Core::TakeAway(Hold& ioHold, const char* iWhy)
{
    Record& record = ioHold.GetRecord();
    QORHostRun& run = *record.mpRunning;
    Unit& unit = run.mUnit;
    mLog.Write(EnumRouter::Warning, "%1 of job %2 is given up: %3", GetStepName(run.mStepId), record.mId, iWhy);
    ++mLateThreads;
    TellToStop(ioHold);
    record.mpRunning = nullptr;
    record.mGraceEnd = cNever;
    record.mpOverdue = nullptr;
    const auto failure = Catch([&] {
        Exit(record);
        const bool bOwed = record.mOwedStep != StepNoMore;
        if (!bOwed && record.mpJob->StopRunningIfHang(0, 0, &run.mTask) != S_OK)
            throw CallError("StopRunningIfHang found another task");
        // The library gives up one step of a job, and would run a closing one again.
        if (record.mbRunAway || bOwed || run.mStepId == StepCloseJob)
            throw CallError("its last steps hang");
        GoOnWithout(ioHold, run, iWhy);
    });
    if (failure != nullptr)
        Break(ioHold, failure);
    if (run.mpWorker != nullptr)
        unit.Replace(*run.mpWorker); // from here on the run is its thread's
    Enter(ioHold);
}

void Core::GoOnWithout(Hold& ioHold, QORHostRun& ioRun, const char* iWhy)
{
    Record& record = ioHold.GetRecord();
    QORJob& job = *record.mpJob.Get();
    ioRun.mbRunAway = record.mbRunAway = true;
    record.mbSilent = ioRun.mpStep->mbCommits;
    job.SetRunAwayStatus();
    if (!QORJOB::HasEnded(StatusOf(job)))
        Fail(ioHold, MakeError(GetStepName(ioRun.mStepId), record.mId, iWhy));
    job.SetRunning(true, nullptr);
    // A reporting step needn't be the first in the list, which is all that the library looks at: it would run it again.
    if (IsReportingStep(ioRun.mStepId))
        Expect(job.SetStepComplete(ioRun.mStepId), "SetStepComplete"); // which the step may have taken out itself
    // Of a job that has lost a step the library keeps the sending of the error and the closing: what else reports is
    // the host's to run.
    const int next = NextStepOf(record);
    if (next != StepSendingErrorMessage && next != StepCloseJob && next != ioRun.mStepId)
        record.mOwedStep = next;
}

} // namespace QORHOST
