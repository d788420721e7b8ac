// The dependencies of a plan's steps: prerequisite steps, required data items and produced ones.
#pragma once

#include "platform/Export.h"
#include "platform/QSynch.h"
#include "platform/ThreadSafety.h"

#include <list>

/// Keeps the dependencies that it is given, in that order and with duplicates; it neither orders nor runs steps. A step
/// is known as soon as an operation names it.
///
/// Threads: any.
/// Owns:    its records. It only reads the lists that it is given; the caller deletes the lists that it returns.
/// Errors:  std::bad_alloc, also from the constructor if the lock can't be made.
/// Locks:   a readers/writer lock of category 26; log routers are called under it.
class QORJOB_API DependencyManager
{
public:
    DependencyManager();
    ~DependencyManager();
    DependencyManager(const DependencyManager&) = delete;
    DependencyManager& operator=(const DependencyManager&) = delete;

    /// Adds to the step's lists. The arguments may be null.
    void AddStep(int iStep, const std::list<int>* iRequiredInputData, const std::list<int>* iPrerequisiteSteps,
                 const std::list<int>* iOutputData);
    void AddRequiredInputData(int iStep, int iData);
    void AddOutputData(int iStep, int iData);
    void AddPrerequisiteStep(int iStep, int iPrerequisiteStep);

    /// A copy, empty for an unknown step; null only without memory for the list object.
    std::list<int>* GetPrerequisiteSteps(int iStep) const;
    std::list<int>* GetRequiredInputData(int iStep) const;
    /// Always -1: callers rely on it.
    int GetStepForData(int iData) const;

private:
    struct Step
    {
        int mId;
        std::list<int> mRequiredInputData;
        std::list<int> mPrerequisiteSteps;
        std::list<int> mOutputData;
    };

    using StepField = std::list<int> Step::*;

    Step& FindOrAdd(int iStep) QORJOB_REQUIRES(mpLock);
    std::list<int>* Copy(int iStep, StepField iField) const;

    std::list<Step> mSteps QORJOB_GUARDED_BY(mpLock); // in the order in which they became known
    const QSynch::RWLockPtr mpLock;
};
