// How a host ends.
#include "host/Boundary.h"
#include "host/Core.h"
#include "host/Failure.h"

#include <algorithm>
#include <utility>

namespace QORHOST
{

void Core::Start()
{
    mWatch = StartThread([core = shared_from_this()] { core->Watch(); });
    if (const auto failure = Catch([&] {
            for (const auto& unit : mUnits)
                unit->Start();
        }))
    {
        End();
        std::rethrow_exception(failure);
    }
}

void Core::Request(int iClosing) noexcept
{
    int before = mRequested;
    while (before < iClosing && !mRequested.compare_exchange_weak(before, iClosing))
        continue;
}

void Core::Close(int iClosing)
{
    unsigned pass = 0;
    {
        const std::lock_guard hold(mMutex);
        if (mClosing >= iClosing)
            return;
        mClosing = iClosing;
        pass = ++mPasses;
    }
    mRoom.notify_all();
    mClosingBegun.notify_all();
    WakeRunUntils();
    while (const std::shared_ptr<Record> record = NextOpen(pass))
        CloseJob(*record, iClosing);
}

/// One that this pass and later ones haven't come by. Those that have been seen are at the list's end, mostly: two
/// passes at once mix them.
std::shared_ptr<Record> Core::NextOpen(unsigned iPass)
{
    const std::lock_guard hold(mMutex);
    const auto place =
        std::find_if(mOpen.begin(), mOpen.end(), [=](const auto& iRecord) { return iRecord->mPass < iPass; });
    if (place == mOpen.end())
        return nullptr;
    (*place)->mPass = iPass;
    std::shared_ptr<Record> record = *place;
    mOpen.splice(mOpen.end(), mOpen, place);
    return record;
}

void Core::CloseJob(Record& ioRecord, int iClosing)
{
    Hold hold(*this, ioRecord);
    if (ioRecord.mpCore == nullptr)
        return;
    const auto failure = Catch([&] {
        if (iClosing == ClosingDrain)
        {
            if (ioRecord.mbPaused)
                Resume(hold);
        }
        else if (ioRecord.mpRunning != nullptr)
        {
            if (!ioRecord.mbCommitted && !ioRecord.mpRunning->mbEndedBefore)
                TellToStop(hold);
        }
        else
            StopWork(hold);
    });
    if (failure != nullptr)
        Break(hold, failure);
    if (iClosing == ClosingStop && ioRecord.mpRunning == nullptr)
        Advance(hold);
}

/// A thread of the host doesn't wait for its own jobs, which can't end before.
bool Core::WaitForEnd(Moment iUntil)
{
    ++mEndWaiters;
    std::unique_lock hold(mMutex);
    mAllEnded.wait_until(hold, iUntil, [this] { return mUnfinished <= CountOwn(); });
    --mEndWaiters;
    return mUnfinished == 0;
}

bool Core::Drain(Moment iUntil)
{
    Close(ClosingDrain);
    return WaitForEnd(iUntil);
}

std::vector<std::string> Core::Stop(Moment iUntil)
{
    std::vector<std::string> left;
    Close(ClosingStop);
    if (WaitForEnd(iUntil))
        return left;
    GiveUpRunning(left);
    WaitForEnd(Until(mConfig.mGrace));
    return left;
}

/// The steps that run go on without the host; what is left of their jobs is run by other threads.
void Core::GiveUpRunning(std::vector<std::string>& oLeft)
{
    const unsigned pass = [this] {
        const std::lock_guard hold(mMutex);
        return ++mPasses;
    }();
    while (const std::shared_ptr<Record> record = NextOpen(pass))
    {
        Hold hold(*this, *record);
        if (record->mpRunning == nullptr || IsOwn(*record))
            continue;
        if (const auto failure = Catch([&] {
                oLeft.push_back(GetStepName(record->mpRunning->mStepId) + " of job " + std::to_string(record->mId));
            }))
            mLog.Write(EnumRouter::Error, "A step that is given up can't be told: %1", failure);
        TakeAway(hold, "the host ends");
    }
    RefillUnits();
}

/// What even then nobody runs ends without its last steps: a job of a unit whose threads are the server's, and one
/// whose last steps hang, too. Whatever would be queued from here on ends instead.
void Core::EndOpen()
{
    unsigned pass = 0;
    {
        const std::lock_guard hold(mMutex);
        mClosing = ClosingEnded;
        pass = ++mPasses;
    }
    while (const std::shared_ptr<Record> record = NextOpen(pass))
    {
        Hold hold(*this, *record);
        if (record->mpCore == nullptr)
            continue;
        if (record->mpRunning != nullptr && !IsOwn(*record))
            TakeAway(hold, "the host ends");
        else if (record->mState == EnumHostState::Queued ? record->mpUnit != nullptr && record->mpUnit->Remove(*record)
                                                         : record->mState != EnumHostState::Running)
            EndUnrun(hold);
        // Any other is with a thread, which ends it before its next step, or is entering its first queue.
    }
}

/// Afterwards no thread of the host is left but those in steps that were given up and in callbacks that don't end.
void Core::End()
{
    for (const std::string& step : Stop(Until(mConfig.mEndTime)))
        mLog.Write(EnumRouter::Error, "The host ends, and leaves a thread in %1", step);
    EndOpen();
    mTimers.Close();
    mWatch.join();
    for (const auto& unit : mUnits)
        unit->Close();
    const Moment until = Until(mConfig.mGrace);
    for (const auto& unit : mUnits)
        for (const int job : unit->Join(until))
            mLog.Write(EnumRouter::Error, "The host ends, and leaves a thread in the callback of job %1", job);
}

bool Core::WaitForClose(Moment iUntil)
{
    std::unique_lock hold(mMutex);
    const auto isClosing = [this] { return mClosing != ClosingNot; };
    if (iUntil != cNever)
        return mClosingBegun.wait_until(hold, iUntil, isClosing);
    mClosingBegun.wait(hold, isClosing);
    return true;
}

} // namespace QORHOST
