#include "base/Bstr.h"
#include "base/KernelLog.h"
#include "context/ICKDXProcessContext.h"
#include "job/QORJobRows.h"
#include "job/QORJobTask.h"
#include "platform/QPerfMon.h"
#include "platform/ThreadTimes.h"
#include "record/QORJobStep.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <utility>

namespace
{

/// What dispatch reads of a step: its id, and who has started it.
struct StepState
{
    int mId = StepNoMore;
    DWORD mThreadId = 0;
    int mPUId = -1;
};

HRESULT Read(const QORJobStep* iStep, StepState& oState)
{
    if (iStep == nullptr)
        return E_POINTER;
    iStep->GetId(&oState.mId);
    iStep->GetThreadId(&oState.mThreadId);
    iStep->GetPUId(&oState.mPUId);
    return S_OK;
}

/// The steps that are still run in a job that has failed or was cancelled.
bool IsReportingStep(int iStepId)
{
    return iStepId == StepSendingOutputMessage || iStepId == StepSendingErrorMessage ||
           iStepId == StepSendingDocumentResult || iStepId == StepDelivery;
}

/// Where a dead job's queue is cut: at its error step or its closing step, or at an entry without a step.
bool EndsDeadJob(const QORJobStep* iStep)
{
    StepState state;
    return Read(iStep, state) != S_OK || state.mId == StepCloseJob || state.mId == StepSendingErrorMessage;
}

/// Whether dispatch hands this step out in a job that has ended.
bool IsLastCandidate(int iStepId, int iStatus)
{
    return iStepId == StepCloseJob || (iStatus != JobStopped && IsReportingStep(iStepId));
}

/// The same for GetCurrentStepId, which doesn't drop a failed job's document result and so passes over it.
bool IsLastCurrent(int iStepId, int iStatus)
{
    return IsLastCandidate(iStepId, iStatus) &&
           !(iStatus == JobStoppedWithError && iStepId == StepSendingDocumentResult);
}

} // namespace

/// The id of the first queued step that `iStops`, 0 when there is none; the last started step on the way there goes to
/// `oRunningStepId`.
int QORJob::FindLastStep(bool (*iStops)(int iStepId, int iStatus), int* oRunningStepId) const
{
    for (const QORJobStep* step : mSteps.GetTodo())
    {
        StepState state;
        if (Read(step, state) != S_OK)
            continue;
        if (oRunningStepId != nullptr && state.mThreadId != 0)
            *oRunningStepId = state.mId;
        if (iStops(state.mId, mStatus))
            return state.mId;
    }
    return StepNoMore;
}

HRESULT QORJob::ReadFrontId(int* oStepId) const
{
    const QORJobStep* const front = mSteps.GetCurrent();
    return front == nullptr ? E_POINTER : front->GetId(oStepId);
}

HRESULT QORJob::GetCurrentStepId(int* oStepId, int* oRunningStepId) const
{
    if (oStepId == nullptr)
        return E_POINTER;
    if (oRunningStepId != nullptr)
        *oRunningStepId = -1;
    return Boundary([&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        int current = StepNoMore;
        HRESULT code = S_OK;
        if (mSteps.HasFinishedClosing() || mSteps.GetTodo().empty() || QORJOB::IsHeld(mStatus))
            current = StepNoMore;
        else if (QORJOB::HasFailed(mStatus))
            current = FindLastStep(IsLastCurrent, oRunningStepId);
        else
            code = ReadFrontId(&current);
        if (code != S_OK)
        {
            LogLine(EnumKernelRouter::Error,
                    "QORJob::GetCurrentStepId: Job:%1 has error %2 getting id of a step in to do list", mId.Get(),
                    QLog::Format::Hex, code);
            return code;
        }
        *oStepId = current;
        return S_OK;
    });
}

HRESULT QORJob::GetCurrentStepIdToRun(int* oStepId, int* oRunningStepId)
{
    if (oStepId == nullptr)
        return E_POINTER;
    if (oRunningStepId != nullptr)
        *oRunningStepId = -1;
    return Boundary([&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        if (mStatus == JobStoppedWithError || mStatus == JobCancelled)
            DropDocumentResult();
        if (KernelLog::EnabledRouter(EnumKernelRouter::JobTrace) != nullptr)
            LogFinishedSteps();
        if (mSteps.HasFinishedClosing())
        {
            *oStepId = StepNoMore;
            return S_OK;
        }
        int candidate = StepNoMore;
        const HRESULT code = ChooseCandidate(&candidate, oRunningStepId);
        if (code != S_OK)
            return code;
        if (IsCloseStepBeingRun())
        {
            *oStepId = StepNoMore;
            return S_OK;
        }
        if (mbRunning)
            return HandOut(candidate, oStepId);
        *oStepId = candidate;
        return S_OK;
    });
}

/// A failed or cancelled document doesn't send its result.
void QORJob::DropDocumentResult()
{
    int front = StepNoMore;
    if (ReadFrontId(&front) == S_OK && front == StepSendingDocumentResult)
        mSteps.Delete(mSteps.GetTodo().begin());
}

/// Writes a line for each finished step, newest first, up to the closing step.
void QORJob::LogFinishedSteps() const
{
    for (const QORJobStep* step : mSteps.GetFinished())
    {
        StepState state;
        if (Read(step, state) != S_OK)
            continue;
        LogLine(EnumKernelRouter::JobTrace,
                "QORJob::GetCurrentStepIdToRun: job id: %1, finished step: %2, mbIAmDead: %3, mRunning: %4, status: %5",
                mId.Get(), state.mId, mbIAmDead, mbRunning, mStatus);
        if (state.mId == StepCloseJob)
            return;
    }
}

/// The step that the job's status allows next, 0 for none. Clears the running flag of a job that has none left.
HRESULT QORJob::ChooseCandidate(int* oCandidate, int* oRunningStepId)
{
    if (QORJOB::HasEnded(mStatus))
    {
        *oCandidate = FindLastStep(IsLastCandidate, oRunningStepId);
        if (*oCandidate == StepNoMore && mbRunning)
        {
            mbRunning = false;
            mFinishTime = QDataType::DateTime::NowUTC();
        }
        return S_OK;
    }
    if (QORJOB::IsHeld(mStatus))
    {
        if (mbRunning)
        {
            mbRunning = false;
            mStatusTime = QDataType::DateTime::NowUTC();
        }
        return S_OK;
    }
    if (mStatus == JobRequeued)
    {
        const HRESULT code = RefillRequeuedJob();
        if (code != S_OK)
            return code;
        mStatus = JobReady;
    }
    if (mSteps.GetTodo().empty())
    {
        mbRunning = false;
        mStatus = JobCompleted; // stored directly, without a finish time
        return S_OK;
    }
    const HRESULT code = ReadFrontId(oCandidate);
    if (code == S_OK && *oCandidate == StepNoMore)
        mbRunning = false;
    return code;
}

/// A requeued job without steps gets two: searching the cache, and closing.
HRESULT QORJob::RefillRequeuedJob()
{
    if (!mSteps.GetTodo().empty())
        return S_OK;
    return mSteps.InsertNew(mSteps.GetTodo().end(), StepSearchingCache, StepCloseJob);
}

/// The closing step is given to one thread only: once it is started nobody else gets a step.
bool QORJob::IsCloseStepBeingRun() const
{
    StepState started;
    const bool bStarted = Read(mSteps.FindStartedCloseStep(), started) == S_OK;
    if (bStarted)
        LogLine(EnumKernelRouter::JobTrace,
                "QORJob::GetCurrentStepIdToRun: return GC_NO_MORE_STEP because todo step has gcCloseJob step and it's "
                "being run by some thread.  step: %1, job id: %2, mbIAmDead: %3, mRunning: %4, status: %5, ThreadID: "
                "%6, PUId: %7",
                started.mId, mId.Get(), mbIAmDead, mbRunning, mStatus, started.mThreadId, started.mPUId);
    return bStarted;
}

/// Decides, for a running job, whether the calling thread gets the candidate.
HRESULT QORJob::HandOut(int iCandidate, int* oStepId)
{
    StepState front;
    HRESULT code = Read(mSteps.GetCurrent(), front);
    if (code != S_OK)
        return mbIAmDead ? S_FALSE : code;
    if (front.mThreadId == 0 || front.mPUId == -1)
    {
        code = SetStepStart(iCandidate, 0, nullptr);
        if (code == S_OK)
            *oStepId = iCandidate;
        return code;
    }
    if (mbIAmDead)
        return HandOutOfDeadJob(front.mId, oStepId);
    if (front.mPUId == 0)
    {
        // Handed out before, but not started by a processing unit yet.
        *oStepId = iCandidate;
        LogLine(EnumKernelRouter::Warning,
                "QORJob::GetCurrentStepIdToRun: Need to switch PU: previous step: %1, job id: %2, mbIAmDead: %3, "
                "mRunning: %4, status: %5, ThreadID: %6, PUId: %7",
                front.mId, mId.Get(), mbIAmDead, mbRunning, mStatus, front.mThreadId, front.mPUId);
        return S_OK;
    }
    *oStepId = StepNoMore; // another unit is running the front step
    return S_OK;
}

/// The thread that ran the front step died: only error reporting and closing are left for its job.
HRESULT QORJob::HandOutOfDeadJob(int iLostStepId, int* oStepId)
{
    const StepQueue::List todo = mSteps.GetTodo();
    const bool bEnds = std::any_of(std::next(todo.begin()), todo.end(), EndsDeadJob);
    // What takes memory comes first: without it the job stays as it is. A cancelled job takes no new step; its caller
    // is still told to close it.
    HRESULT code = bEnds || mStatus == JobCancelled ? S_OK : mSteps.InsertNew(todo.end(), StepCloseJob, StepNoMore);
    if (code == S_OK)
        code = SetStepComplete(iLostStepId);
    if (code != S_OK)
        return code;
    const StepQueue::List left = mSteps.GetTodo();
    mSteps.Delete(left.begin(), std::find_if(left.begin(), left.end(), EndsDeadJob));
    int next = StepCloseJob;
    if (!mSteps.GetTodo().empty() && ReadFrontId(&next) != S_OK)
        return S_FALSE;
    code = SetStepStart(next, 0, nullptr);
    if (code == S_OK)
        *oStepId = next;
    return code;
}

HRESULT QORJob::SetStepStart(int iStepId, int iPUId, QORJobTask* iTask)
{
    const HRESULT code = Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        const auto none = mSteps.GetTodo().end();
        const auto found = IsRunnableStep(iStepId) ? mSteps.Find(iStepId) : none;
        if (found != none)
            StartStep(**found, iStepId, iPUId, iTask);
        else
            mpExecutingTask = iTask;
        return S_OK;
    });
    if (code == S_OK)
        LogLine(EnumKernelRouter::JobTrace, "QORJob::SetStepStart: Job:%1 starting step:%2 in PU:%3.", mId.Get(),
                iStepId, iPUId);
    return code;
}

/// Memory is taken first: a step that can't be given to its caller isn't marked as started.
void QORJob::StartStep(QORJobStep& ioStep, int iStepId, int iPUId, QORJobTask* iTask)
{
    const bool bGivesKey = iStepId == StepNoOp && iPUId != 0 && mpProcessContext;
    const Bstr key(bGivesKey ? SysAllocString(ioStep.GetChapterKey()) : nullptr);
    if (bGivesKey && key == nullptr)
        throw std::bad_alloc();

    mpExecutingTask = iTask;
    ioStep.SetStartTime();
    ioStep.SetPUId(iPUId);
    ioStep.SetThreadId();
    ioStep.SetPUPriority(mPUPriority);

    mbExecutingInWarehouse = iStepId == StepQueryExecution && iPUId != 0;
    if (mbExecutingInWarehouse)
    {
        if (mpProcessContext)
            mpProcessContext->put_LimitB(mPUPriority);
        else
            LogLine(EnumKernelRouter::Error, "QORJob::SetStepStart: mProcessContext == NULL.");
    }
    else if (bGivesKey)
    {
        // Under the lock on purpose: the key in the context is always that of the step that was started last.
        mpProcessContext->put_BstrE(key.get());
    }
    if (GetCurrentThreadTimes(&mStepStartTimes.mKernel, &mStepStartTimes.mUser) != 0)
        StartProfile(iStepId);
}

/// Each start of a step has one profile: an agent is made by the first one, and started again by the others.
void QORJob::StartProfile(int iStepId)
{
    if (mUnprofiledStepId == iStepId)
        return;
    for (const StepProfile* profile = mpStepProfiles.get(); profile != nullptr; profile = profile->mpNext.get())
    {
        if (profile->mStepId != iStepId)
            continue;
        QPerfMon::StartProfileAgent(profile->mpAgent.get());
        return;
    }
    int index = -1;
    if (QORJobTask::GetProfileIndex(iStepId, &index) != S_OK)
        return;
    StepProfile::AgentPtr agent(QPerfMon::CreateQORProfileAgent(index));
    if (agent == nullptr && mUnprofiledStepId == StepNoMore)
    {
        mUnprofiledStepId = static_cast<unsigned char>(iStepId); // nearly always, and it takes no memory
        return;
    }
    std::unique_ptr<StepProfile> profile(new StepProfile(iStepId, std::move(agent)));
    if (profile == nullptr)
        return; // without memory the step runs all the same, unprofiled
    profile->mpNext = std::move(mpStepProfiles);
    mpStepProfiles = std::move(profile);
}

void QORJob::EndProfile(int iStepId)
{
    if (mUnprofiledStepId == iStepId)
    {
        mUnprofiledStepId = StepNoMore;
        return;
    }
    for (std::unique_ptr<StepProfile>* profile = &mpStepProfiles; *profile != nullptr; profile = &(*profile)->mpNext)
    {
        if ((*profile)->mStepId != iStepId)
            continue;
        QPerfMon::EndProfileAgent((*profile)->mpAgent.get());
        *profile = std::move((*profile)->mpNext);
        return;
    }
}

HRESULT QORJob::SetStepFinish(int iStepId, int iPUId, QORJobTask* iTask)
{
    return Boundary([&] {
        HRESULT result = S_OK;
        {
            QSynch::CriticalSection::SmartLock lock(mpLock.get());
            if (iStepId == StepQueryExecution)
            {
                JobTaskStatus state = JobTaskStatusNone;
                mbQueryResult = iTask != nullptr && iTask->GetStatus(&state) == S_OK && state == JobTaskStatusAborted;
            }
            if (iTask == mpExecutingTask)
                mpExecutingTask = nullptr;
            else
                result = S_FALSE;
            if (iStepId == StepNoOp && iPUId != 0 && mpProcessContext)
                mpProcessContext->put_BstrE(Bstr(SysAllocString(QORJOB_W(""))).get()); // null counts as empty
            if (mStatus == JobPausing)
                return S_OK;
            FinishStep(iStepId);
        }
        LogLine(EnumKernelRouter::JobTrace, "QORJob::SetStepFinish: Job:%1 completed step:%2.", mId.Get(), iStepId);
        return result;
    });
}

void QORJob::FinishStep(int iStepId)
{
    const StepQueue::List todo = mSteps.GetTodo();
    if (!IsRunnableStep(iStepId) || todo.empty())
        return;
    const auto found = mSteps.Find(iStepId);
    if (found == todo.end())
    {
        FinishAgain(iStepId);
        return;
    }
    if (found != todo.begin())
    {
        // Only one step in front is moved in a call: a step further down stays queued, which callers rely on.
        const auto place = std::distance(todo.begin(), found) + 1;
        mSteps.MoveToFinished(todo.begin());
        if (place != 2)
        {
            LogLine(EnumKernelRouter::Error,
                    "QORJob::SetStepFinish: step %1 is at the %2th place in job %3's ToDoStepList, mbIAmDead = %4",
                    iStepId, static_cast<int>(place), mId.Get(), mbIAmDead);
            return;
        }
    }
    (*found)->SetTaskCPUTime(mStepStartTimes.mKernel, mStepStartTimes.mUser);
    (*found)->SetFinishTime();
    mSteps.MoveToFinished(found);
    EndProfile(iStepId);
}

/// For a step that isn't queued: the newest finished step gets a new finish time, any other is logged as an error.
void QORJob::FinishAgain(int iStepId)
{
    const NewestFirst<QORJobStep> finished = mSteps.GetFinished();
    const auto newest =
        std::find_if(finished.begin(), finished.end(), [](const QORJobStep* iStep) { return iStep != nullptr; });
    if (newest == finished.end())
        return;
    const int newestId = StepQueue::IdOf(**newest);
    if (newestId == iStepId)
        (*newest)->SetFinishTime();
    else if (!mbIAmDead || (newestId != StepCloseJob && newestId != StepSendingErrorMessage))
        LogLine(EnumKernelRouter::Error,
                "QORJob::SetStepFinish: job %1, iStepId = %2, lastFinishedStepId = %3, mbIAmDead = %4", mId.Get(),
                iStepId, newestId, mbIAmDead);
}
