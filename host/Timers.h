// Which records are to be looked at when.
#pragma once

#include "host/Mutexes.h"
#include "host/Record.h"

#include <memory>
#include <mutex>

namespace QORHOST
{

/// One timer a record, which only ever moves forward in time by itself: a record that was looked at too early is set
/// again. So a step that begins and ends in time costs nothing.
///
/// Threads: any.
/// Owns:    nothing.
/// Errors:  Prepare throws std::bad_alloc.
/// Locks:   its own; taken after a record's, with none taken under it.
class Timers
{
public:
    /// Takes the memory that the record's timer will need. Under the record's lock.
    static void Prepare(Record& ioRecord);
    static bool IsPrepared(const Record& iRecord) { return iRecord.mbTimer; }
    /// At that moment, or at the earlier one that is set.
    void Set(Record& ioRecord, Moment iWhen);
    /// The record's end.
    void Forget(Record& ioRecord);

    /// One whose time has come, which isn't set any more; null when there is none.
    std::shared_ptr<Record> TakeDue(Moment iNow);
    /// Until the next one is due, or that moment; false when it was closed.
    bool Wait(Moment iUntil);
    void Close();

private:
    OwnMutex mMutex; // guards what follows
    QSynch::Condition mChanged;
    Tickets mTimers;
    std::uint64_t mLastNumber = 0;
    bool mbClosed = false;
};

} // namespace QORHOST
