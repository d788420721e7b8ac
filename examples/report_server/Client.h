// The client at the other end of the server's channels: it sends requests and keeps what comes back.
#pragma once

#include "Request.h"
#include "qorjob.h"

#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>

class Kernel;

/// Answers come in any order, and are written as they come, with their requests' numbers; or, for who wants to compare
/// them, in the order of the requests: then each one once all earlier ones have been.
///
/// Threads: one for its operations; answers come from any.
/// Owns:    its channel, and the requests.
/// Errors:  throws JobCallError.
class Client
{
public:
    Client(std::ostream& ioStream, bool ibInOrder);
    /// No answer is taken any more.
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void Send(const Request& iRequest, Kernel& ioKernel);

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
