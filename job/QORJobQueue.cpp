#include "base/KernelLog.h"
#include "job/QORJobRows.h"
#include "record/QORJobStep.h"

#include <iterator>
#include <utility>

void QORJob::GiveTodoSize(int* oCount) const
{
    if (oCount != nullptr)
        *oCount = static_cast<int>(mSteps.GetTodo().size());
}

HRESULT QORJob::AddStep(QORJobStep* iStep, int* oCount)
{
    QORJobStepPtr step(iStep);
    return Boundary([&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        if (mStatus == JobCancelled)
            return S_OK;
        if (step == nullptr)
            return E_POINTER;
        if (mSteps.IsCurrent(StepQueue::IdOf(*step))) // the same id further down is no obstacle
            step.reset();
        else
            mSteps.Insert(mSteps.FindPlaceToAdd(), step);
        GiveTodoSize(oCount);
        return S_OK;
    });
}

HRESULT QORJob::AddStepToRun(QORJobStep* iStep, int* oStatus)
{
    QORJobStepPtr step(iStep);
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        if (mStatus == JobCancelled)
            return S_OK;
        mSteps.Insert(mSteps.GetTodo().end(), step);
        if (oStatus != nullptr)
            *oStatus = mStatus;
        return S_OK;
    });
}

HRESULT QORJob::AddStepAtFront(QORJobStep* iStep, int* oCount)
{
    QORJobStepPtr step(iStep);
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        if (mStatus == JobCancelled)
            return S_OK;
        mSteps.Insert(mSteps.GetTodo().begin(), step);
        GiveTodoSize(oCount);
        return S_OK;
    });
}

HRESULT QORJob::AddStepAfterThis(QORJobStep* iStep, int* oCount)
{
    QORJobStepPtr step(iStep);
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        if (mStatus == JobCancelled)
            return S_OK;
        const StepQueue::List todo = mSteps.GetTodo();
        mSteps.Insert(todo.empty() ? todo.end() : std::next(todo.begin()), step);
        GiveTodoSize(oCount);
        return S_OK;
    });
}

HRESULT QORJob::AddStepAfterThis(int iStepId, int* oCount)
{
    auto* const step = new QORJobStep(iStepId);
    return step == nullptr ? E_OUTOFMEMORY : AddStepAfterThis(step, oCount);
}

HRESULT QORJob::SetStepComplete()
{
    return Boundary([&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        mbExecutingInWarehouse = false;
        if (mSteps.GetTodo().empty())
            return E_UNEXPECTED;
        if (mSteps.GetCurrent() == nullptr)
            return E_POINTER;
        const int id = StepQueue::IdOf(*mSteps.GetCurrent());
        // The name is that of the request type with the step's number: readers of this line rely on the mix-up.
        if (id == StepSQLGeneration || id == StepQueryExecution || id == StepAnalyticalProcessing)
            LogLine(EnumKernelRouter::ScopeTrace, "QORJob::SetStepComplete: Job:%1 completed step:%2.", mId.Get(),
                    ConvertIDToName(id));
        LogLine(EnumKernelRouter::JobTrace, "QORJob::SetStepComplete: Job:%1 completed step:%2.", mId.Get(), id);
        mSteps.MoveToFinished(mSteps.GetTodo().begin());
        return S_OK;
    });
}

HRESULT QORJob::SetStepComplete(int iStepId)
{
    return Boundary([&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        const auto found = mSteps.Find(iStepId);
        if (found == mSteps.GetTodo().end())
            return E_INVALIDARG;
        LogLine(EnumKernelRouter::JobTrace, "QORJob::SetStepComplete: Job:%1 completed step:%2.", mId.Get(), iStepId);
        mSteps.MoveToFinished(found);
        return S_OK;
    });
}

HRESULT QORJob::ClearTodoSteps()
{
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        mSteps.Clear();
        return S_OK;
    });
}

HRESULT QORJob::RemoveStep(QORJobProcessingStep iStepId)
{
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        mSteps.DeleteAllOf(iStepId);
        return S_OK;
    });
}

HRESULT QORJob::RenewCurrentStep()
{
    return Boundary([&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        if (mSteps.GetCurrent() == nullptr)
            return S_OK;
        const QORJobStep& old = *mSteps.GetCurrent();
        const int id = StepQueue::IdOf(old);
        QORJobStepPtr fresh(new QORJobStep(id));
        if (fresh == nullptr)
        {
            mSteps.Delete(mSteps.GetTodo().begin()); // the old record isn't run again
            return E_OUTOFMEMORY;
        }
        if (id == StepNoOp)
            fresh->SetChapterKey(old.GetChapterKey());
        mSteps.ReplaceCurrent(std::move(fresh));
        return S_OK;
    });
}

HRESULT QORJob::AddCommonStepsAtRebuild(EnumKDXDocumentManipulationType iType)
{
    const bool bManipulates = iType != EnumKDXDocumentManipulationType{};
    const bool bExecutes =
        !bManipulates || iType == DocumentManipulationApply || iType == DocumentManipulationReexecute;
    return Boundary([&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        if (mStatus == JobCancelled)
            return S_OK;
        // By the rules of AddStep, but both steps or none.
        const auto unlessCurrent = [this](bool ibWanted, int iStepId) QORJOB_REQUIRES(mpLock) {
            return ibWanted && !mSteps.IsCurrent(iStepId) ? iStepId : StepNoMore;
        };
        return mSteps.InsertNew(mSteps.FindPlaceToAdd(), unlessCurrent(bManipulates, StepDocumentManipulation),
                                unlessCurrent(bExecutes, StepExecutingDocument));
    });
}

bool QORJob::IsLastComponentExport() const
{
    QSynch::CriticalSection::SmartLock lock(mpLock.get());
    return mSteps.HasFinished(StepDocumentFormatting);
}
