// What a model of a job keeps, and what its rules are made of.
#pragma once

#include "tests/support/JobTest.h"

#include <algorithm>
#include <array>
#include <cstdint>
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
    DWORD mCPUTime = 0;
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

/// A memory account.
struct ModelGovernor
{
    int mUser = -1; // -1: none
    std::uint64_t mUsed = 0;
    std::uint64_t mLimit = ~std::uint64_t{0};
    std::uint64_t mPeak = 0;
    bool mbCancel = false;
    bool mbExempt = false;
};

/// The ids of the data items that there are; those past 4 and below 0 no job takes.
inline constexpr std::array cItemIds = {0, 2, 2, 4, 4, 5, -1};
inline constexpr int cNoItem = -1;
inline constexpr int cParentId = 4712;

/// Tasks and data items are known by number, tasks from 1 on, and 0 is none. Codes are those of the job.
struct JobModelState
{
    int Size() const { return static_cast<int>(mTodo.size()); }
    bool HasFinished(int iId) const
    {
        return std::any_of(mFinished.begin(), mFinished.end(),
                           [&](const ModelStep& iStep) { return iStep.mId == iId; });
    }

    int mType = 0; // what the job is and whom it knows: set once
    bool mbContext = false;
    bool mbInstance = false;
    bool mbDelivery = false;
    bool mbMessage = false; // the context's, for errors
    int mFailingCall = 0;   // which of the three that a cancellation makes to the report instance; 0 for none
    int mKind = 0;          // of the report's execution

    int mNow = 0;
    DWORD mThread = QBase::GetCurrentThreadID(); // that calls the job
    int mThreadTime = 0;                         // kernel and user, in 100-nanosecond units

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
    int mRunaway = 0; // 1 declared, 2 cleaned up first, 3 returned first
    bool mbQueryResult = false;
    int mActive = 0;
    bool mbWarehouse = false;
    int mPriority = cJobPriority;
    int mPUPriority = cJobPriority;
    int mStatusTime = -1;
    int mFinishTime = -1;
    bool mbStartedOnce = false;
    HRESULT mError = S_OK;
    HRESULT mComponentError = S_OK;
    Texts mErrors; // texts in the message
    HRESULT mMessageCode = S_OK;
    bool mbClosed = false; // and counted
    std::map<int, int> mCounters;

    int mParent = -1;
    int mRunningChildren = 0;
    std::vector<int> mExecuting;
    std::vector<int> mEnded;
    std::array<int, 5> mSlots{cNoItem, cNoItem, cNoItem, cNoItem, cNoItem};
    std::array<int, cItemIds.size()> mReferences{};
    std::array<ModelGovernor, 2> mGovernors; // the job's own, and its parent's
    int mGovernor = 0;                       // the one it has
    int mContextGovernor = 0;
    bool mbGoverned = true;

    Texts mLines;     // of the last operation
    Texts mCalls;     // of the process context by the last operation
    Texts mItemCalls; // of data items

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

    static std::string Hex(HRESULT iCode)
    {
        char text[16];
        std::snprintf(text, sizeof(text), "0x%08X", static_cast<unsigned>(iCode));
        return text;
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
