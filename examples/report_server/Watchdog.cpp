#include "Watchdog.h"

#include <algorithm>

Watchdog::~Watchdog() { Stop(); }

void Watchdog::Start(const Alarm& iAlarm)
{
    mThread = std::thread([this, iAlarm] { Run(iAlarm); });
}

void Watchdog::Stop()
{
    {
        const std::lock_guard hold(mMutex);
        mbClosed = true;
    }
    mChanged.notify_all();
    if (mThread.joinable())
        mThread.join();
}

void Watchdog::Watch(JobRecord& ioRecord, Moment iUntil)
{
    {
        const std::lock_guard hold(mMutex);
        mWatched[&ioRecord] = iUntil;
    }
    mChanged.notify_all();
}

void Watchdog::Forget(JobRecord& ioRecord)
{
    const std::lock_guard hold(mMutex);
    mWatched.erase(&ioRecord);
}

void Watchdog::Run(const Alarm& iAlarm)
{
    std::unique_lock hold(mMutex);
    while (!mbClosed)
    {
        const auto first =
            std::min_element(mWatched.begin(), mWatched.end(),
                             [](const auto& iLeft, const auto& iRight) { return iLeft.second < iRight.second; });
        if (first == mWatched.end())
        {
            mChanged.wait(hold);
        }
        else if (const Moment until = first->second; std::chrono::steady_clock::now() < until)
        {
            mChanged.wait_until(hold, until);
        }
        else
        {
            JobRecord& record = *first->first;
            mWatched.erase(first);
            hold.unlock(); // the alarm takes the record's mutex, under which Watch and Forget are called
            iAlarm(record);
            hold.lock();
        }
    }
}
