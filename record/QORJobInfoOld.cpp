#include "record/QORJobInfoOld.h"

#include <algorithm>

namespace
{

/// Stores what a getter returns; none of those used here fails.
template <class T, class Record>
void Convert(const Record& iRecord, HRESULT (Record::*iGetter)(T*) const, T& oValue)
{
    (iRecord.*iGetter)(&oValue);
}

template <class Record>
void Convert(const Record& iRecord, HRESULT (Record::*iGetter)(QDataType::DateTime*) const, OldDateTime& oTime)
{
    QDataType::DateTime time;
    (iRecord.*iGetter)(&time);
    oTime = OldDateTime(time);
}

/// The counts are public fields: no more than the capacity is used.
template <class Entries>
int CountIn(const Entries& iEntries, int iCount)
{
    return std::clamp(iCount, 0, static_cast<int>(iEntries.size()));
}

} // namespace

OldDateTime::OldDateTime(const QDataType::DateTime& iTime)
    : mYear(iTime.GetYear()), mMonth(iTime.GetMonth()), mDay(iTime.GetDay()), mHour(iTime.GetHour()),
      mMinute(iTime.GetMinute()), mSecond(iTime.GetSecond()), mMillisecond(iTime.GetMillisecond()),
      mWeek(iTime.GetWeek()), mDayOfWeek(iTime.GetDayOfWeek())
{
}

OldDateTime::~OldDateTime() = default;

QORJobStepOld& QORJobStepOld::operator=(const QORJobStep& iStep)
{
    double cpuTime = 0;
    Convert(iStep, &QORJobStep::GetStartTime, mStartTime);
    Convert(iStep, &QORJobStep::GetFinishTime, mFinishTime);
    Convert(iStep, &QORJobStep::GetTaskCPUTime, cpuTime);
    mTaskCPUTime = static_cast<DWORD>(cpuTime);
    Convert(iStep, &QORJobStep::GetPUPriority, mPUPriority);
    Convert(iStep, &QORJobStep::GetPUId, mPUId);
    Convert(iStep, &QORJobStep::GetThreadId, mThreadId);
    Convert(iStep, &QORJobStep::GetId, mStepId);
    return *this;
}

QORJobPUInfoOld& QORJobPUInfoOld::operator=(const QORJobPUInfo& iVisit)
{
    Convert(iVisit, &QORJobPUInfo::GetEnterTime, mEnterTime);
    Convert(iVisit, &QORJobPUInfo::GetStartTime, mStartTime);
    Convert(iVisit, &QORJobPUInfo::GetExitTime, mExitTime);
    mThreadId = iVisit.mThreadId;
    Convert(iVisit, &QORJobPUInfo::GetId, mPUId);
    return *this;
}

QORJobInfoOld::QORJobInfoOld(const QORJobInfo& iInfo)
    : mJobId(iInfo.mJobId), mPriority(iInfo.mPriority), mStatus(iInfo.mStatus), mSource(iInfo.mSource),
      mType(iInfo.mType), mbRunning(iInfo.mbRunning), mPUPriority(iInfo.mPUPriority),
      mCreationTime(iInfo.mCreationTime), mStatusTime(iInfo.mStatusTime), mFinishTime(iInfo.mFinishTime),
      mTodoCount(CountIn(iInfo.mTodoSteps, iInfo.mTodoCount)),
      mFinishedCount(CountIn(iInfo.mFinishedSteps, iInfo.mFinishedCount)),
      mPUCount(CountIn(iInfo.mPUInfos, iInfo.mPUCount)), mDataCount(CountIn(iInfo.mData, iInfo.mDataCount)),
      mDataSlots(iInfo.mDataSlots), mData(iInfo.mData)
{
    std::copy_n(iInfo.mTodoSteps.begin(), mTodoCount, mTodoSteps.begin());
    std::copy_n(iInfo.mFinishedSteps.begin(), mFinishedCount, mFinishedSteps.begin());
    std::copy_n(iInfo.mPUInfos.begin(), mPUCount, mPUInfos.begin());
}
