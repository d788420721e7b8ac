#include "base/KernelLog.h"
#include "job/QORJobRows.h"
#include "record/QORJobStep.h"

#include <algorithm>
#include <array>
#include <utility>

namespace
{

bool HasId(const QORJobStep* iStep, int iStepId)
{
    int id = StepNoMore;
    return iStep != nullptr && iStep->GetId(&id) == S_OK && id == iStepId;
}

} // namespace

// Lists may hold entries without a step: scans pass over them.

QORJob::StepList::iterator QORJob::FindTodo(int iStepId)
{
    auto step = mTodoSteps.begin();
    while (step != mTodoSteps.end() && !HasId(*step, iStepId))
        ++step;
    return step;
}

/// The step is the list's once it is in.
void QORJob::InsertTodo(StepList::const_iterator iBefore, std::unique_ptr<QORJobStep>& ioStep)
{
    mTodoSteps.insert(iBefore, ioStep.get());
    if (HasId(ioStep.release(), StepCloseJob))
        ++mTodoCloseSteps;
}

/// Deletes the step with its entry; gives the entry behind it.
QORJob::StepList::iterator QORJob::DeleteTodo(StepList::const_iterator iPosition)
{
    const std::unique_ptr<QORJobStep> step(*iPosition);
    if (HasId(step.get(), StepCloseJob))
        --mTodoCloseSteps;
    const auto next = mTodoSteps.erase(iPosition);
    ForgetCloseStepsWhenEmpty();
    return next;
}

void QORJob::MoveToFinished(StepList::const_iterator iPosition)
{
    if (HasId(*iPosition, StepCloseJob))
        mbCloseFinished = true; // from here on nobody asks how many are queued
    mFinishedSteps.splice(mFinishedSteps.begin(), mTodoSteps, iPosition);
    ForgetCloseStepsWhenEmpty();
}

/// The count is right again at the latest here, whatever holders of queued records have made of their ids.
void QORJob::ForgetCloseStepsWhenEmpty()
{
    if (mTodoSteps.empty())
        mTodoCloseSteps = 0;
}

void QORJob::GiveTodoSize(int* oCount) const
{
    if (oCount != nullptr)
        *oCount = static_cast<int>(mTodoSteps.size());
}

/// Queues new steps of these ids, 0 for none: all of them, or, without memory, none.
HRESULT QORJob::InsertNewSteps(StepList::const_iterator iBefore, int iFirstId, int iSecondId)
{
    StepList entries(mTodoSteps.get_allocator());
    std::array<std::unique_ptr<QORJobStep>, 2> steps;
    for (std::size_t i = 0; i < steps.size(); ++i)
    {
        const int id = i == 0 ? iFirstId : iSecondId;
        if (id == StepNoMore)
            continue;
        steps[i] = std::make_unique<QORJobStep>(id);
        if (steps[i] == nullptr) // the class's own `new` doesn't throw
            return E_OUTOFMEMORY;
        entries.push_back(steps[i].get());
    }
    for (std::unique_ptr<QORJobStep>& step : steps)
        if (HasId(step.release(), StepCloseJob))
            ++mTodoCloseSteps;
    mTodoSteps.splice(iBefore, entries);
    return S_OK;
}

/// Leaves the current step, and behind it the one that reports to the client (0 for none) and the closing step, as far
/// as the current step isn't that itself.
HRESULT QORJob::ReduceToClosing(int iReportingStepId)
{
    const std::size_t queued = mTodoSteps.size();
    const QORJobStep* current = queued == 0 ? nullptr : mTodoSteps.front();
    const HRESULT code =
        InsertNewSteps(mTodoSteps.cend(), HasId(current, iReportingStepId) ? StepNoMore : iReportingStepId,
                       HasId(current, StepCloseJob) ? StepNoMore : StepCloseJob);
    if (code != S_OK)
        return code;
    for (std::size_t dropped = 1; dropped < queued; ++dropped)
        DeleteTodo(std::next(mTodoSteps.cbegin()));
    return S_OK;
}

bool QORJob::HasFinished(int iStepId) const
{
    return std::any_of(mFinishedSteps.begin(), mFinishedSteps.end(),
                       [iStepId](const QORJobStep* iStep) { return HasId(iStep, iStepId); });
}

/// Only the current step keeps its like from being added: the same id further down is no obstacle.
bool QORJob::IsCurrent(int iStepId) const { return !mTodoSteps.empty() && HasId(mTodoSteps.front(), iStepId); }

/// At the end, where closing stays last.
QORJob::StepList::const_iterator QORJob::FindPlaceToAdd() const
{
    const bool bCloses = !mTodoSteps.empty() && HasId(mTodoSteps.back(), StepCloseJob);
    return bCloses ? std::prev(mTodoSteps.cend()) : mTodoSteps.cend();
}

HRESULT QORJob::AddStep(QORJobStep* iStep, int* oCount)
{
    std::unique_ptr<QORJobStep> step(iStep);
    return Boundary("AddStep", [&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        if (mStatus == JobCancelled)
            return S_OK;
        int id = StepNoMore;
        if (step == nullptr || step->GetId(&id) != S_OK)
            return E_POINTER;
        if (IsCurrent(id))
            step.reset();
        else
            InsertTodo(FindPlaceToAdd(), step);
        GiveTodoSize(oCount);
        return S_OK;
    });
}

HRESULT QORJob::AddStepToRun(QORJobStep* iStep, int* oStatus)
{
    std::unique_ptr<QORJobStep> step(iStep);
    return Boundary("AddStepToRun", [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        if (mStatus == JobCancelled)
            return S_OK;
        InsertTodo(mTodoSteps.cend(), step);
        if (oStatus != nullptr)
            *oStatus = mStatus;
        return S_OK;
    });
}

HRESULT QORJob::AddStepAtFront(QORJobStep* iStep, int* oCount)
{
    std::unique_ptr<QORJobStep> step(iStep);
    return Boundary("AddStepAtFront", [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        if (mStatus == JobCancelled)
            return S_OK;
        InsertTodo(mTodoSteps.cbegin(), step);
        GiveTodoSize(oCount);
        return S_OK;
    });
}

HRESULT QORJob::AddStepAfterThis(QORJobStep* iStep, int* oCount)
{
    std::unique_ptr<QORJobStep> step(iStep);
    return Boundary("AddStepAfterThis", [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        if (mStatus == JobCancelled)
            return S_OK;
        InsertTodo(mTodoSteps.empty() ? mTodoSteps.cend() : std::next(mTodoSteps.cbegin()), step);
        GiveTodoSize(oCount);
        return S_OK;
    });
}

HRESULT QORJob::AddStepAfterThis(int iStepId, int* oCount)
{
    auto* step = new QORJobStep(iStepId);
    return step == nullptr ? E_OUTOFMEMORY : AddStepAfterThis(step, oCount);
}

HRESULT QORJob::SetStepComplete()
{
    return Boundary("SetStepComplete", [&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        mbExecutingInWarehouse = false;
        if (mTodoSteps.empty())
            return E_UNEXPECTED;
        if (mTodoSteps.front() == nullptr)
            return E_POINTER;
        int id = StepNoMore;
        const HRESULT code = mTodoSteps.front()->GetId(&id);
        if (code != S_OK)
            return code;
        // The request type's name under the step's id is a mix-up that readers of this line rely on.
        if (id == StepSQLGeneration || id == StepQueryExecution || id == StepAnalyticalProcessing)
            LogLine(EnumKernelRouter::ScopeTrace, "QORJob::SetStepComplete: Job:%1 completed step:%2.", mId.Get(),
                    ConvertIDToName(id));
        LogLine(EnumKernelRouter::JobTrace, "QORJob::SetStepComplete: Job:%1 completed step:%2.", mId.Get(), id);
        MoveToFinished(mTodoSteps.cbegin());
        return S_OK;
    });
}

HRESULT QORJob::SetStepComplete(int iStepId)
{
    return Boundary("SetStepComplete", [&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        const auto found = FindTodo(iStepId);
        if (found == mTodoSteps.end())
            return E_INVALIDARG;
        LogLine(EnumKernelRouter::JobTrace, "QORJob::SetStepComplete: Job:%1 completed step:%2.", mId.Get(), iStepId);
        MoveToFinished(found);
        return S_OK;
    });
}

HRESULT QORJob::ClearTodoSteps()
{
    return Boundary("ClearTodoSteps", [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        while (!mTodoSteps.empty())
            DeleteTodo(mTodoSteps.cbegin());
        return S_OK;
    });
}

HRESULT QORJob::RemoveStep(QORJobProcessingStep iStepId)
{
    return Boundary("RemoveStep", [&] {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        for (auto step = mTodoSteps.begin(); step != mTodoSteps.end();)
            step = HasId(*step, iStepId) ? DeleteTodo(step) : std::next(step);
        return S_OK;
    });
}

HRESULT QORJob::RenewCurrentStep()
{
    return Boundary("RenewCurrentStep", [&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        if (mTodoSteps.empty() || mTodoSteps.front() == nullptr)
            return S_OK;
        const QORJobStep& old = *mTodoSteps.front();
        int id = StepNoMore;
        const HRESULT code = old.GetId(&id);
        if (code != S_OK)
            return code;
        std::unique_ptr<QORJobStep> fresh(new QORJobStep(id));
        if (fresh == nullptr)
        {
            DeleteTodo(mTodoSteps.cbegin()); // nothing takes its place: nobody may meet the old record again
            return E_OUTOFMEMORY;
        }
        if (id == StepNoOp)
            fresh->SetChapterKey(old.GetChapterKey());
        delete std::exchange(mTodoSteps.front(), fresh.release()); // in the old one's entry: it takes no memory
        return S_OK;
    });
}

HRESULT QORJob::AddCommonStepsAtRebuild(EnumKDXDocumentManipulationType iType)
{
    const bool bManipulates = iType != EnumKDXDocumentManipulationType{};
    const bool bExecutes =
        !bManipulates || iType == DocumentManipulationApply || iType == DocumentManipulationReexecute;
    return Boundary("AddCommonStepsAtRebuild", [&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock);
        if (mStatus == JobCancelled)
            return S_OK;
        // As AddStep takes them, but both or none.
        return InsertNewSteps(FindPlaceToAdd(),
                              bManipulates && !IsCurrent(StepDocumentManipulation) ? StepDocumentManipulation
                                                                                   : StepNoMore,
                              bExecutes && !IsCurrent(StepExecutingDocument) ? StepExecutingDocument : StepNoMore);
    });
}

bool QORJob::IsLastComponentExport() const
{
    QSynch::CriticalSection::SmartLock lock(mpLock);
    return HasFinished(StepDocumentFormatting);
}
