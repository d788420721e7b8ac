// A unit's queue and its threads.
#pragma once

#include "host/Mutexes.h"
#include "host/QORHostTypes.h"
#include "host/Record.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

namespace QORHOST
{

/// One thread of a unit.
struct Worker
{
    std::thread mThread;                ///< the unit's, under its mutex
    bool mbEnded = false;               ///< the same
    std::atomic<bool> mbGivenUp{false}; ///< the thread is nobody's any more: it ends when it comes back
    std::atomic<int> mJob{-1};          ///< whose end it may be reporting
};

/// Threads: any.
/// Owns:    its threads; not the records.
/// Errors:  only Start and Refill throw, for threads that don't start.
/// Locks:   its own; taken after a record's, with none taken under it.
class Unit
{
public:
    /// `iPlace` among the host's units.
    Unit(QORHostUnit iPlan, std::size_t iPlace, Core& ioCore) : mPlan(std::move(iPlan)), mPlace(iPlace), mCore(ioCore)
    {
    }

    const QORHostUnit& GetPlan() const { return mPlan; }

    void Start();
    /// Starts what is missing.
    void Refill();
    std::size_t CountMissing() const;

    /// Into the queue; `ibFirst`: in front of all, for what only reports and closes.
    void Put(Record& ioRecord, int iPriority, bool ibFirst, Moment iNow);
    /// Out of the queue: false when a thread has taken the record already.
    bool Remove(Record& ioRecord);
    /// The next record; waits for one while there is none: until the moment, or the unit is closed, or Wake was called
    /// after `iWakes` was read. Its user has one more running until Leave.
    std::shared_ptr<Record> Take(Moment iUntil, std::uint64_t iWakes);
    std::uint64_t CountWakes() const;
    void Leave(Record& ioRecord);
    /// Threads that wait in Take get nothing and look again.
    void Wake();
    std::size_t CountQueued() const;
    bool IsClosed() const;

    /// Another thread takes the place of one that hangs.
    void Replace(Worker& ioWorker);
    /// The threads end, those in their work when that is over, and later ones aren't started.
    void Close();
    /// Those that haven't ended by then are left to themselves; their jobs.
    std::vector<int> Join(Moment iUntil);

private:
    void AddWorker();
    void Run(Worker& ioWorker);
    static void Move(Record& ioRecord, Tickets& ioTo);
    void Unpark(const Record& iRecord);

    const QORHostUnit mPlan;
    const std::size_t mPlace;
    Core& mCore;

    mutable OwnMutex mMutex; // guards what follows
    QSynch::Condition mFilled;
    QSynch::Condition mWorkerEnded;
    Tickets mQueue;
    std::size_t mParked = 0;
    std::uint64_t mLastNumber = 0;
    std::uint64_t mWakes = 0;
    std::list<std::shared_ptr<Worker>> mWorkers;
    std::size_t mMissing = 0; ///< threads that couldn't be started
    bool mbClosed = false;
};

} // namespace QORHOST
