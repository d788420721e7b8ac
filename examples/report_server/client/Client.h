// The client at the other end of the server's channels, which sends requests and keeps what comes back, the
// mailboxes, and the keyboard.
#pragma once

#include "client/Request.h"
#include "qorjob.h"

#include <cstddef>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

class Server;

/// Answers come in any order, and are written as they come, with their requests' numbers; or, for who wants to compare
/// them, in the order of the requests: then each one once all earlier ones have been.
///
/// Threads: one for its operations; answers come from any.
/// Owns:    its channel, and the requests.
/// Errors:  throws std::runtime_error and std::bad_alloc.
class Client
{
public:
    Client(std::ostream& ioStream, bool ibInOrder);
    /// No answer is taken any more.
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void Send(const Request& iRequest, Server& ioServer);

    /// When the server has ended: also writes the answers behind those that never came.
    void WriteRest();

private:
    struct Sent
    {
        Request mRequest;
        QBase::PtrI<ICKDXReadMessage> mpMessage;
        std::size_t mNumber;
        std::optional<std::string> mAnswer; // an empty one when there is nothing to say
        bool mbWritten = false;
    };

    HRESULT Receive(ICKDXReadMessage& iAnswer);
    void Write(Sent& ioSent);

    std::ostream& mStream;
    const bool mbInOrder;
    std::mutex mMutex; // guards what follows but the channel, and the stream
    std::deque<Sent> mSent;
    std::size_t mNext = 0; // the first that has no answer
    QBase::PtrI<QORChannel> mpChannel;
};

/// The files that take results and errors which are delivered instead of answered.
///
/// Threads: any.
/// Owns:    what was delivered, as far as it may: the oldest goes first.
/// Errors:  throws std::bad_alloc.
class Mailboxes
{
public:
    explicit Mailboxes(std::size_t iMostBytes = ~std::size_t{0}) : mMostBytes(iMostBytes) {}

    /// The mailbox that the request names, for that one job. It takes messages while this object lives.
    QBase::PtrI<QORChannel> Open(int iJob, const Request& iRequest);

    /// By mailbox, and by job.
    void Write(std::ostream& ioStream) const;

private:
    HRESULT Receive(ICKDXReadMessage& iMessage, int iJob, const Request& iRequest);

    const std::size_t mMostBytes;
    mutable std::mutex mMutex; // guards what follows
    std::map<std::string, std::map<int, std::string>> mLetters;
    std::deque<std::pair<std::string, int>> mOrder; // in which they came
    std::size_t mBytes = 0;
};

/// Lines that are typed while the server works. Only a terminal is read: what a file or a pipe holds is somebody
/// else's.
///
/// Threads: one.
class Keyboard
{
public:
    Keyboard();

    /// Whether lines may still come.
    bool IsOpen() const { return mbOpen; }
    /// Never waits: a line that has been typed, or none.
    std::optional<std::string> TakeLine();

private:
    bool mbOpen;
    std::string mTyped;
};
