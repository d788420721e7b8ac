#include "base/KernelLog.h"
#include "job/QORJobRows.h"

namespace
{

enum EnumRunAwayStatus : int
{
    NotRunAway = 0,
    RunAwayDeclared = 1, // neither party has ended
    RunAwayCleanedUp = 2,
    RunAwayReturned = 3, // the thread came first
};

} // namespace

void QORJob::SetRunAwayStatus()
{
    Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        const int step = mCurrentStepForStatistics;
        switch (mRunawayStatus)
        {
        case NotRunAway:
            mRunawayStatus = RunAwayDeclared;
            mRunawayStep = step;
            break;
        case RunAwayReturned:
            mRunawayStep = step;
            LogLine(EnumKernelRouter::Info,
                    "QORJob::SetRunAwayStatus: A cancelled runaway thread (job task) for Job (%1)  at step (%2) "
                    "returns even BEFORE setting it as runaway.",
                    mId.Get(), mRunawayStep);
            break;
        default:
            LogLine(EnumKernelRouter::Error,
                    "QORJob::SetRunAwayStatus: unexpected called - try to set Job (%1) aready in runaway status (%2) "
                    "to be runaway at step (%3).",
                    mId.Get(), mRunawayStatus, step);
            break;
        }
        return S_OK;
    });
}

bool QORJob::NeedToPerisistMsgStatusForRunAway(EnumRunAwayCaller iCaller)
{
    bool bSecond = false;
    Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        if (iCaller != RunAwayThread && iCaller != RunAwayCleanUp)
            return S_OK;
        const int own = iCaller == RunAwayThread ? RunAwayReturned : RunAwayCleanedUp;
        const int others = iCaller == RunAwayThread ? RunAwayCleanedUp : RunAwayReturned;
        if (mRunawayStatus == own)
            LogLine(EnumKernelRouter::Error,
                    "QORJob::NeedToPerisistMsgStatusForRunAway: unexpected called from EnumRunAwayCaller (%1) for Job "
                    "(%2) in runaway status (%3).",
                    static_cast<int>(iCaller), mId.Get(), mRunawayStatus);
        bSecond = mRunawayStatus == others;
        // The thread may return before its job is declared runaway. A clean-up that comes before is an ordinary one.
        if (mRunawayStatus == RunAwayDeclared || (mRunawayStatus == NotRunAway && iCaller == RunAwayThread))
            mRunawayStatus = own;
        return S_OK;
    });
    return bSecond;
}

bool QORJob::NeedToKeepMsgInJobForRunAway() const
{
    bool bKeep = false;
    Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        bKeep = mRunawayStatus >= RunAwayDeclared && mRunawayStatus <= RunAwayReturned;
        if (!bKeep && mRunawayStatus != NotRunAway)
            LogLine(EnumKernelRouter::Error,
                    "QORJob::NeedToKeepMsgInJobForRunAway: unexpected runaway status (%1) for Job (%2).",
                    mRunawayStatus, mId.Get());
        return S_OK;
    });
    return bKeep;
}

void QORJob::StartJobLeakTrace() {}

void QORJob::StopJobLeakTrace() {}

bool QORJob::GetJobLeakTrace() { return false; }
