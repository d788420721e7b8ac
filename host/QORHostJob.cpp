#include "host/QORHostJob.h"

#include "host/Boundary.h"
#include "host/Core.h"

using namespace QORHOST;

namespace
{

/// Runs a command under the record's lock; what the library or the memory doesn't allow isn't possible.
template <class Command>
EnumHostAnswer Do(const std::shared_ptr<Record>& iHandles, Command&& iCommand)
{
    const std::shared_ptr<Record> record = iHandles->shared_from_this(); // what is told to stop may drop the handle
    std::shared_ptr<Core> core;
    {
        const std::lock_guard hold(record->mMutex);
        core = record->mpCore;
    }
    if (core == nullptr)
        return EnumHostAnswer::TooLate;
    EnumHostAnswer answer = EnumHostAnswer::NotPossible;
    Hold hold(*core, *record);
    if (record->mpCore == nullptr)
        return EnumHostAnswer::TooLate;
    static_cast<void>(Catch([&] { answer = iCommand(*core, hold); }));
    return answer;
}

} // namespace

int QORHostJob::GetId() const { return mpRecord->mId; }

EnumHostState QORHostJob::GetState() const
{
    const std::lock_guard hold(mpRecord->mMutex);
    return mpRecord->mState;
}

int QORHostJob::GetStatus() const
{
    const std::lock_guard hold(mpRecord->mMutex);
    return mpRecord->mpJob ? StatusOf(*mpRecord->mpJob.Get()) : mpRecord->mStatus;
}

HRESULT QORHostJob::GetErrorCode() const
{
    const std::lock_guard hold(mpRecord->mMutex);
    HRESULT code = mpRecord->mErrorCode;
    if (mpRecord->mpJob)
        mpRecord->mpJob->GetErrCode(&code);
    return code;
}

std::string QORHostJob::GetReason() const
{
    const std::lock_guard hold(mpRecord->mMutex);
    return mpRecord->mReason;
}

int QORHostJob::GetProgress() const { return mpRecord->mProgress; }

QORHostLook QORHostJob::GetLook() const
{
    QORHostLook look;
    const std::lock_guard hold(mpRecord->mMutex);
    look.mState = mpRecord->mState;
    if (mpRecord->mpUnit != nullptr)
        look.mUnit = mpRecord->mpUnit->GetPlan().mId;
    look.mStepId = mpRecord->mStatisticsStep;
    look.mProgress = mpRecord->mProgress;
    look.mSince = mpRecord->mSince;
    look.mStatus = mpRecord->mpJob ? StatusOf(*mpRecord->mpJob.Get()) : mpRecord->mStatus;
    look.mPriority = mpRecord->mPriority;
    return look;
}

QBase::PtrI<QORJob> QORHostJob::GetJob() const
{
    const std::lock_guard hold(mpRecord->mMutex);
    return mpRecord->mpJob;
}

HRESULT QORHostJob::GetSnapshot(QORJobInfo& oInfo) const
{
    QBase::PtrI<QORJob> job;
    {
        const std::lock_guard hold(mpRecord->mMutex);
        if (mpRecord->mpSnapshot != nullptr)
        {
            oInfo = *mpRecord->mpSnapshot;
            return S_OK;
        }
        if (!mpRecord->mpJob)
            return mpRecord->mbSnapshotMissing ? E_OUTOFMEMORY : E_HANDLE;
        job = mpRecord->mpJob;
    }
    return job->GetJobInfo(&oInfo);
}

bool QORHostJob::Wait() const { return WaitFor(std::chrono::milliseconds::max()); }

bool QORHostJob::WaitFor(std::chrono::milliseconds iLimit) const
{
    std::unique_lock hold(mpRecord->mMutex);
    if (Core::IsWaitInVain(*mpRecord))
        return mpRecord->mState == EnumHostState::Ended;
    return mpRecord->mEnded.wait_until(hold, Until(iLimit), [this] { return mpRecord->mbCalledBack; });
}

EnumHostAnswer QORHostJob::Cancel(const std::string& iReason)
{
    return Do(mpRecord, [&](Core& ioCore, Hold& ioHold) { return ioCore.Cancel(ioHold, iReason); });
}

EnumHostAnswer QORHostJob::Pause()
{
    return Do(mpRecord, [](Core& ioCore, Hold& ioHold) { return ioCore.Pause(ioHold); });
}

EnumHostAnswer QORHostJob::Resume()
{
    return Do(mpRecord, [](Core& ioCore, Hold& ioHold) { return ioCore.Resume(ioHold); });
}

EnumHostAnswer QORHostJob::SetTimeLeft(std::chrono::milliseconds iTime)
{
    return Do(mpRecord, [=](Core& ioCore, Hold& ioHold) { return ioCore.SetTimeLeft(ioHold, iTime); });
}

EnumHostAnswer QORHostJob::SetPriority(int iPriority)
{
    return Do(mpRecord, [=](Core& ioCore, Hold& ioHold) { return ioCore.SetPriority(ioHold, iPriority); });
}
