#include "host/Timers.h"

#include <algorithm>

namespace QORHOST
{

void Timers::Prepare(Record& ioRecord)
{
    if (IsPrepared(ioRecord))
        return;
    ioRecord.mTimerNode = MakeNode(ioRecord);
    ioRecord.mbTimer = true;
}

void Timers::Set(Record& ioRecord, Moment iWhen)
{
    {
        const std::lock_guard hold(mMutex);
        if (ioRecord.mTimerPlace)
        {
            if ((*ioRecord.mTimerPlace)->mMoment <= iWhen)
                return;
            ioRecord.mTimerNode = mTimers.extract(*ioRecord.mTimerPlace);
        }
        Ticket& ticket = ioRecord.mTimerNode.value();
        ticket.mMoment = iWhen;
        ticket.mNumber = ++mLastNumber;
        ioRecord.mTimerPlace = mTimers.insert(std::move(ioRecord.mTimerNode)).position;
        if (*ioRecord.mTimerPlace != mTimers.begin())
            return;
    }
    mChanged.notify_one();
}

void Timers::Forget(Record& ioRecord)
{
    if (!IsPrepared(ioRecord))
        return;
    const std::lock_guard hold(mMutex);
    if (ioRecord.mTimerPlace)
        ioRecord.mTimerNode = mTimers.extract(*ioRecord.mTimerPlace);
    ioRecord.mTimerPlace.reset();
}

std::shared_ptr<Record> Timers::TakeDue(Moment iNow)
{
    const std::lock_guard hold(mMutex);
    if (mTimers.empty() || mTimers.begin()->mMoment > iNow)
        return nullptr;
    Record& record = *mTimers.begin()->mpRecord;
    record.mTimerNode = mTimers.extract(mTimers.begin());
    record.mTimerPlace.reset();
    return record.shared_from_this();
}

bool Timers::Wait(Moment iUntil)
{
    std::unique_lock hold(mMutex);
    const Moment next = mTimers.empty() ? iUntil : std::min(iUntil, mTimers.begin()->mMoment); // a copy: it may go
    if (!mbClosed)
        mChanged.wait_until(hold, next);
    return !mbClosed;
}

void Timers::Close()
{
    {
        const std::lock_guard hold(mMutex);
        mbClosed = true;
    }
    mChanged.notify_all();
}

} // namespace QORHOST
