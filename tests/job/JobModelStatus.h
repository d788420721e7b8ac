// The rules of a job's status: how it changes, how a job is cancelled, paused, resumed and given up, and how it fails.
#pragma once

#include "tests/job/JobModelQueue.h"

class JobModelStatus : public JobModelQueue
{
public:
    using JobModelQueue::JobModelQueue;

    // --- Status ------------------------------------------------------------------------------------------------------
    HRESULT SetStatus(int iStatus, int& oOld)
    {
        oOld = mStatus;
        if (iStatus == 13 && mStatus != 8)
            return S_FALSE;
        mStatus = iStatus;
        mStatusTime = mNow;
        if (iStatus == 3 || iStatus == 4 || iStatus == 6)
        {
            if (IsReport())
                TakeBackCount();
            mFinishTime = mNow;
        }
        if (iStatus == 4 && oOld != 4 && (mType == 0 || mType == 3))
            ++mCounters[mType == 0 ? 11 : 13];
        Log("Job Trace: QORJob::SetStatus: Setting Job:4711 status to ", iStatus, ".");
        return S_OK;
    }

    bool SetRunning(bool ibRunning)
    {
        Log("Job Trace: QORJob::SetRunning: Job:4711 set to ", ibRunning ? "running." : "not running.");
        return std::exchange(mbRunning, ibRunning);
    }

    bool SetIAmDead(bool ibDead, int iStep)
    {
        mDeadStep = iStep;
        return std::exchange(mbDead, ibDead);
    }

    // --- Control -----------------------------------------------------------------------------------------------------
    /// False when the report instance doesn't let it go on. Also what a cancellation has done before it may find that
    /// there is no memory; that asks for the delivery, too.
    bool BeginCancel(bool& obReports)
    {
        Log("Job Trace: [DEBUG TRACING]QORJob::Cancel: job 4711 is cancel start");
        if (mStatus == 3 || mStatus == 5 || mStatus == 6)
            return true;
        if (mType == 1 || mType == 5)
        {
            TakeBackCount();
            if (mbContext && !TellInstance())
                return false;
        }
        const std::vector<int> cTold = {2, 4, 7, 8, 9, 18, 19};
        obReports = mType != 6 && (mbRunning || std::find(cTold.begin(), cTold.end(), mStatus) != cTold.end());
        if (obReports)
            Tell("get_ContextObjectN");
        return true;
    }

    bool TellInstance()
    {
        const char* const cCalls[] = {"get_ContextObjectB", "instance put_Status 5", "instance put_JobValue 7 4711"};
        for (int call = 1; call <= (mbInstance ? 3 : 1); ++call)
        {
            Tell(cCalls[call - 1]);
            if (call == mFailingCall)
                return false;
        }
        return true;
    }

    HRESULT Cancel()
    {
        bool bReports = false;
        if (!BeginCancel(bReports))
            return E_FAIL;
        if (mStatus != 3 && mStatus != 5 && mStatus != 6)
        {
            ReduceTo(bReports ? ReportingStep() : 0);
            if (mStatus != 4 || mError == static_cast<HRESULT>(0x8004308D) ||
                mError == static_cast<HRESULT>(0x80044637))
            {
                mStatus = 5;
                mError = mError == S_OK ? static_cast<HRESULT>(0x80043014) : mError;
            }
            mStatusTime = mNow;
        }
        Tell("put_LongB 1");
        Log("Job Trace: [DEBUG TRACING]QORJob::Cancel: job 4711 is cancel end");
        return S_OK;
    }

    void PauseCurrentStep()
    {
        Log("Job Trace: [DEBUG TRACING]QORJob::PauseCurrentStep: job 4711 is pausing start");
        if (mType != 2)
            return;
        if (!IsEnded())
            mStatus = 20;
        mStatusTime = mNow;
        Tell("put_LongB 1");
        Log("Job Trace: [DEBUG TRACING]QORJob::PauseCurrentStep: job 4711 is pausing end");
    }

    void Resume()
    {
        int old = 0;
        SetStatus(1, old);
        SetRunning(false);
        Tell("put_LongB 0");
    }

    HRESULT StopRunningIfHang(int iTask)
    {
        const std::string line = "Warning: QORJob::StopRunningIfHang: For jobid: 4711";
        if (mTask == 0 || mTask != iTask)
        {
            Log(line, " mExecutingTask == NULL (", Word(mTask == 0), ")? mExecutingTask == iJobTask (",
                Word(mTask == iTask), ")?");
            return S_FALSE;
        }
        mTask = 0;
        mbRunning = false;
        if (!mTodo.empty())
        {
            mbDead = true;
            mDeadStep = mCurrentStep;
            Log(line, ", SetPUID to -1, SetThreadId to -1.");
        }
        return S_OK;
    }

    /// The status before.
    int BeginError()
    {
        int old = -1;
        Tell("get_ContextObjectN");
        SetStatus(4, old);
        return old;
    }

    /// Whether there is something to write the error into.
    bool AddError(HRESULT iCode)
    {
        const int old = BeginError();
        if (old >= 4 && old <= 6)
            return false;
        const int reporting = ReportingStep();
        if (mbDead)
        {
            const int next = mTodo.empty() ? 0 : mTodo.front().mId;
            const int last = mFinished.empty() ? 0 : mFinished.front().mId;
            if (next == 2 && last != reporting)
                Log("Error: QORJobError::QORJobError: when adding error ", Hex(iCode),
                    " into job 4711, find job's last finished step is ", last, " but todo step is CloseJob step.");
            if (mTodo.empty() || next == 2 || next == reporting)
                return false;
        }
        ReduceTo(reporting);
        mError = mError == S_OK ? iCode : mError;
        return HasMessage();
    }

    void WriteError(bool ibWritten, HRESULT iCode, int iArgument)
    {
        if (!ibWritten)
            return;
        mErrors.push_back(ErrorText(iCode, iArgument));
        mMessageCode = iCode;
    }

    HRESULT UpdateJobError(HRESULT iCode, int iArgument)
    {
        if (!HasMessage())
            return mbContext ? E_NOTIMPL : E_POINTER;
        mErrors.push_back(ErrorText(iCode, iArgument));
        return S_OK;
    }

    bool HasMessage()
    {
        Tell("get_OutMessage");
        return mbContext && mbMessage;
    }

private:
    static std::string ErrorText(HRESULT iCode, int iArgument)
    {
        const std::map<unsigned, std::string> cTexts = {
            {0x8004308D, "The job was stopped because it was cancelled."},
            {0x80044637, "The query was cancelled."},
        };
        const auto text = cTexts.find(static_cast<unsigned>(iCode));
        return text != cTexts.end() ? text->second : Join("-?- ", Hex(iCode), ": ", iArgument);
    }
};
