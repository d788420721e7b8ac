// The other end of the server's channels: sends requests, and writes down what comes back.
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

/// Answers come in any order, and are written in the order of the requests: each one once all earlier ones have been.
///
/// Threads: one for its operations; answers come from any.
/// Owns:    its channel, and the requests.
/// Errors:  throws JobCallError.
class Client
{
public:
    explicit Client(std::ostream& ioStream);
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
        std::optional<std::string> mAnswer; // an empty one when there is nothing to say
    };

    HRESULT Receive(ICKDXReadMessage& iAnswer);
    void Write(const Sent& iSent, std::size_t iPlace);

    std::ostream& mStream;
    std::mutex mMutex; // guards what follows but the channel, and the stream
    std::deque<Sent> mSent;
    std::size_t mNext = 0; // the first that hasn't been written
    QBase::PtrI<QORChannel> mpChannel;
};
