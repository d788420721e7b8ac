#include "HostLives.h"

#include <chrono>
#include <utility>

QORHostConfig MakeLifeHost(unsigned iThreads, std::size_t iMostJobs)
{
    QORHostConfig config;
    config.mUnits = {{.mId = cHostUnit, .mName = "lives", .mThreads = iThreads}};
    for (int step : cLifeSteps)
        config.mSteps.push_back({.mStepId = step, .mUnit = cHostUnit, .mRun = [](QORHostRun&) {}});
    config.mMostJobs = iMostJobs;
    config.mEndTime = std::chrono::minutes(1);
    return config;
}

QBase::PtrI<QORJob> MakeLifeJob() { return QBase::PtrI<QORJob>(NewLifeJob(nullptr)); }

void HostLives::Run(int iCount)
{
    for (int i = 0; i < iCount; ++i)
    {
        mHost.Submit(MakeLifeJob());
        mHost.RunOne(cHostUnit);
    }
}
