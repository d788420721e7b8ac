// Lists that are sent again and again, to those who keep a page open.
#pragma once

#include "monitor/QORMonitor.h"
#include "monitor/QORWeb.h"

#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace QORMONITOR
{

/// Threads: any; one is its own, which makes the lists.
/// Owns:    the calls, until their clients have gone.
/// Errors:  std::bad_alloc; the thread drops a stream that it can't feed.
/// Locks:   its own, for the list of streams; what is sent is sent under it.
class Streams
{
public:
    explicit Streams(const QORMonitor& iMonitor);
    /// Ends all streams.
    ~Streams();
    Streams(const Streams&) = delete;
    Streams& operator=(const Streams&) = delete;

    /// The first list is sent at once.
    void Add(const QORMonitorQuery& iQuery, std::shared_ptr<QORWebCall> iCall);

private:
    struct Stream
    {
        QORMonitorQuery mQuery;
        std::shared_ptr<QORWebCall> mpCall;
        std::string mSent; ///< the last list, without the time
        unsigned mQuietRounds = 0;
    };

    void Run();
    bool Feed(Stream& ioStream) const;

    const QORMonitor& mMonitor;
    std::mutex mMutex; // guards what follows but the thread
    std::condition_variable mChanged;
    std::list<Stream> mStreams;
    bool mbEnded = false;
    std::thread mThread;
};

} // namespace QORMONITOR
