// Where results leave the server: each one whole, in the order of the requests.
#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <ostream>
#include <string>

/// Threads: any.
class Outbox
{
public:
    explicit Outbox(std::ostream& iStream) : mStream(iStream) {}

    /// The answer to the request at `iPlace`, counted from 0. It is written once all earlier ones have been.
    void Deliver(std::size_t iPlace, std::string iText);

private:
    std::ostream& mStream;
    std::mutex mMutex; // guards what follows, and the stream
    std::map<std::size_t, std::string> mWaiting;
    std::size_t mNext = 0;
};
