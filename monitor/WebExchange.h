// One request's answer, on its way from whoever gives it to its connection.
#pragma once

#include "monitor/Mutexes.h"
#include "monitor/QORWeb.h"

#include <boost/asio/io_context.hpp>

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

class WebConnection;

/// What the connection has to write next.
struct WebOutput
{
    std::optional<QORWebAnswer> mHead = {}; ///< its body is in mBytes
    std::string mBytes = {};
    bool mbStream = false; ///< the head is a stream's
    bool mbEnd = false;    ///< nothing comes after it
};

/// The call that the handler gets. The connection takes what is given, in its order, whichever threads it came from.
///
/// Threads: any; those of the lower section the server's.
/// Owns:    what hasn't been taken yet, and the function that is told that the client has gone, until one is over.
/// Locks:   its own; nothing is called under it.
class WebExchange final : public QORWebCall, public std::enable_shared_from_this<WebExchange>
{
public:
    WebExchange(std::shared_ptr<boost::asio::io_context> ipIo, std::weak_ptr<WebConnection> ipConnection,
                std::size_t iMostUnsentBytes);

    void Answer(QORWebAnswer iAnswer) override;
    void Begin(QORWebAnswer iHead) override;
    bool Send(std::string iPart) override;
    void Close() override;
    void OnGone(std::function<void()> iGone) override;

    /// For the handler. When the last of its copies goes, what is missing of the answer is made up for.
    std::shared_ptr<QORWebCall> MakeCall();

    // The connection's:
    WebOutput Take();
    void NoteWritten();
    /// All that there will be has been given.
    bool IsAnswered();
    /// The client takes no more. It has gone if there was more to come.
    void End();

private:
    enum class EnumPhase
    {
        Open,
        Streaming,
        Answered,
    };

    void Start(QORWebAnswer iAnswer, EnumPhase iPhase);
    void Wake(std::unique_lock<QORMONITOR::OwnMutex>& ioLock);

    const std::shared_ptr<boost::asio::io_context> mpIo; // lives as long as somebody may wake the connection by it
    const std::weak_ptr<WebConnection> mpConnection;
    const std::size_t mMostUnsentBytes;

    QORMONITOR::OwnMutex mMutex; // guards what follows
    EnumPhase mPhase = EnumPhase::Open;
    WebOutput mNext;
    std::size_t mTaken = 0; // bytes that are being written
    bool mbAwake = false;   // the connection has been told, and hasn't looked yet
    bool mbDropped = false; // too slow a client: no more is taken for it
    bool mbOver = false;
    bool mbGone = false;
    std::function<void()> mOnGone;
};
