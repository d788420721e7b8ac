#include "monitor/WebFront.h"

#include "monitor/WebBoundary.h"

#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>

namespace asio = boost::asio;
using asio::ip::tcp;

namespace
{

constexpr std::size_t cLeastTokenSize = 16;
constexpr std::chrono::milliseconds cRetryTime{50}; // where a client can't be taken, for want of descriptors mostly

tcp::acceptor Listen(asio::io_context& ioIo, const QORWebConfig& iConfig)
{
    const std::string& token = iConfig.mAccess.mToken;
    if (!token.empty() && token.size() < cLeastTokenSize)
        throw std::runtime_error("a token has to have 16 characters at least");
    boost::system::error_code error;
    const auto address = asio::ip::make_address(iConfig.mAddress, error);
    if (error)
        throw std::runtime_error("'" + iConfig.mAddress + "' is not the number of an address");
    if (token.empty() && !address.is_loopback())
        throw std::runtime_error("without a token the server listens on loopback only, not at " + iConfig.mAddress);
    try
    {
        tcp::acceptor acceptor(ioIo, tcp::endpoint(address, iConfig.mPort));
        acceptor.non_blocking(true);
        return acceptor;
    }
    catch (const boost::system::system_error& failure)
    {
        throw std::runtime_error("can't listen at port " + std::to_string(iConfig.mPort) + " of " + iConfig.mAddress +
                                 ": " + failure.code().message());
    }
}

} // namespace

WebFront::WebFront(QORWebConfig iConfig, QORWebHandler iHandler)
    : mConfig(std::move(iConfig)), mHandler(std::move(iHandler)), mpIo(std::make_shared<asio::io_context>(1)),
      mWork(mpIo->get_executor()), mAcceptor(Listen(*mpIo, mConfig)), mRetry(*mpIo),
      mPort(mAcceptor.local_endpoint().port())
{
    WaitForClient();
    mThread = std::thread([this] { mpIo->run(); });
}

WebFront::~WebFront()
{
    asio::post(*mpIo, [this] { EndAll(); });
    mThread.join();
}

void WebFront::StopListening()
{
    std::promise<void> stopped;
    asio::dispatch(*mpIo, [this, &stopped] {
        mbStopped = true;
        mRetry.cancel();
        boost::system::error_code ignored;
        mAcceptor.close(ignored);
        for (auto next = mResting.begin(); next != mResting.end();)
            (*next++)->CloseUnlessEnding();
        stopped.set_value();
    });
    stopped.get_future().wait();
}

bool WebFront::WaitUntilSent(std::chrono::milliseconds iLimit)
{
    std::promise<void> sent;
    const auto whenSent = sent.get_future();
    // The answers that were given before are in front of it.
    asio::post(*mpIo, [this, sent = std::move(sent)]() mutable {
        mWaiting.push_back(std::move(sent));
        NoteWritten();
    });
    return whenSent.wait_for(iLimit) == std::future_status::ready;
}

void WebFront::NoteRequest(WebConnection& ioConnection)
{
    mBusy.splice(mBusy.end(), mResting, ioConnection.mPlace);
    ioConnection.mbResting = false;
}

void WebFront::NoteRest(WebConnection& ioConnection)
{
    mResting.splice(mResting.end(), mBusy, ioConnection.mPlace);
    ioConnection.mbResting = true;
    if (std::exchange(mbFull, false))
        WaitForClient();
}

void WebFront::NoteEnd(WebConnection& ioConnection)
{
    (ioConnection.mbResting ? mResting : mBusy).erase(ioConnection.mPlace);
    NoteWritten();
    if (std::exchange(mbFull, false))
        WaitForClient();
}

void WebFront::NoteWritten()
{
    const auto isWriting = [](const auto& ipConnection) { return ipConnection->IsWritingAnswer(); };
    if (mWaiting.empty() || std::any_of(mBusy.begin(), mBusy.end(), isWriting))
        return;
    for (std::promise<void>& sent : mWaiting)
        sent.set_value();
    mWaiting.clear();
}

void WebFront::WaitForClient()
{
    if (!mbStopped)
        mAcceptor.async_wait(tcp::acceptor::wait_read, [this](const boost::system::error_code& iError) {
            if (!iError)
                Accept();
        });
}

void WebFront::Accept()
{
    if (mbStopped)
        return;
    mbFull = mBusy.size() + mResting.size() >= mConfig.mMostConnections && !CloseOldest();
    if (mbFull)
        return;

    boost::system::error_code error;
    const auto failure = CatchAll([&] {
        tcp::socket socket(*mpIo);
        mAcceptor.accept(socket, error);
        if (error)
            return;
        mResting.push_back(std::make_shared<WebConnection>(*this, std::move(socket)));
        mResting.back()->mPlace = std::prev(mResting.end());
        mResting.back()->Start();
    });
    if (!failure && (!error || error == asio::error::would_block || error == asio::error::connection_aborted))
        return WaitForClient();

    // What it lacks may be had again soon; the client stays in the system's queue, and would be reported at once.
    CloseOldest();
    mRetry.expires_after(cRetryTime);
    mRetry.async_wait([this](const boost::system::error_code& iError) {
        if (!iError)
            WaitForClient();
    });
}

/// False if all have a request in work.
bool WebFront::CloseOldest()
{
    if (mResting.empty())
        return false;
    mResting.front()->Close();
    return true;
}

void WebFront::EndAll()
{
    mbStopped = true;
    mRetry.cancel();
    boost::system::error_code ignored;
    mAcceptor.close(ignored);
    for (WebConnections* list : {&mBusy, &mResting})
    {
        while (!list->empty())
            list->front()->Close();
    }
    mWork.reset();
}
