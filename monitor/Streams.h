// Lists that are sent again and again, to those who keep a page open.
#pragma once

#include "monitor/Mutexes.h"
#include "monitor/QORMonitor.h"
#include "monitor/QORWeb.h"

#include <cstddef>
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
/// Locks:   its own, for the list of streams; none while lists are made and sent.
class Streams
{
public:
    explicit Streams(const QORMonitor& iMonitor);
    /// Ends all streams.
    ~Streams();
    Streams(const Streams&) = delete;
    Streams& operator=(const Streams&) = delete;

    /// The first list is sent at once. False when there are as many as the server is to have: others need room, too.
    bool Add(const QORMonitorQuery& iQuery, std::shared_ptr<QORWebCall> iCall);

private:
    struct Stream
    {
        QORMonitorQuery mQuery;
        std::shared_ptr<QORWebCall> mpCall;
        std::string mSent; ///< the last list, without the time
        unsigned mQuietRounds = 0;
    };

    void Run();
    void Feed(std::list<Stream>& ioStreams);
    bool Feed(Stream& ioStream) const;

    const QORMonitor& mMonitor;
    OwnMutex mMutex; // guards what follows but the thread
    QSynch::Condition mChanged;
    std::list<Stream> mStreams; // but for those that are being fed
    std::size_t mCount = 0;     // with those
    bool mbEnded = false;
    std::thread mThread;
};

} // namespace QORMONITOR
