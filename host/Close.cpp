// How a host ends.
#include "host/Boundary.h"
#include "host/Core.h"
#include "host/Failure.h"

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

void Core::Close(int iClosing)
{
    {
        const std::lock_guard hold(mMutex);
        if (mClosing >= iClosing)
            return;
        mClosing = iClosing;
    }
    mRoom.notify_all();
    mClosingBegun.notify_all();
    while (const std::shared_ptr<Record> record = NextOpen(iClosing))
        CloseJob(*record, iClosing);
}

/// One that hasn't been told yet that the host closes so. Those that have are at the list's end.
std::shared_ptr<Record> Core::NextOpen(int iClosing)
{
    const std::lock_guard hold(mMutex);
    if (mOpen.empty() || mOpen.front()->mClosingSeen >= iClosing)
        return nullptr;
    std::shared_ptr<Record> record = mOpen.front();
    record->mClosingSeen = iClosing;
    mOpen.splice(mOpen.end(), mOpen, mOpen.begin());
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

/// False as well for a thread of the host, which would wait for itself.
bool Core::WaitForEnd(Moment iUntil)
{
    std::unique_lock hold(mMutex);
    if (IsOwnThread())
        return mUnfinished == 0;
    return mAllEnded.wait_until(hold, iUntil, [this] { return mUnfinished == 0; });
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
    if (!WaitForEnd(Clock::now() + mConfig.mGrace))
        EndOpen();
    return left;
}

/// The steps that run go on without the host; what is left of their jobs is run by other threads.
void Core::GiveUpRunning(std::vector<std::string>& oLeft)
{
    const Record* const own = GetOwnRecord();
    while (const std::shared_ptr<Record> record = NextOpen(ClosingGivenUp))
    {
        Hold hold(*this, *record);
        if (record->mpRunning == nullptr || record.get() == own)
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
/// whose last steps hang, too.
void Core::EndOpen()
{
    while (const std::shared_ptr<Record> record = NextOpen(ClosingEnded))
    {
        bool bTaken = false;
        {
            Hold hold(*this, *record);
            if (record->mpCore == nullptr)
                continue;
            if (record->mpRunning != nullptr && record.get() != GetOwnRecord())
                TakeAway(hold, "the host ends");
            bTaken = (record->mState == EnumHostState::Queued && record->mpUnit != nullptr &&
                      record->mpUnit->Remove(*record)) ||
                     record->mState == EnumHostState::WaitingForChildren;
            if (bTaken)
                Break(hold, std::make_exception_ptr(CallError("nobody runs its last steps")));
        }
        if (bTaken)
            EndJob(record);
    }
}

/// Afterwards no thread of the host is left but those in steps that were given up and in callbacks that don't end.
void Core::End()
{
    for (const std::string& step : Stop(Clock::now() + mConfig.mEndTime))
        mLog.Write(EnumRouter::Error, "The host ends, and leaves a thread in %1", step);
    mTimers.Close();
    if (mWatch.joinable())
        mWatch.join();
    for (const auto& unit : mUnits)
        unit->Close();
    const Moment until = Clock::now() + mConfig.mGrace;
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
