#include "data/DependencyManager.h"

#include "base/Categories.h"
#include "base/KernelLog.h"

#include <new>

namespace
{

constexpr int cNoStep = -1;

void Append(const char* iTemplate, int iStep, const std::list<int>* iIds, std::list<int>& ioIds)
{
    if (iIds == nullptr)
        return;
    for (const int id : *iIds)
    {
        LogLine(EnumKernelRouter::JobTrace, iTemplate, id, iStep);
        ioIds.push_back(id);
    }
}

} // namespace

DependencyManager::DependencyManager() : mpLock(QSynch::MakeRWLock(LockCategoryDependencyManager)) {}

DependencyManager::~DependencyManager()
{
    QSynch::RWLock::WriteHold hold(mpLock.get());
    mSteps.clear();
    LogLine(EnumKernelRouter::JobTrace, "DependencyManager::~DependencyManager: Destroying the dependency manager.");
}

DependencyManager::Step& DependencyManager::FindOrAdd(int iStep)
{
    for (Step& step : mSteps)
        if (step.mId == iStep)
            return step;
    return mSteps.emplace_back(Step{iStep, {}, {}, {}});
}

void DependencyManager::AddStep(int iStep, const std::list<int>* iRequiredInputData,
                                const std::list<int>* iPrerequisiteSteps, const std::list<int>* iOutputData)
{
    LogLine(EnumKernelRouter::JobTrace, "DependencyManager::AddStep: Adding step %1.", iStep);
    QSynch::RWLock::WriteHold hold(mpLock.get());
    Step& step = FindOrAdd(iStep);
    Append("DependencyManager::AddStep: Adding data:%1 as required input data for step:%2.", iStep, iRequiredInputData,
           step.mRequiredInputData);
    Append("DependencyManager::AddStep: Adding step:%1 as prerequisite step for step:%2.", iStep, iPrerequisiteSteps,
           step.mPrerequisiteSteps);
    Append("DependencyManager::AddStep: Adding data:%1 as output data for step:%2.", iStep, iOutputData,
           step.mOutputData);
}

void DependencyManager::AddRequiredInputData(int iStep, int iData)
{
    QSynch::RWLock::WriteHold hold(mpLock.get());
    Step& step = FindOrAdd(iStep);
    LogLine(EnumKernelRouter::JobTrace,
            "DependencyManager::AddRequiredInputData: Adding data:%1 as required input data for step:%2.", iData,
            iStep);
    step.mRequiredInputData.push_back(iData);
}

void DependencyManager::AddOutputData(int iStep, int iData)
{
    QSynch::RWLock::WriteHold hold(mpLock.get());
    Step& step = FindOrAdd(iStep);
    LogLine(EnumKernelRouter::JobTrace, "DependencyManager::AddOutputData: Adding data:%1 as output data for step:%2.",
            iData, iStep);
    step.mOutputData.push_back(iData);
}

void DependencyManager::AddPrerequisiteStep(int iStep, int iPrerequisiteStep)
{
    QSynch::RWLock::WriteHold hold(mpLock.get());
    Step& step = FindOrAdd(iStep);
    LogLine(EnumKernelRouter::JobTrace,
            "DependencyManager::AddPrerequisiteStep: Adding step:%1 as prerequisite step for step:%2.",
            iPrerequisiteStep, iStep);
    step.mPrerequisiteSteps.push_back(iPrerequisiteStep);
}

std::list<int>* DependencyManager::Copy(int iStep, StepField iField) const
{
    QSynch::RWLock::ReadHold hold(mpLock.get());
    for (const Step& step : mSteps)
        if (step.mId == iStep)
            return new (std::nothrow) std::list<int>(step.*iField);
    return new (std::nothrow) std::list<int>;
}

std::list<int>* DependencyManager::GetPrerequisiteSteps(int iStep) const
{
    return Copy(iStep, &Step::mPrerequisiteSteps);
}

std::list<int>* DependencyManager::GetRequiredInputData(int iStep) const
{
    return Copy(iStep, &Step::mRequiredInputData);
}

int DependencyManager::GetStepForData(int) const
{
    // Deliberately not even a known producer is returned: planners rely on it.
    QSynch::RWLock::ReadHold hold(mpLock.get());
    return cNoStep;
}
