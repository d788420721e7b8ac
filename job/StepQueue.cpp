#include "job/StepQueue.h"

#include "record/QORJobProcessingStep.h"
#include "record/QORJobStep.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace
{

bool HasId(const QORJobStep* iStep, int iStepId)
{
    int id = StepNoMore;
    return iStep != nullptr && iStep->GetId(&id) == S_OK && id == iStepId;
}

bool IsStarted(const QORJobStep& iStep)
{
    DWORD threadId = 0;
    int unitId = -1;
    return iStep.GetThreadId(&threadId) == S_OK && iStep.GetPUId(&unitId) == S_OK && (threadId != 0 || unitId != -1);
}

} // namespace

bool StepQueue::IsCurrent(int iStepId) const { return HasId(GetCurrent(), iStepId); }

StepQueue::Position StepQueue::Find(int iStepId) const
{
    return std::find_if(mTodo.begin(), mTodo.end(), [=](const QORJobStep* iStep) { return HasId(iStep, iStepId); });
}

StepQueue::Position StepQueue::FindPlaceToAdd() const
{
    const bool bCloses = !mTodo.empty() && HasId(mTodo.back(), StepCloseJob);
    return bCloses ? std::prev(mTodo.end()) : mTodo.end();
}

bool StepQueue::HasFinished(int iStepId) const
{
    return std::any_of(mFinished.begin(), mFinished.end(),
                       [=](const QORJobStep* iStep) { return HasId(iStep, iStepId); });
}

/// Closing steps usually stand at the end: from there the walk is over after the last of them.
const QORJobStep* StepQueue::FindStartedCloseStep() const
{
    const QORJobStep* started = nullptr;
    int left = mCloseSteps;
    for (auto step = mTodo.rbegin(); left > 0 && step != mTodo.rend(); ++step)
    {
        if (!HasId(*step, StepCloseJob))
            continue;
        --left;
        if (IsStarted(**step))
            started = *step;
    }
    return started;
}

void StepQueue::Insert(Position iBefore, std::unique_ptr<QORJobStep>& ioStep)
{
    mTodo.insert(iBefore, ioStep.get());
    if (HasId(ioStep.release(), StepCloseJob))
        ++mCloseSteps;
}

HRESULT StepQueue::InsertNew(Position iBefore, int iFirstId, int iSecondId)
{
    List entries(mTodo.get_allocator());
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
            ++mCloseSteps;
    mTodo.splice(iBefore, entries);
    return S_OK;
}

StepQueue::Position StepQueue::Delete(Position iPosition)
{
    const std::unique_ptr<QORJobStep> step(*iPosition);
    if (HasId(step.get(), StepCloseJob))
        --mCloseSteps;
    const Position next = mTodo.erase(iPosition);
    CountNone();
    return next;
}

void StepQueue::DeleteAllOf(int iStepId)
{
    for (Position step = mTodo.cbegin(); step != mTodo.cend();)
        step = HasId(*step, iStepId) ? Delete(step) : std::next(step);
}

void StepQueue::Clear()
{
    while (!mTodo.empty())
        Delete(mTodo.cbegin());
}

void StepQueue::MoveToFinished(Position iPosition)
{
    if (HasId(*iPosition, StepCloseJob))
    {
        --mCloseSteps;
        mbCloseFinished = true;
    }
    mFinished.splice(mFinished.begin(), mTodo, iPosition);
    CountNone();
}

/// In an empty list the count is right again, whatever holders of queued steps have made of their ids.
void StepQueue::CountNone()
{
    if (mTodo.empty())
        mCloseSteps = 0;
}

HRESULT StepQueue::ReduceToClosing(int iReportingStepId)
{
    const std::size_t queued = mTodo.size();
    const HRESULT code = InsertNew(mTodo.cend(), IsCurrent(iReportingStepId) ? StepNoMore : iReportingStepId,
                                   IsCurrent(StepCloseJob) ? StepNoMore : StepCloseJob);
    if (code != S_OK)
        return code;
    for (std::size_t dropped = 1; dropped < queued; ++dropped)
        Delete(std::next(mTodo.cbegin()));
    return S_OK;
}

void StepQueue::ReplaceCurrent(std::unique_ptr<QORJobStep> iStep)
{
    delete std::exchange(mTodo.front(), iStep.release());
}

void StepQueue::DeleteSteps()
{
    for (List* list : {&mFinished, &mTodo})
        for (QORJobStep*& step : *list)
            delete std::exchange(step, nullptr);
}
