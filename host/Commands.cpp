// What is done to a job from outside, under its record's lock.
#include "host/Boundary.h"
#include "host/Core.h"
#include "host/Failure.h"

#include <memory>
#include <utility>

namespace QORHOST
{

bool Core::IsTooLate(const Record& iRecord)
{
    return iRecord.mbCommitted || iRecord.mbBroken || QORJOB::HasEnded(StatusOf(*iRecord.mpJob.Get()));
}

/// The running step learns that it is to stop, by its run, its token and its context.
void Core::TellToStop(Hold& ioHold)
{
    Record& record = ioHold.GetRecord();
    record.mbContextTold = true;
    const auto failure = Catch([&] {
        if (record.mpContext)
            record.mpContext->put_LongB(ICKDXProcessContext::cStop);
    });
    if (failure != nullptr)
        mLog.Write(EnumRouter::Error, "The context of job %1 can't be told to stop: %2", record.mId, failure);
    if (record.mpRunning == nullptr)
        return;
    record.mpRunning->mbTold = true;
    ioHold.StopLater(record.mpRunning->mStop);
}

EnumHostAnswer Core::Cancel(Hold& ioHold, const std::string& iReason)
{
    Record& record = ioHold.GetRecord();
    if (IsTooLate(record))
        return EnumHostAnswer::TooLate;
    std::string reason = iReason;                                    // memory first: a cancelled job stays cancelled
    std::unique_ptr<QORJobStep> close(new QORJobStep(StepCloseJob)); // in case that the job refuses
    if (close == nullptr)
        return EnumHostAnswer::NotPossible;
    const bool bMade = MakeWayForReport(record);
    if (FAILED(record.mpJob->Cancel()) || StatusOf(*record.mpJob.Get()) != JobCancelled)
    {
        if (bMade)
            record.mpJob->AddStep(close.release(), nullptr); // in the place of the one that went
        return EnumHostAnswer::NotPossible;
    }
    record.mReason.swap(reason);
    record.mbPaused = false;
    record.mRetryAt = cNever;
    if (const auto failure = Catch([&] { ReportCancellation(record.mpContext.Get(), record.mReason); }))
        mLog.Write(EnumRouter::Error, "Job %1 is cancelled, but its answer doesn't say so: %2", record.mId, failure);
    TellToStop(ioHold);
    ioHold.CancelChildrenLater();
    Advance(ioHold);
    return EnumHostAnswer::Done;
}

EnumHostAnswer Core::Pause(Hold& ioHold)
{
    Record& record = ioHold.GetRecord();
    if (IsTooLate(record))
        return EnumHostAnswer::TooLate;
    if (record.mbPaused || mClosing != ClosingNot || record.mpJob->GetRequestType() != RequestDocument)
        return EnumHostAnswer::NotPossible;
    record.mpJob->PauseCurrentStep();
    record.mbPaused = true;
    TellToStop(ioHold);
    if (record.mState == EnumHostState::Delayed)
        record.mState = EnumHostState::Paused;
    else if (record.mState == EnumHostState::Queued && record.mpUnit != nullptr && record.mpUnit->Remove(record))
    {
        record.mpJob->SetPUExit(record.mpUnit->GetPlan().mId, QORJOB_W(""));
        record.mState = EnumHostState::Paused;
    }
    return EnumHostAnswer::Done; // a thread that has it leaves it as soon as its step has ended
}

EnumHostAnswer Core::Resume(Hold& ioHold)
{
    Record& record = ioHold.GetRecord();
    if (record.mbBroken || QORJOB::HasEnded(StatusOf(*record.mpJob.Get())))
        return EnumHostAnswer::TooLate;
    if (!record.mbPaused)
        return record.mbCommitted ? EnumHostAnswer::TooLate : EnumHostAnswer::NotPossible;
    record.mbPaused = false;
    record.mRetryAt = cNever; // it has waited enough
    if (record.mState != EnumHostState::Paused && record.mState != EnumHostState::WaitingForChildren)
        return EnumHostAnswer::Done; // the thread that has it goes on with it
    GoOn(record);
    if (record.mState == EnumHostState::Paused)
        Enter(ioHold);
    else
        record.mpJob->SetStatus(cWaitingForChildren, nullptr);
    return EnumHostAnswer::Done;
}

EnumHostAnswer Core::SetTimeLeft(Hold& ioHold, std::chrono::milliseconds iTime)
{
    Record& record = ioHold.GetRecord();
    if (IsTooLate(record) || record.mpOverdue != nullptr)
        return EnumHostAnswer::TooLate;
    const Moment now = Clock::now();
    QDataType::DateTime creation;
    Timers::Prepare(record);
    record.mpJob->GetJobCreationTime(&creation);
    const std::int64_t age = (QDataType::DateTime::NowUTC() - creation).GetTotalMilliseconds();
    const Moment end = After(iTime, now);
    const auto left = end == cNever ? std::chrono::milliseconds(UINT32_MAX) : iTime;
    const auto period = static_cast<unsigned>(std::clamp<std::int64_t>(age + left.count(), 0, UINT32_MAX));
    record.mpJob->SetTimeOutPeriodInMilliseconds(period);
    record.mLifeEnd = record.mGivenUntil = end;
    SetTimer(record);
    return EnumHostAnswer::Done;
}

EnumHostAnswer Core::SetPriority(Hold& ioHold, int iPriority)
{
    Record& record = ioHold.GetRecord();
    if (IsTooLate(record))
        return EnumHostAnswer::TooLate;
    record.mpJob->SetPUPriority(iPriority);
    record.mPriority = iPriority;
    if (record.mState == EnumHostState::Queued && record.mpUnit != nullptr && record.mpUnit->Remove(record))
        record.mpUnit->Put(record, iPriority, false, record.mEntered);
    return EnumHostAnswer::Done;
}

} // namespace QORHOST
