// A hand-written job with just a list of steps and their times: the peer of the life figures.
// It reads the same clock and the same thread times as the library; everything else is plain C++.
#pragma once

#include "platform/QBase.h"
#include "platform/QDataType.h"
#include "platform/ThreadTimes.h"

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>

class HandWrittenJob
{
public:
    struct Step
    {
        explicit Step(int iId) : mId(iId) {}

        int mId;
        int mUnit = -1;
        DWORD mThreadId = 0;
        std::uint64_t mCpuTime = 0;
        QDataType::DateTime mStart{0.0};
        QDataType::DateTime mFinish{0.0};
    };

    HandWrittenJob(int iId, int iPriority) : mId(iId), mPriority(iPriority), mCreated(QDataType::DateTime::NowUTC()) {}

    void AddRef() { ++mReferences; }

    void Release()
    {
        if (--mReferences == 0)
            delete this;
    }

    void AddStep(std::unique_ptr<Step> iStep)
    {
        std::lock_guard lock(mLock);
        mTodo.push_back(std::move(iStep));
    }

    int NextStep()
    {
        std::lock_guard lock(mLock);
        return mTodo.empty() ? 0 : mTodo.front()->mId;
    }

    void Start(int iUnit)
    {
        std::lock_guard lock(mLock);
        Step& step = *mTodo.front();
        step.mStart = QDataType::DateTime::NowUTC();
        step.mUnit = iUnit;
        step.mThreadId = QBase::GetCurrentThreadID();
        mCpuAtStart = CpuTime();
    }

    void Finish()
    {
        std::lock_guard lock(mLock);
        Step& step = *mTodo.front();
        step.mCpuTime = CpuTime() - mCpuAtStart;
        step.mFinish = QDataType::DateTime::NowUTC();
        mDone.splice(mDone.begin(), mTodo, mTodo.begin());
    }

private:
    static std::uint64_t CpuTime()
    {
        FILETIME kernel{};
        FILETIME user{};
        GetCurrentThreadTimes(&kernel, &user);
        return ToUint64(kernel) + ToUint64(user);
    }

    std::recursive_mutex mLock;
    std::atomic<int> mReferences{0};
    [[maybe_unused]] int mId;
    [[maybe_unused]] int mPriority;
    QDataType::DateTime mCreated;
    std::uint64_t mCpuAtStart = 0;
    std::list<std::unique_ptr<Step>> mTodo;
    std::list<std::unique_ptr<Step>> mDone;
    std::string mUser;
    std::string mProject;
};
