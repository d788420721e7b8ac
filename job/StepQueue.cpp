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

const QORJobStep* StepQueue::FindStartedOfSeveral() const
{
    const List todo = GetTodo();
    const Position started = std::find_if(todo.begin(), todo.end(), [](const QORJobStep* iStep) {
        return HasId(iStep, StepCloseJob) && IsStarted(*iStep);
    });
    return started == todo.end() ? nullptr : *started;
}

/// Makes room for entries in front of the one at that place.
void StepQueue::OpenGap(unsigned iPlace, unsigned iEntries)
{
    constexpr unsigned cMost = std::numeric_limits<unsigned>::max() / 4; // the room is doubled
    if (mCount > cMost)
        throw std::length_error("list<T> too long"); // as log readers know it
    QORJobStep** entries = mpEntries;
    const unsigned room = mCount + iEntries <= mRoom ? mRoom : 2 * (mCount + iEntries);
    if (room != mRoom)
        entries = std::pmr::polymorphic_allocator<QORJobStep*>(mpMemory).allocate(room);
    std::copy_backward(mpEntries + iPlace, mpEntries + mCount, entries + mCount + iEntries);
    if (room != mRoom)
    {
        std::copy(mpEntries, mpEntries + iPlace, entries);
        FreeRoom();
        mpEntries = entries;
        mRoom = room;
    }
    mCount += iEntries;
}

void StepQueue::FreeRoom()
{
    if (mpEntries != mOwnRoom.data())
        std::pmr::polymorphic_allocator<QORJobStep*>(mpMemory).deallocate(mpEntries, mRoom);
}

HRESULT StepQueue::InsertNew(Position iBefore, int iFirstId, int iSecondId)
{
    std::array<QORJobStepPtr, 2> steps;
    unsigned count = 0;
    for (int id : {iFirstId, iSecondId})
    {
        if (id == StepNoMore)
            continue;
        steps[count].reset(new QORJobStep(id));
        if (steps[count] == nullptr) // the class's own `new` doesn't throw
            return E_OUTOFMEMORY;
        ++count;
    }
    const unsigned place = PlaceOf(iBefore);
    OpenGap(place, count);
    for (unsigned i = 0; i < count; ++i)
        Put(place + i, steps[i]);
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
            --mCloseStepCount;
        const QORJobStepPtr ended(*entry);
    }
    std::copy(to, mpEntries + mCount, from);
    mCount -= static_cast<unsigned>(to - from);
    ForgetCloseStepsOfEmptyList();
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
    std::rotate(mpEntries + mFinishedCount, moved, moved + 1);
}

HRESULT StepQueue::ReduceToClosing(int iReportingStepId)
{
    const auto queued = static_cast<std::ptrdiff_t>(GetTodo().size());
    const HRESULT code = InsertNew(GetTodo().end(), IsCurrent(iReportingStepId) ? StepNoMore : iReportingStepId,
                                   IsCurrent(StepCloseJob) ? StepNoMore : StepCloseJob);
    if (code == S_OK && queued > 0)
        Delete(std::next(GetTodo().begin()), GetTodo().begin() + queued);
    return code;
}

void StepQueue::ReplaceCurrent(QORJobStepPtr iStep)
{
    const QORJobStepPtr old(std::exchange(mpEntries[mFinishedCount], iStep.release()));
}

void StepQueue::DeleteSteps()
{
    for (unsigned place = 0; place < mCount; ++place)
        const QORJobStepPtr ended(std::exchange(mpEntries[place], nullptr));
}

StepQueue::~StepQueue()
{
    DeleteSteps();
    FreeRoom();
}
