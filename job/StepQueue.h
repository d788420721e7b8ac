// The steps of a job: those to be run, in their order, and those that have been run.
#pragma once

#include "job/NewestFirst.h"
#include "platform/QBase.h"
#include "platform/Windows.h"
#include "record/QORJobProcessingStep.h"
#include "record/QORJobStep.h"

#include <array>
#include <cstddef>
#include <iterator>
#include <memory>
#include <memory_resource>
#include <span>

/// An entry may be without a step: whoever looks for steps passes over it. What dispatch asks each time (is a closing
/// step queued, has one finished) is kept beside the lists, so that it needn't walk them.
///
/// Threads: one at a time; the job that has it has a lock.
/// Owns:    its steps.
/// Errors:  E_OUTOFMEMORY, or std::bad_alloc, without memory for an entry, std::length_error for too many of them:
///          nothing is queued then.
/// Locks:   none.
class StepQueue
{
public:
    using List = std::span<QORJobStep* const>;
    using Position = List::iterator; ///< good until the next change

    explicit StepQueue(std::pmr::memory_resource* iMemory) : mpMemory(iMemory) {}
    ~StepQueue();
    StepQueue(const StepQueue&) = delete;
    StepQueue& operator=(const StepQueue&) = delete;

    List GetTodo() const { return {mpEntries + mFinishedCount, mCount - mFinishedCount}; }
    NewestFirst<QORJobStep> GetFinished() const { return {mpEntries, mFinishedCount}; }

    /// The current step; null without one, and for an entry without a step.
    QORJobStep* GetCurrent() const { return mFinishedCount == mCount ? nullptr : mpEntries[mFinishedCount]; }
    bool IsCurrent(int iStepId) const { return HasId(GetCurrent(), iStepId); }
    /// The end when no step of that id is queued.
    Position Find(int iStepId) const
    {
        const List todo = GetTodo();
        Position step = todo.begin();
        while (step != todo.end() && !HasId(*step, iStepId))
            ++step;
        return step;
    }

    /// At the end, but in front of a closing step that stands there.
    Position FindPlaceToAdd() const
    {
        const List todo = GetTodo();
        return !todo.empty() && HasId(todo.back(), StepCloseJob) ? std::prev(todo.end()) : todo.end();
    }

    bool HasFinished(int iStepId) const;
    bool HasFinishedClosing() const { return mbCloseFinished; }
    /// The first closing step that a thread has started; null when none has been.
    const QORJobStep* FindStartedCloseStep() const
    {
        if (mCloseStepCount == 0)
            return nullptr;
        // One that stands at the end, as nearly always.
        const QORJobStep* const last = mpEntries[mCount - 1];
        if (mCloseStepCount == 1 && HasId(last, StepCloseJob))
            return IsStarted(*last) ? last : nullptr;
        return FindStartedOfSeveral();
    }

    static int IdOf(const QORJobStep& iStep)
    {
        int id = StepNoMore;
        iStep.GetId(&id);
        return id;
    }
    static bool HasId(const QORJobStep* iStep, int iStepId) { return iStep != nullptr && IdOf(*iStep) == iStepId; }

    /// The step is the queue's once it is in.
    void Insert(Position iBefore, QORJobStepPtr& ioStep)
    {
        const unsigned place = PlaceOf(iBefore);
        if (place == mCount && mCount < mRoom)
            ++mCount;
        else
            OpenGap(place, 1);
        Put(place, ioStep);
    }

    /// Queues new steps of these ids, 0 for none: all of them or none.
    HRESULT InsertNew(Position iBefore, int iFirstId, int iSecondId);
    /// Deletes the entry with its step; gives the entry behind it.
    Position Delete(Position iPosition);
    void Delete(Position iFrom, Position iTo);
    void DeleteAllOf(int iStepId);
    void Clear();
    void MoveToFinished(Position iPosition)
    {
        if (iPosition != GetTodo().begin())
            BringToFront(iPosition);
        if (HasId(mpEntries[mFinishedCount], StepCloseJob))
        {
            --mCloseStepCount;
            mbCloseFinished = true;
        }
        ++mFinishedCount;
        ForgetCloseStepsOfEmptyList();
    }

    /// Leaves the current step, and behind it a new one that reports to the client (0 for none) and a closing one, as
    /// far as the current step isn't that itself.
    HRESULT ReduceToClosing(int iReportingStepId);
    /// Puts a step of the same id in the current one's entry.
    void ReplaceCurrent(QORJobStepPtr iStep);
    /// Deletes all steps and keeps the entries: for the end, when nobody asks for closing steps any more.
    void DeleteSteps();

private:
    static constexpr unsigned cOwnRoom = 8; // most jobs have no more steps

    static bool IsStarted(const QORJobStep& iStep)
    {
        DWORD threadId = 0;
        int unitId = -1;
        iStep.GetThreadId(&threadId);
        iStep.GetPUId(&unitId);
        return threadId != 0 || unitId != -1;
    }

    const QORJobStep* FindStartedOfSeveral() const;
    void OpenGap(unsigned iPlace, unsigned iEntries);
    unsigned PlaceOf(Position iPosition) const
    {
        return mFinishedCount + static_cast<unsigned>(iPosition - GetTodo().begin());
    }
    void FreeRoom();
    void Put(unsigned iPlace, QORJobStepPtr& ioStep)
    {
        if (HasId(ioStep.get(), StepCloseJob))
            ++mCloseStepCount;
        mpEntries[iPlace] = ioStep.release();
    }

    void BringToFront(Position iPosition);

    /// In an empty list the count is right again, whatever holders of queued steps have made of their ids.
    void ForgetCloseStepsOfEmptyList()
    {
        if (mFinishedCount == mCount)
            mCloseStepCount = 0;
    }

    std::pmr::memory_resource* const mpMemory;
    std::array<QORJobStep*, cOwnRoom> mOwnRoom;
    // The finished steps, the oldest first, and behind them the queued ones: a step that was in front is finished where
    // it stands.
    QORJobStep** mpEntries = mOwnRoom.data();
    unsigned mRoom = cOwnRoom;
    unsigned mCount = 0;
    unsigned mFinishedCount = 0;
    int mCloseStepCount = 0; // among those queued
    bool mbCloseFinished = false;
};
