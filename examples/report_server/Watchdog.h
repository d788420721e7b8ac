// The watchdog over steps that take too long.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

struct JobRecord;

/// It knows of a job no more than until when its step may run.
///
/// Threads: any.
/// Owns:    its thread; not the records.
class Watchdog
{
public:
    using Moment = std::chrono::steady_clock::time_point;
    /// What is done with a job whose time is over: once, and then it isn't watched any more. The step may have ended
    /// at that very moment. Must not throw.
    using Alarm = std::function<void(JobRecord& ioRecord)>;

    Watchdog() = default;
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    void Start(const Alarm& iAlarm);
    void Stop();

    /// In place of what it knows of the job.
    void Watch(JobRecord& ioRecord, Moment iUntil);
    void Forget(JobRecord& ioRecord);

private:
    void Run(const Alarm& iAlarm);

    std::mutex mMutex; // guards what follows but the thread
    std::condition_variable mChanged;
    std::map<JobRecord*, Moment> mWatched;
    bool mbClosed = false;
    std::thread mThread;
};
