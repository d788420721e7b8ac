#include "job/StepQueue.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <utility>

bool StepQueue::HasFinished(int iStepId) const
{
    const NewestFirst<QORJobStep> finished = GetFinished();
    return std::any_of(finished.begin(), finished.end(),
                       [=](const QORJobStep* iStep) { return HasId(iStep, iStepId); });
}

/// Closing steps stand near the end: from there the walk is over after the first of them.
const QORJobStep* StepQueue::FindStartedOfSeveral() const
{
    const QORJobStep* started = nullptr;
    int left = mCloseSteps;
    for (unsigned place = mCount; left > 0 && place > mFinished; --place)
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
void StepQueue::OpenGap(unsigned iPlace, unsigned iEntries)
{
    constexpr unsigned cMost = std::numeric_limits<unsigned>::max() / 4;
    if (mCount > cMost)
        throw std::length_error("list<T> too long");
    QORJobStep** entries = mpEntries;
    const unsigned room = mCount + iEntries <= mRoom ? mRoom : 2 * (mCount + iEntries);
    if (room != mRoom)
        entries = static_cast<QORJobStep**>(GetMemory().allocate(room * sizeof(QORJobStep*), alignof(QORJobStep*)));
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

std::pmr::memory_resource& StepQueue::GetMemory() const
{
    return mpBuffer != nullptr ? *static_cast<std::pmr::memory_resource*>(mpBuffer) : *QBase::DefaultHeap();
}

void StepQueue::FreeEntries()
{
    if (mpEntries != mFirstEntries.data())
        GetMemory().deallocate(mpEntries, mRoom * sizeof(QORJobStep*), alignof(QORJobStep*));
}

HRESULT StepQueue::InsertNew(Position iBefore, int iFirstId, int iSecondId)
{
    std::array<std::unique_ptr<QORJobStep>, 2> steps;
    unsigned count = 0;
    for (int id : {iFirstId, iSecondId})
    {
        if (id == StepNoMore)
            continue;
        steps[count].reset(QORJobStep::NewStep(id, mpBuffer));
        if (steps[count] == nullptr)
            return E_OUTOFMEMORY;
        ++count;
    }
    unsigned place = PlaceOf(iBefore);
    OpenGap(place, count);
    for (unsigned i = 0; i < count; ++i, ++place)
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
    QORJobStep** const from = mpEntries + PlaceOf(iFrom);
    QORJobStep** const to = from + (iTo - iFrom);
    for (QORJobStep** entry = from; entry != to; ++entry)
    {
        if (HasId(*entry, StepCloseJob))
            --mCloseSteps;
        delete *entry;
    }
    std::copy(to, mpEntries + mCount, from);
    mCount -= static_cast<unsigned>(to - from);
    CountNone();
}

void StepQueue::DeleteAllOf(int iStepId)
{
    for (Position step = GetTodo().begin(); step != GetTodo().end();)
        step = HasId(*step, iStepId) ? Delete(step) : std::next(step);
}

void StepQueue::Clear() { Delete(GetTodo().begin(), GetTodo().end()); }

void StepQueue::BringToFront(Position iPosition)
{
    QORJobStep** const moved = mpEntries + PlaceOf(iPosition);
    std::rotate(mpEntries + mFinished, moved, moved + 1);
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
    for (unsigned place = 0; place < mCount; ++place)
        delete std::exchange(mpEntries[place], nullptr);
}

StepQueue::~StepQueue()
{
    DeleteSteps();
    FreeEntries();
}
