// The steps of a job: those to be run, in their order, and those that have been run.
#pragma once

#include "platform/QBase.h"

#include <cstddef>
#include <memory>
#include <memory_resource>

class QORJobStep;

/// An entry may be without a step: whoever looks for steps passes over it. What dispatch asks each time (is a closing
/// step queued, has one finished) is kept beside the lists, so that it needn't walk them.
///
/// Threads: one at a time; the job that has it has a lock.
/// Owns:    its steps.
/// Errors:  E_OUTOFMEMORY, or std::bad_alloc, without memory for an entry: nothing is queued then.
/// Locks:   none.
class StepQueue
{
public:
    using List = QBase::list<QORJobStep*>;
    using Position = List::const_iterator;

    explicit StepQueue(std::pmr::memory_resource* iMemory) : mTodo(iMemory), mFinished(iMemory) {}
    ~StepQueue() { DeleteSteps(); }
    StepQueue(const StepQueue&) = delete;
    StepQueue& operator=(const StepQueue&) = delete;

    const List& GetTodo() const { return mTodo; }
    const List& GetFinished() const { return mFinished; } ///< newest first

    /// The current step; null without one, and for an entry without a step.
    QORJobStep* GetCurrent() const { return mTodo.empty() ? nullptr : mTodo.front(); }
    bool IsCurrent(int iStepId) const;
    /// The end when no step of that id is queued.
    Position Find(int iStepId) const;
    /// At the end, but in front of a closing step that stands there.
    Position FindPlaceToAdd() const;
    bool HasFinished(int iStepId) const;
    bool HasFinishedClosing() const { return mbCloseFinished; }
    /// The first closing step that a thread has started; null when none has been.
    const QORJobStep* FindStartedCloseStep() const;

    /// The step is the queue's once it is in.
    void Insert(Position iBefore, std::unique_ptr<QORJobStep>& ioStep);
    /// Queues new steps of these ids, 0 for none: all of them or none.
    HRESULT InsertNew(Position iBefore, int iFirstId, int iSecondId);
    /// Deletes the entry with its step; gives the entry behind it.
    Position Delete(Position iPosition);
    void DeleteAllOf(int iStepId);
    void Clear();
    void MoveToFinished(Position iPosition);
    /// Leaves the current step, and behind it a new one that reports to the client (0 for none) and a closing one, as
    /// far as the current step isn't that itself.
    HRESULT ReduceToClosing(int iReportingStepId);
    /// Puts a step of the same id in the current one's entry, which takes no memory for the list.
    void ReplaceCurrent(std::unique_ptr<QORJobStep> iStep);
    /// Deletes all steps and keeps the entries: for the end, when nobody asks for closing steps any more.
    void DeleteSteps();

private:
    void CountNone();

    List mTodo;
    List mFinished;
    int mCloseSteps = 0; // among mTodo
    bool mbCloseFinished = false;
};
