#include "monitor/History.h"

#include "monitor/Read.h"

#include <algorithm>
#include <utility>

void QORMonitorHistogram::Add(double iSeconds)
{
    const auto bound = std::lower_bound(cBounds.begin(), cBounds.end(), iSeconds); // a bound belongs to what it ends
    ++mCounts[static_cast<std::size_t>(bound - cBounds.begin())];
    mSum += iSeconds;
}

namespace QORMONITOR
{

void History::Add(QORMonitorDetail iJob, std::uint64_t iGovernedPeak)
{
    std::list<Kept> gone; // is destroyed without the lock
    {
        const std::lock_guard hold(mMutex);
        CountFigures(iJob);
        mFigures.mGovernedPeak = std::max(mFigures.mGovernedPeak, iGovernedPeak);
        ++mCount;
    }
    const std::size_t size = SizeOf(iJob);
    const int id = iJob.mRow.mpIdentity->mId;
    const auto job = std::make_shared<const QORMonitorDetail>(std::move(iJob));
    std::list<Kept> added{{job, size}};
    const std::lock_guard hold(mMutex);
    mById.try_emplace(id).first->second = job; // from here on nothing throws
    mKept.splice(mKept.end(), added);
    mFigures.mKeptBytes += size;
    while (mKept.size() > mMost || mFigures.mKeptBytes > mMostBytes)
    {
        const Kept& oldest = mKept.front();
        mFigures.mKeptBytes -= oldest.mSize;
        if (const auto place = mById.find(oldest.mpJob->mRow.mpIdentity->mId); place->second == oldest.mpJob)
            mById.erase(place);
        gone.splice(gone.end(), mKept, mKept.begin());
    }
}

void History::CountFigures(const QORMonitorDetail& iJob)
{
    ++mFigures.mEnded[{iJob.mRow.mpIdentity->mType, iJob.mRow.mStatus}];
    for (const QORMonitorStep& step : iJob.mFinished)
        if (step.mFinish != 0)
            mFigures.mStepSeconds[{step.mUnit, step.mId}].Add(ToSeconds(step.mStart, step.mFinish));
        else if (step.mStart != 0)
            ++mFigures.mGivenUp[{step.mUnit, step.mId}];
    for (const QORMonitorStep& step : iJob.mTodo)
        if (step.mStart != 0 && step.mFinish == 0)
            ++mFigures.mGivenUp[{step.mUnit, step.mId}];
    for (std::size_t i = 0; i < iJob.mVisits.size(); ++i)
    {
        const QORMonitorVisit& visit = iJob.mVisits[i];
        const QORMonitorStep* const step = FindFirstStep(iJob, i);
        if (visit.mStart != 0)
            mFigures.mWaitSeconds[{visit.mUnit, step != nullptr ? step->mId : StepNoMore}].Add(
                ToSeconds(visit.mEnter, visit.mStart));
    }
}

Ended History::Find(int iJob) const
{
    const std::lock_guard hold(mMutex);
    const auto job = mById.find(iJob);
    return job == mById.end() ? nullptr : job->second;
}

std::uint64_t History::Count() const
{
    const std::lock_guard hold(mMutex);
    return mCount;
}

std::vector<Ended> History::Get(std::uint64_t iCount, std::uint64_t& oNew) const
{
    std::vector<Ended> jobs;
    const std::lock_guard hold(mMutex);
    jobs.reserve(mKept.size());
    for (auto kept = mKept.rbegin(); kept != mKept.rend(); ++kept)
        jobs.push_back(kept->mpJob);
    oNew = mCount - iCount;
    return jobs;
}

QORMonitorFigures History::GetFigures() const
{
    const std::lock_guard hold(mMutex);
    QORMonitorFigures figures = mFigures;
    figures.mKept = mKept.size();
    return figures;
}

} // namespace QORMONITOR
