// A small web server on one thread, for pages that people keep open and for programs that ask.
#pragma once

#include "monitor/QORWeb.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

class WebFront;

struct QORWebConfig
{
    std::string mAddress = "127.0.0.1"; ///< a number, not a name; beyond loopback only with a token
    unsigned short mPort = 0;           ///< 0: any that is free
    QORWebAccess mAccess = {};
    std::size_t mMostConnections = 2'000; ///< one more ends the one that has been without a request longest
    std::size_t mMostHeaderBytes = 16 * 1'024;
    std::size_t mMostBodyBytes = 1'024 * 1'024;
    std::size_t mMostUnsentBytes = 4 * 1'024 * 1'024; ///< of a stream, before its client counts as gone
    std::chrono::milliseconds mRequestTime{10'000};   ///< for a request to come whole, and for an answer to be taken
    std::chrono::milliseconds mIdleTime{60'000};      ///< between two requests of a connection
};

/// Every answer forbids to be guessed at, kept, framed, or to load anything from elsewhere; none opens itself to the
/// pages of other sites.
///
/// Threads: any; one is its own, on which the handler is called.
/// Owns:    its connections.
/// Errors:  the constructor throws std::runtime_error, with the reason, when it can't listen, or when that isn't safe:
///          beyond loopback without a token, or with one of less than 16 characters. What the handler throws is
///          answered with 500.
/// Locks:   none while the handler is called.
class QORWebServer
{
public:
    QORWebServer(QORWebConfig iConfig, QORWebHandler iHandler);
    /// Ends all connections. Calls that somebody still holds may be answered later: it goes nowhere.
    ~QORWebServer();
    QORWebServer(const QORWebServer&) = delete;
    QORWebServer& operator=(const QORWebServer&) = delete;

    unsigned short GetPort() const;
    /// Takes no new connections, and no more requests on those that there are; those that have come are answered.
    void StopListening();
    /// Until every answer that was given has been sent, or the time is over: then it is false. Streams count from their
    /// Close on. Not for the handler.
    bool WaitUntilSent(std::chrono::milliseconds iLimit);

private:
    std::unique_ptr<WebFront> mpFront;
};
