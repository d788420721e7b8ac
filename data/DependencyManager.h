// What each step of a plan needs: which steps before it, which data items, and what it produces.
#pragma once

#include "platform/Export.h"
#include "platform/QSynch.h"
#include "platform/ThreadSafety.h"

#include <list>

/// Keeps what it is told, in that order and with duplicates; it neither orders nor runs steps. A step is known from the
/// first operation that tells something about it.
///
/// Threads: any.
/// Owns:    what it keeps. Lists that it is given are read only; those that it gives are the caller's, to `delete`.
/// Errors:  what the lists throw, std::bad_alloc; the constructor throws it when the lock can't be made.
/// Locks:   a readers/writer lock of category 26; log routers are called under it.
class QORJOB_API DependencyManager
{
public:
    DependencyManager();
    ~DependencyManager();
    DependencyManager(const DependencyManager&) = delete;
    DependencyManager& operator=(const DependencyManager&) = delete;

    /// Adds to what is known of the step. The lists may be null.
    void AddStep(int iStep, const std::list<int>* iRequiredInputData, const std::list<int>* iPrerequisiteSteps,
                 const std::list<int>* iOutputData);
    void AddRequiredInputData(int iStep, int iData);
    void AddOutputData(int iStep, int iData);
    void AddPrerequisiteStep(int iStep, int iPrerequisiteStep);

    /// Empty for an unknown step; null only without memory for the list object.
    std::list<int>* GetPrerequisiteSteps(int iStep) const;
    std::list<int>* GetRequiredInputData(int iStep) const;
    /// Always -1; see the body.
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

    std::list<Step> mSteps QORJOB_GUARDED_BY(mpLock); // in the order of their first mention
    const QSynch::RWLockPtr mpLock;
};
