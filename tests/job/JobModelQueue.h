// The rules of a job's lists of steps: what is queued, what dispatch hands out, and how steps start and finish.
#pragma once

#include "tests/job/JobModelState.h"

class JobModelQueue : public JobModelState
{
public:
    using JobModelState::JobModelState;

    // --- Queue -------------------------------------------------------------------------------------------------------
    /// The number of steps goes to `oCount`, unless the job is cancelled.
    void AddStep(const ModelStep& iStep, int& oCount)
    {
        if (mStatus == 5)
            return;
        if (mTodo.empty() || mTodo.front().mId != iStep.mId)
            mTodo.insert(!mTodo.empty() && mTodo.back().mId == 2 ? mTodo.end() - 1 : mTodo.end(), iStep);
        oCount = Size();
    }

    void AddStepToRun(const ModelStep& iStep, int& oStatus)
    {
        if (mStatus == 5)
            return;
        mTodo.push_back(iStep);
        oStatus = mStatus;
    }

    void AddStepAt(std::size_t iPlace, const ModelStep& iStep, int& oCount)
    {
        if (mStatus == 5)
            return;
        mTodo.insert(mTodo.begin() + static_cast<std::ptrdiff_t>(std::min(iPlace, mTodo.size())), iStep);
        oCount = Size();
    }

    void AddCommonSteps(int iManipulation)
    {
        int count = 0;
        if (iManipulation != 0)
            AddStep({20}, count);
        if (iManipulation == 0 || iManipulation == 2 || iManipulation == 0x800)
            AddStep({13}, count);
    }

    HRESULT SetStepComplete()
    {
        mbWarehouse = false;
        if (mTodo.empty())
            return E_UNEXPECTED;
        const int id = mTodo.front().mId;
        const char* const cMixedUp[] = {"Request element", "Request SQL", "Batch child report request"};
        if (id >= 3 && id <= 5)
            Log("Scope Trace: QORJob::SetStepComplete: Job:4711 completed step:", cMixedUp[id - 3], ".");
        Log("Job Trace: QORJob::SetStepComplete: Job:4711 completed step:", id, ".");
        Finish(0);
        return S_OK;
    }

    HRESULT SetStepComplete(int iId)
    {
        const std::size_t place = Find(iId);
        if (place == mTodo.size())
            return E_INVALIDARG;
        Log("Job Trace: QORJob::SetStepComplete: Job:4711 completed step:", iId, ".");
        Finish(place);
        return S_OK;
    }

    void RemoveStep(int iId)
    {
        std::erase_if(mTodo, [&](const ModelStep& iStep) { return iStep.mId == iId; });
    }

    void RenewCurrentStep()
    {
        if (mTodo.empty())
            return;
        ModelStep fresh{mTodo.front().mId};
        if (fresh.mId == 39)
            fresh.mKey = mTodo.front().mKey;
        mTodo.front() = fresh;
    }

    // --- Dispatch ----------------------------------------------------------------------------------------------------
    int GetCurrentStepId(int& oRunning) const
    {
        oRunning = -1;
        if (HasFinished(2) || mTodo.empty() || IsHeld())
            return 0;
        if (mStatus != 4 && mStatus != 5 && mStatus != 6)
            return mTodo.front().mId;
        return FindLast(oRunning, mStatus != 4);
    }

    /// What dispatch has done before it may find that there is no memory.
    bool BeginDispatch()
    {
        if ((mStatus == 4 || mStatus == 5) && !mTodo.empty() && mTodo.front().mId == 14)
            mTodo.pop_front();
        for (const ModelStep& step : mFinished)
        {
            Log("Job Trace: QORJob::GetCurrentStepIdToRun: job id: 4711, finished step: ", step.mId, Flags());
            if (step.mId == 2)
                return false;
        }
        return true;
    }

    int GetCurrentStepIdToRun(int& oRunning)
    {
        oRunning = -1;
        if (!BeginDispatch())
            return 0;
        const int candidate = ChooseCandidate(oRunning);
        for (const ModelStep& step : mTodo)
            if (step.mId == 2 && (step.mThread != 0 || step.mUnit != -1))
            {
                Log("Job Trace: QORJob::GetCurrentStepIdToRun: return GC_NO_MORE_STEP because todo step has gcCloseJob "
                    "step and it's being run by some thread.  step: 2, job id: 4711",
                    Flags(), ", ThreadID: ", step.mThread, ", PUId: ", step.mUnit);
                return 0;
            }
        if (!mbRunning)
            return candidate;
        const ModelStep front = mTodo.front();
        if (!front.IsStarted())
        {
            SetStepStart(candidate, 0, 0);
            return candidate;
        }
        if (mbDead)
        {
            SetStepComplete(front.mId);
            while (!mTodo.empty() && mTodo.front().mId != 2 && mTodo.front().mId != 10)
                mTodo.pop_front();
            const int next = mTodo.empty() ? 2 : mTodo.front().mId;
            int count = 0;
            if (mTodo.empty())
                AddStep({2}, count);
            SetStepStart(next, 0, 0);
            return next;
        }
        if (front.mUnit != 0)
            return 0;
        Log("Warning: QORJob::GetCurrentStepIdToRun: Need to switch PU: previous step: ", front.mId, ", job id: 4711",
            Flags(), ", ThreadID: ", front.mThread, ", PUId: ", front.mUnit);
        return candidate;
    }

    void SetStepStart(int iId, int iUnit, int iTask)
    {
        mTask = iTask;
        const std::size_t place = iId >= 1 && iId <= 39 ? Find(iId) : mTodo.size();
        if (place != mTodo.size())
        {
            ModelStep& step = mTodo[place];
            step.mStart = mNow;
            step.mUnit = iUnit;
            step.mThread = mThread;
            step.mPriority = mPUPriority;
            mbWarehouse = iId == 4 && iUnit != 0;
            if (mbWarehouse && mbContext)
                Tell("put_LimitB ", mPUPriority);
            else if (mbWarehouse)
                Log("Error: QORJob::SetStepStart: mProcessContext == NULL.");
            else if (iId == 39 && iUnit != 0)
                Tell("put_BstrE '", step.mKey, "'");
            mThreadTimeAtStart = mThreadTime;
        }
        Log("Job Trace: QORJob::SetStepStart: Job:4711 starting step:", iId, " in PU:", iUnit, ".");
    }

    /// `ibAborted`: the state of the task.
    HRESULT SetStepFinish(int iId, int iUnit, int iTask, bool ibAborted)
    {
        if (iId == 4)
            mbQueryResult = iTask != 0 && ibAborted;
        const HRESULT result = iTask == mTask ? S_OK : S_FALSE;
        if (iTask == mTask)
            mTask = 0;
        if (iId == 39 && iUnit != 0)
            Tell("put_BstrE ''");
        if (mStatus == 20)
            return S_OK;
        if (iId >= 1 && iId <= 39 && !mTodo.empty())
            FinishQueued(iId);
        Log("Job Trace: QORJob::SetStepFinish: Job:4711 completed step:", iId, ".");
        return result;
    }

private:
    /// The step that a job on its way out comes to next.
    int FindLast(int& oRunning, bool ibSendsResult) const
    {
        for (const ModelStep& step : mTodo)
        {
            if (step.mThread != 0)
                oRunning = step.mId;
            const bool bReports =
                step.mId == 11 || step.mId == 10 || step.mId == 26 || (step.mId == 14 && ibSendsResult);
            if (step.mId == 2 || (mStatus != 6 && bReports))
                return step.mId;
        }
        return 0;
    }

    int ChooseCandidate(int& oRunning)
    {
        if (mStatus >= 3 && mStatus <= 6)
        {
            const int last = FindLast(oRunning, true);
            if (last != 0)
                return last;
            if (std::exchange(mbRunning, false))
                mFinishTime = mNow;
            return 0;
        }
        if (IsHeld())
        {
            if (std::exchange(mbRunning, false))
                mStatusTime = mNow;
            return 0;
        }
        if (mStatus == 17)
        {
            if (mTodo.empty())
                mTodo = {{12}, {2}};
            mStatus = 0;
        }
        if (mTodo.empty())
            mStatus = 3;
        const int front = mTodo.empty() ? 0 : mTodo.front().mId;
        if (front == 0)
            mbRunning = false;
        return front;
    }

    void FinishQueued(int iId)
    {
        std::size_t place = Find(iId);
        if (place == mTodo.size())
        {
            FinishAgain(iId);
            return;
        }
        if (place > 0)
            Finish(0);
        if (place > 1)
        {
            Log("Error: QORJob::SetStepFinish: step ", iId, " is at the ", place + 1,
                "th place in job 4711's ToDoStepList, mbIAmDead = ", Word(mbDead));
            return;
        }
        mTodo.front().mCPUTime = static_cast<DWORD>(mThreadTime - mThreadTimeAtStart);
        mTodo.front().mFinish = mNow;
        Finish(0);
    }

    void FinishAgain(int iId)
    {
        if (mFinished.empty())
            return;
        ModelStep& newest = mFinished.front();
        if (newest.mId == iId)
            newest.mFinish = mNow;
        else if (!mbDead || (newest.mId != 2 && newest.mId != 10))
            Log("Error: QORJob::SetStepFinish: job 4711, iStepId = ", iId, ", lastFinishedStepId = ", newest.mId,
                ", mbIAmDead = ", Word(mbDead));
    }
};
