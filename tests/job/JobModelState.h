// What a model of a job keeps, and what its rules are made of.
#pragma once

#include "tests/support/JobTest.h"

#include <algorithm>
#include <deque>
#include <map>
#include <string>
#include <vector>

/// Times are milliseconds of TimeOf; -1 is unset.
struct ModelStep
{
    int mId = 0;
    DWORD mThread = 0;
    int mUnit = -1;
    int mPriority = 0;
    int mCPUTime = 0;
    int mStart = -1;
    int mFinish = -1;
    std::string mKey{};

    bool IsStarted() const { return mThread != 0 && mUnit != -1; }
};

struct ModelVisit
{
    int mUnit = 0;
    int mEnter = -1;
    int mStart = -1;
    int mExit = -1;
};

/// Tasks are known by number, 0 is none. Codes are those of the job.
struct JobModelState
{
    JobModelState(int iType, bool ibContext, bool ibInstance, bool ibDelivery, int iFailingCall)
        : mType(iType), mbContext(ibContext), mbInstance(ibInstance), mbDelivery(ibDelivery), mFailingCall(iFailingCall)
    {
    }

    int Size() const { return static_cast<int>(mTodo.size()); }
    bool HasFinished(int iId) const
    {
        return std::any_of(mFinished.begin(), mFinished.end(),
                           [&](const ModelStep& iStep) { return iStep.mId == iId; });
    }

    int mType; // what the job is and whom it knows: set once
    bool mbContext;
    bool mbInstance;
    bool mbDelivery;
    int mFailingCall; // which of the three that a cancellation makes to the report instance; 0 for none
    int mNow = 0;
    int mThreadTime = 0; // kernel and user, in 100-nanosecond units

    std::deque<ModelStep> mTodo;
    std::deque<ModelStep> mFinished; // newest first
    std::deque<ModelVisit> mVisits;  // newest first
    int mTask = 0;
    int mThreadTimeAtStart = 0;
    int mStatus = 0;
    bool mbRunning = false;
    bool mbDead = false;
    int mDeadStep = 0;
    int mCurrentStep = 0;
    bool mbQueryResult = false;
    int mActive = 0;
    bool mbWarehouse = false;
    int mPriority = cJobPriority;
    int mPUPriority = cJobPriority;
    int mStatusTime = -1;
    int mFinishTime = -1;
    bool mbStartedOnce = false;
    HRESULT mError = S_OK;
    std::map<int, int> mCounters;
    Texts mLines; // of the last operation
    Texts mCalls; // of the process context by the last operation

    static const char* Word(bool ibValue) { return ibValue ? "true" : "false"; }

    template <class... Parts>
    static std::string Join(const Parts&... iParts)
    {
        std::ostringstream text;
        static_cast<void>((text << ... << iParts));
        return text.str();
    }

    template <class... Parts>
    void Log(const Parts&... iParts)
    {
        mLines.push_back(Join(iParts...));
    }

    template <class... Parts>
    void Tell(const Parts&... iParts)
    {
        if (mbContext)
            mCalls.push_back(Join(iParts...));
    }

    std::string Flags() const
    {
        return Join(", mbIAmDead: ", Word(mbDead), ", mRunning: ", Word(mbRunning), ", status: ", mStatus);
    }

    bool IsReport() const { return mType == 1 || mType == 5 || mType == 7; }
    bool IsEnded() const { return mStatus >= 4 && mStatus <= 6; }
    bool IsHeld() const { return (mStatus >= 7 && mStatus <= 13) || mStatus == 18 || mStatus == 19; }
    int ReportingStep() const { return mbContext && mbDelivery ? 26 : 10; }

    std::size_t Find(int iId) const
    {
        std::size_t place = 0;
        while (place < mTodo.size() && mTodo[place].mId != iId)
            ++place;
        return place;
    }

    void Finish(std::size_t iPlace)
    {
        mFinished.push_front(mTodo[iPlace]);
        mTodo.erase(mTodo.begin() + static_cast<std::ptrdiff_t>(iPlace));
    }

    void TakeBackCount()
    {
        mCounters[1] -= mActive;
        mActive = 0;
    }

    void ReduceTo(int iReportingStep)
    {
        const int current = mTodo.empty() ? 0 : mTodo.front().mId;
        mTodo.resize(std::min<std::size_t>(mTodo.size(), 1));
        if (iReportingStep != 0 && current != iReportingStep)
            mTodo.push_back({iReportingStep});
        if (current != 2)
            mTodo.push_back({2});
    }
};
