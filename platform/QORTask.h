// The thread library: the tasks that its threads run, and its initialiser.
#pragma once

#include "platform/Export.h"
#include "platform/Windows.h"

/// A unit of work. Other modules call its virtual operations by their slot: never move one.
///
/// Threads: one at a time; CancelLog any.
/// Owns:    nothing. A task isn't counted: its owner deletes it.
/// Errors:  return codes.
/// Locks:   none.
class QORJOB_API QORTask
{
public:
    QORTask() noexcept;
    QORTask(const QORTask&) = delete;
    QORTask& operator=(const QORTask&) = delete;

    virtual HRESULT Run() = 0;
    /// A new task for the same work; it is the caller's.
    virtual HRESULT Clone(QORTask** oTask) = 0;
    virtual ~QORTask();
    /// Records that the task was cancelled.
    virtual void CancelLog();
};

namespace QORThreadSpace
{

/// Brings the thread library up with the first object and down with the last one. Throws QBase::Message when the
/// library can't be brought up.
class QORJOB_API Initializer
{
public:
    Initializer();
    ~Initializer();
    Initializer(const Initializer&) = delete;
    Initializer& operator=(const Initializer&) = delete;
};

} // namespace QORThreadSpace
