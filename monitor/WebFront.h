// What the connections of a web server share: its thread, its port, and the order in which they give way to new ones.
#pragma once

#include "monitor/QORWebServer.h"
#include "monitor/WebConnection.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include <array>
#include <chrono>
#include <cstddef>
#include <future>
#include <memory>
#include <thread>
#include <vector>

/// Threads: the constructor, the destructor and the first section any; the others the server's own.
/// Owns:    the connections.
class WebFront
{
public:
    WebFront(QORWebConfig iConfig, QORWebHandler iHandler);
    ~WebFront();
    WebFront(const WebFront&) = delete;
    WebFront& operator=(const WebFront&) = delete;

    unsigned short GetPort() const { return mPort; }
    void StopListening();
    bool WaitUntilSent(std::chrono::milliseconds iLimit);

    // For the connections:
    const QORWebConfig& GetConfig() const { return mConfig; }
    const QORWebHandler& GetHandler() const { return mHandler; }
    const std::shared_ptr<boost::asio::io_context>& GetIo() const { return mpIo; }
    /// Where all of them read, one after the other.
    std::array<char, 64 * 1'024>& GetScratch() { return mScratch; }
    bool IsStopped() const { return mbStopped; }
    void NoteRequest(WebConnection& ioConnection);
    void NoteRest(WebConnection& ioConnection);
    void NoteEnd(WebConnection& ioConnection);
    void NoteWritten();

private:
    void WaitForClient();
    void Accept();
    bool CloseOldest();
    void EndAll();

    const QORWebConfig mConfig;
    const QORWebHandler mHandler;
    const std::shared_ptr<boost::asio::io_context> mpIo;
    // Others may ask the thread for something when no connection is left.
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> mWork;
    boost::asio::ip::tcp::acceptor mAcceptor;
    boost::asio::steady_timer mRetry;
    unsigned short mPort = 0;

    WebConnections mBusy;    // those with a request in work
    WebConnections mResting; // those without, first the one that has been so longest
    bool mbFull = false;     // clients wait until one of the former rests or ends
    bool mbStopped = false;
    std::vector<std::promise<void>> mWaiting; // for all to have written
    std::array<char, 64 * 1'024> mScratch;

    std::thread mThread; // last: it uses all of it
};
