#include "host/Unit.h"

#include "host/Boundary.h"
#include "host/Core.h"

#include <algorithm>
#include <utility>

namespace QORHOST
{

void Unit::Start()
{
    {
        const std::lock_guard hold(mMutex);
        mMissing = mPlan.mThreads;
    }
    Refill();
}

void Unit::Refill()
{
    for (;;)
    {
        {
            const std::lock_guard hold(mMutex);
            if (mMissing == 0 || mbClosed)
                return;
            --mMissing;
        }
        if (const std::exception_ptr failure = Catch([this] { AddWorker(); }))
        {
            const std::lock_guard hold(mMutex);
            ++mMissing;
            std::rethrow_exception(failure);
        }
    }
}

/// The server's way to start threads is called without the lock; so the thread waits until it is known here.
void Unit::AddWorker()
{
    const auto worker = std::make_shared<Worker>();
    std::list<std::shared_ptr<Worker>> added{worker};
    std::thread thread = mCore.StartThread([core = mCore.shared_from_this(), this, worker] { Run(*worker); });
    {
        const std::lock_guard hold(mMutex);
        worker->mbGivenUp = mbClosed; // nobody would join it
        if (mbClosed)
            thread.detach();
        else
        {
            worker->mThread = std::move(thread);
            mWorkers.splice(mWorkers.end(), added);
        }
    }
    mFilled.notify_all();
}

std::size_t Unit::CountMissing() const
{
    const std::lock_guard hold(mMutex);
    return mbClosed ? 0 : mMissing;
}

void Unit::Run(Worker& ioWorker)
{
    {
        std::unique_lock hold(mMutex);
        mFilled.wait(hold, [&] { return ioWorker.mThread.joinable() || ioWorker.mbGivenUp; });
    }
    std::uint64_t wakes = 0; // only who got nothing has to look
    while (!ioWorker.mbGivenUp)
    {
        if (const std::shared_ptr<Record> record = Take(cNever, wakes))
            mCore.Drive(record, *this, &ioWorker);
        else if (IsClosed()) // then nothing is queued any more
            break;
        else
            wakes = CountWakes();
    }
    const std::lock_guard hold(mMutex);
    ioWorker.mbEnded = true;
    mWorkerEnded.notify_all();
}

bool Unit::IsClosed() const
{
    const std::lock_guard hold(mMutex);
    return mbClosed;
}

/// Between the queue and what a user has parked.
void Unit::Move(Record& ioRecord, Tickets& ioTo)
{
    ioRecord.mQueuePlace = ioTo.insert(ioRecord.mpQueue->extract(*ioRecord.mQueuePlace)).position;
    ioRecord.mpQueue = &ioTo;
}

void Unit::Put(Record& ioRecord, int iPriority, bool ibFirst, Moment iNow)
{
    // Beyond these the clock would not reach.
    constexpr int cMost = 1'000'000;
    constexpr std::chrono::hours cLongest{1};
    const auto ahead = std::clamp(iPriority, -cMost, cMost) * std::min<Clock::duration>(mPlan.mRaiseEvery, cLongest);
    {
        const std::lock_guard hold(mMutex);
        Ticket& ticket = ioRecord.mQueueNode.value();
        ticket.mMoment = ibFirst ? Moment::min() : iNow - ahead;
        ticket.mNumber = ++mLastNumber;
        // Mostly it is the last one, so that is where the search for its place begins.
        ioRecord.mQueuePlace = mQueue.insert(ibFirst ? mQueue.begin() : mQueue.end(), std::move(ioRecord.mQueueNode));
        ioRecord.mpQueue = &mQueue;
    }
    mFilled.notify_one();
}

bool Unit::Remove(Record& ioRecord)
{
    const std::lock_guard hold(mMutex);
    if (!ioRecord.mQueuePlace)
        return false;
    const bool bParked = ioRecord.mpQueue != &mQueue;
    ioRecord.mQueueNode = ioRecord.mpQueue->extract(*ioRecord.mQueuePlace);
    ioRecord.mQueuePlace.reset();
    if (bParked)
        --mParked;
    else
        Unpark(ioRecord); // whose turn it was
    return true;
}

std::shared_ptr<Record> Unit::Take(Moment iUntil, std::uint64_t iWakes)
{
    std::unique_lock hold(mMutex);
    for (;;)
    {
        while (!mQueue.empty())
        {
            Record& record = *mQueue.begin()->mpRecord;
            User* const user = mPlan.mMostAUser == 0 ? nullptr : record.mpUser;
            // What has ended already (it stands in front) goes on whoever it is for.
            const bool bFirst = mQueue.begin()->mMoment == Moment::min();
            if (user != nullptr && !bFirst && user->mShares[mPlace].mRunning >= mPlan.mMostAUser)
            {
                Move(record, user->mShares[mPlace].mParked);
                ++mParked;
                continue;
            }
            record.mbCounted = user != nullptr;
            if (record.mbCounted)
                ++user->mShares[mPlace].mRunning;
            record.mQueueNode = mQueue.extract(mQueue.begin());
            record.mQueuePlace.reset();
            return record.shared_from_this();
        }
        if (mbClosed || mWakes != iWakes)
            return nullptr;
        if (iUntil == cNever)
            mFilled.wait(hold);
        else if (mFilled.wait_until(hold, iUntil) == std::cv_status::timeout && mQueue.empty())
            return nullptr;
    }
}

/// The next job of that user has its turn.
void Unit::Unpark(const Record& iRecord)
{
    if (mPlan.mMostAUser == 0 || iRecord.mpUser == nullptr)
        return;
    const Tickets& parked = iRecord.mpUser->mShares[mPlace].mParked;
    if (parked.empty())
        return;
    Move(*parked.begin()->mpRecord, mQueue);
    --mParked;
}

void Unit::Leave(Record& ioRecord)
{
    if (mPlan.mMostAUser == 0)
        return;
    {
        const std::lock_guard hold(mMutex);
        if (!std::exchange(ioRecord.mbCounted, false))
            return;
        --ioRecord.mpUser->mShares[mPlace].mRunning;
        Unpark(ioRecord);
    }
    mFilled.notify_one();
}

std::uint64_t Unit::CountWakes() const
{
    const std::lock_guard hold(mMutex);
    return mWakes;
}

void Unit::Wake()
{
    {
        const std::lock_guard hold(mMutex);
        ++mWakes;
    }
    mFilled.notify_all();
}

std::size_t Unit::CountQueued() const
{
    const std::lock_guard hold(mMutex);
    return mQueue.size() + mParked;
}

void Unit::Replace(Worker& ioWorker)
{
    const std::lock_guard hold(mMutex);
    const auto place =
        std::find_if(mWorkers.begin(), mWorkers.end(), [&](const auto& iWorker) { return iWorker.get() == &ioWorker; });
    ioWorker.mbGivenUp = true;
    ioWorker.mThread.detach();
    mWorkers.erase(place);
    ++mMissing; // the caller refills it
}

void Unit::Close()
{
    {
        const std::lock_guard hold(mMutex);
        mbClosed = true;
    }
    mFilled.notify_all();
}

std::vector<int> Unit::Join(Moment iUntil)
{
    std::unique_lock hold(mMutex);
    const auto hasEnded = [](const auto& iWorker) {
        // A callback that destroys the host does so in a thread of it.
        return iWorker->mbEnded || iWorker->mThread.get_id() == std::this_thread::get_id();
    };
    mWorkerEnded.wait_until(hold, iUntil, [&] { return std::all_of(mWorkers.begin(), mWorkers.end(), hasEnded); });
    std::vector<int> left;
    for (const std::shared_ptr<Worker>& worker : std::exchange(mWorkers, {}))
    {
        if (worker->mbEnded)
        {
            hold.unlock();
            worker->mThread.join(); // it is past its last use of the unit
            hold.lock();
            continue;
        }
        if (worker->mThread.get_id() != std::this_thread::get_id())
            left.push_back(worker->mJob);
        worker->mbGivenUp = true;
        worker->mThread.detach();
    }
    return left;
}

} // namespace QORHOST
