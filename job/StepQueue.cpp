#include "job/StepQueue.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace
{

bool IsStarted(const QORJobStep& iStep)
{
    DWORD threadId = 0;
    int unitId = -1;
    return iStep.GetThreadId(&threadId) == S_OK && iStep.GetPUId(&unitId) == S_OK && (threadId != 0 || unitId != -1);
}

} // namespace

bool StepQueue::HasFinished(int iStepId) const
{
    const NewestFirst<QORJobStep> finished = GetFinished();
    return std::any_of(finished.begin(), finished.end(),
                       [=](const QORJobStep* iStep) { return HasId(iStep, iStepId); });
}

/// Closing steps usually stand at the end: from there the walk is over after the last of them.
const QORJobStep* StepQueue::FindStartedCloseStep() const
{
    const QORJobStep* started = nullptr;
    int left = mCloseSteps;
    for (std::size_t place = mCount; left > 0 && place > mFinished; --place)
    {
        const QORJobStep* const step = mpEntries[place - 1];
        if (!HasId(step, StepCloseJob))
            continue;
        --left;
        if (IsStarted(*step))
            started = step;
    }
    return started;
}

/// Makes room for entries at that place of all.
void StepQueue::OpenGap(std::size_t iPlace, std::size_t iEntries)
{
    QORJobStep** entries = mpEntries;
    const std::size_t room = mCount + iEntries <= mRoom ? mRoom : 2 * (mCount + iEntries);
    if (room != mRoom)
        entries = static_cast<QORJobStep**>(mpMemory->allocate(room * sizeof(QORJobStep*), alignof(QORJobStep*)));
    std::copy_backward(mpEntries + iPlace, mpEntries + mCount, entries + mCount + iEntries);
    if (room != mRoom)
    {
        std::copy(mpEntries, mpEntries + iPlace, entries);
        FreeEntries();
        mpEntries = entries;
        mRoom = room;
    }
    mCount += iEntries;
}

void StepQueue::FreeEntries()
{
    if (mpEntries != mFirstEntries.data())
        mpMemory->deallocate(mpEntries, mRoom * sizeof(QORJobStep*), alignof(QORJobStep*));
}

HRESULT StepQueue::InsertNew(Position iBefore, int iFirstId, int iSecondId)
{
    std::array<std::unique_ptr<QORJobStep>, 2> steps;
    std::size_t count = 0;
    for (int id : {iFirstId, iSecondId})
    {
        if (id == StepNoMore)
            continue;
        steps[count] = std::make_unique<QORJobStep>(id);
        if (steps[count] == nullptr) // the class's own `new` doesn't throw
            return E_OUTOFMEMORY;
        ++count;
    }
    std::size_t place = mFinished + static_cast<std::size_t>(iBefore - GetTodo().begin());
    OpenGap(place, count);
    for (std::size_t i = 0; i < count; ++i, ++place)
    {
        mpEntries[place] = steps[i].release();
        if (HasId(mpEntries[place], StepCloseJob))
            ++mCloseSteps;
    }
    return S_OK;
}

StepQueue::Position StepQueue::Delete(Position iPosition)
{
    const auto place = iPosition - GetTodo().begin();
    Delete(iPosition, std::next(iPosition));
    return GetTodo().begin() + place;
}

void StepQueue::Delete(Position iFrom, Position iTo)
{
    QORJobStep** const from = mpEntries + mFinished + (iFrom - GetTodo().begin());
    QORJobStep** const to = from + (iTo - iFrom);
    for (QORJobStep** entry = from; entry != to; ++entry)
    {
        if (HasId(*entry, StepCloseJob))
            --mCloseSteps;
        delete *entry;
    }
    std::copy(to, mpEntries + mCount, from);
    mCount -= static_cast<std::size_t>(to - from);
    CountNone();
}

void StepQueue::DeleteAllOf(int iStepId)
{
    for (Position step = GetTodo().begin(); step != GetTodo().end();)
        step = HasId(*step, iStepId) ? Delete(step) : std::next(step);
}

void StepQueue::Clear() { Delete(GetTodo().begin(), GetTodo().end()); }

void StepQueue::MoveToFinished(Position iPosition)
{
    if (HasId(*iPosition, StepCloseJob))
    {
        --mCloseSteps;
        mbCloseFinished = true;
    }
    QORJobStep** const front = mpEntries + mFinished;
    QORJobStep** const moved = front + (iPosition - GetTodo().begin());
    if (moved != front)
        std::rotate(front, moved, moved + 1);
    ++mFinished;
    CountNone();
}

/// In an empty list the count is right again, whatever holders of queued steps have made of their ids.
void StepQueue::CountNone()
{
    if (mFinished == mCount)
        mCloseSteps = 0;
}

HRESULT StepQueue::ReduceToClosing(int iReportingStepId)
{
    const auto queued = static_cast<std::ptrdiff_t>(GetTodo().size());
    const HRESULT code = InsertNew(GetTodo().end(), IsCurrent(iReportingStepId) ? StepNoMore : iReportingStepId,
                                   IsCurrent(StepCloseJob) ? StepNoMore : StepCloseJob);
    if (code == S_OK && queued > 1)
        Delete(std::next(GetTodo().begin()), GetTodo().begin() + queued);
    return code;
}

void StepQueue::ReplaceCurrent(std::unique_ptr<QORJobStep> iStep)
{
    delete std::exchange(mpEntries[mFinished], iStep.release());
}

void StepQueue::DeleteSteps()
{
    for (std::size_t place = 0; place < mCount; ++place)
        delete std::exchange(mpEntries[place], nullptr);
}

StepQueue::~StepQueue()
{
    DeleteSteps();
    FreeEntries();
}
