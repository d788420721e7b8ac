// One connection of the web server: its requests one after the other, each read whole, handled and answered.
#pragma once

#include "monitor/WebExchange.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include <chrono>
#include <cstddef>
#include <list>
#include <memory>
#include <optional>
#include <string>

class WebConnection;
class WebFront;

using WebConnections = std::list<std::shared_ptr<WebConnection>>;

/// It listens to its client all the time, while a request is handled, too: so it knows when the client goes.
///
/// Threads: the server's.
/// Owns:    its socket; what has come beyond the request in work, as far as a request's head may be long.
/// Errors:  bad requests are answered with 400, 408, 413, 414 or 431, and end the connection.
class WebConnection : public std::enable_shared_from_this<WebConnection>
{
public:
    WebConnection(WebFront& ioFront, boost::asio::ip::tcp::socket iSocket);

    void Start();
    void WriteNext();
    /// At once. Nothing happens on it afterwards.
    void Close();
    /// Close, unless its last answer is on its way to the client.
    void CloseUnlessEnding();
    /// An answer, or the rest of a stream that has been closed: not what more will follow.
    bool IsWritingAnswer() const { return mbWriting && mpExchange && mpExchange->IsAnswered(); }

    WebConnections::iterator mPlace; ///< in the list of the front that it is in
    bool mbResting = true;           ///< that is the list of those without a request in work

private:
    using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;
    using Error = boost::system::error_code;

    template <class Body>
    auto Guard(Body iBody);

    // Reading
    void WaitForInput();
    void ReadInput();
    void ParseInput();
    bool TakeHead();
    void Handle();
    void Refuse(unsigned iStatus, const std::string& iReason);
    void CloseIfGone();

    // Writing
    void BeginExchange();
    void Write(WebOutput iOutput);
    void MakeHead(const QORWebAnswer& iAnswer, bool ibStream);
    void EndWrite(const Error& iError);
    void EndExchange();
    void EndConnection();

    void SetDeadline(std::chrono::milliseconds iTime);
    void ClearDeadline();
    void EndTime();

    WebFront& mFront;
    boost::asio::ip::tcp::socket mSocket;
    boost::asio::steady_timer mTimer;

    // What comes
    std::string mInput; // what the parser hasn't taken
    std::optional<Parser> mParser;
    QORWebRequest mRequest; // its head
    bool mbHeadTaken = false;
    bool mbReading = false;
    bool mbEndOfInput = false;

    // The request in work, and what is being written of its answer
    std::shared_ptr<WebExchange> mpExchange;
    std::string mHead;
    std::string mBody;
    bool mbHeadOnly = false; // it was HEAD
    bool mbNewer = false;    // than HTTP/1.0
    bool mbKeep = false;
    bool mbChunked = false;
    bool mbWriting = false;
    bool mbLast = false; // nothing comes after what is being written

    bool mbEnding = false; // all has been written: what still comes is dropped
    std::size_t mDropped = 0;
};
