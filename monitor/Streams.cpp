#include "monitor/Streams.h"

#include "monitor/QORMonitorViews.h"

#include <chrono>
#include <exception>
#include <utility>

namespace QORMONITOR
{

namespace
{

constexpr std::chrono::milliseconds cRound{500};
constexpr std::size_t cMost = 200;
constexpr unsigned cMostQuietRounds = 30; // a line then, so that whoever is between doesn't take the stream for dead

} // namespace

Streams::Streams(const QORMonitor& iMonitor) : mMonitor(iMonitor), mThread([this] { Run(); }) {}

Streams::~Streams()
{
    {
        const std::lock_guard hold(mMutex);
        mbEnded = true;
    }
    mChanged.notify_all();
    mThread.join();
    for (const Stream& stream : mStreams)
        stream.mpCall->Close();
}

bool Streams::Add(const QORMonitorQuery& iQuery, std::shared_ptr<QORWebCall> iCall)
{
    {
        const std::lock_guard hold(mMutex);
        if (mCount >= cMost)
            return false;
        ++mCount;
    }
    std::list<Stream> added;
    added.push_back({iQuery, std::move(iCall), {}});
    added.front().mpCall->Begin({200, "text/event-stream; charset=utf-8", {}, {}});
    Feed(added);
    {
        const std::lock_guard hold(mMutex);
        mStreams.splice(mStreams.end(), added);
    }
    mChanged.notify_all();
    return true;
}

void Streams::Run()
{
    std::unique_lock hold(mMutex);
    while (!mbEnded)
    {
        mChanged.wait(hold, [this] { return mbEnded || !mStreams.empty(); });
        if (mChanged.wait_for(hold, cRound, [this] { return mbEnded; }))
            return;
        std::list<Stream> fed;
        fed.swap(mStreams);
        hold.unlock();
        Feed(fed);
        hold.lock();
        mStreams.splice(mStreams.end(), fed);
    }
}

/// Those whose clients have gone go.
void Streams::Feed(std::list<Stream>& ioStreams)
{
    const std::size_t gone = ioStreams.remove_if([this](Stream& ioStream) {
        try
        {
            return !Feed(ioStream);
        }
        catch (const std::exception&)
        {
            ioStream.mpCall->Close(); // the page asks again
            return true;
        }
    });
    const std::lock_guard hold(mMutex);
    mCount -= gone;
}

/// False when the client has gone. The time of the look is no news.
bool Streams::Feed(Stream& ioStream) const
{
    QORMonitorPage page = mMonitor.List(ioStream.mQuery);
    const QORMonitorTime now = std::exchange(page.mNow, 0);
    std::string list = MakeListJson(mMonitor, page);
    if (list == ioStream.mSent)
    {
        if (++ioStream.mQuietRounds < cMostQuietRounds)
            return true;
        ioStream.mQuietRounds = 0;
        return ioStream.mpCall->Send(": still there\n\n");
    }
    ioStream.mQuietRounds = 0;
    ioStream.mSent = std::move(list);
    page.mNow = now;
    return ioStream.mpCall->Send("event: jobs\ndata: " + MakeListJson(mMonitor, page) + "\n\n");
}

} // namespace QORMONITOR
