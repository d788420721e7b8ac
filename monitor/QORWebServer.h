// A small web server on one thread, for pages that people keep open and for programs that ask.
#pragma once

#include "monitor/QORWeb.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

struct QORWebConfig
{
    std::string mAddress = "127.0.0.1"; ///< a number, not a name; beyond loopback only with a token
    unsigned short mPort = 0;           ///< 0: any that is free
    QORWebAccess mAccess = {};
    std::size_t mMostConnections = 2'000; ///< later ones wait in the system's queue
    std::size_t mMostHeaderBytes = 16 * 1'024;
    std::size_t mMostBodyBytes = 1'024 * 1'024;
    std::size_t mMostUnsentBytes = 4 * 1'024 * 1'024; ///< of a stream, before its client counts as gone
    std::chrono::seconds mRequestTime{10};            ///< for a request to come whole, and for an answer to be taken
    std::chrono::seconds mIdleTime{60};               ///< between two requests of a connection
};

/// Threads: any; one is its own, on which the handler is called.
/// Owns:    its connections.
/// Errors:  the constructor throws std::runtime_error, with the reason, when it can't listen. What the handler throws
/// is
///          answered with 500.
/// Locks:   none while the handler is called.
class QORWebServer
{
public:
    QORWebServer(QORWebConfig iConfig, QORWebHandler iHandler);
    /// Ends all connections.
    ~QORWebServer();
    QORWebServer(const QORWebServer&) = delete;
    QORWebServer& operator=(const QORWebServer&) = delete;

    unsigned short GetPort() const;
    /// Takes no new connections; answers those requests that have come.
    void StopListening();
    /// Until every answer that was given has been sent, or the time is over.
    bool WaitUntilSent(std::chrono::milliseconds iLimit);

private:
    class Front;
    std::shared_ptr<Front> mpFront;
};
