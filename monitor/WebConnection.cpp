#include "monitor/WebConnection.h"

#include "monitor/WebBoundary.h"
#include "monitor/WebFront.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/status.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;

namespace
{

constexpr std::size_t cMostTargetBytes = 8 * 1'024;
constexpr std::string_view cContinue = "HTTP/1.1 100 Continue\r\n\r\n";

/// What every answer says beside its own.
constexpr std::string_view cHeaders = "X-Content-Type-Options: nosniff\r\n"
                                      "Referrer-Policy: no-referrer\r\n"
                                      "Cache-Control: no-store\r\n"
                                      "Content-Security-Policy: default-src 'none'; script-src 'self'; "
                                      "style-src 'self'; connect-src 'self'; img-src 'self' data:; base-uri 'none'; "
                                      "form-action 'none'; frame-ancestors 'none'\r\n"
                                      "X-Frame-Options: DENY\r\n"
                                      "Cross-Origin-Resource-Policy: same-origin\r\n";

QORWebAnswer MakeError(unsigned iStatus, const std::string& iReason)
{
    const nlohmann::json error = {{"error", iReason}};
    return {.mStatus = iStatus, .mBody = error.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)};
}

/// A line of a head. What would end it early is made blank.
void AddLine(std::string& ioHead, std::string_view iName, std::string_view iValue)
{
    const std::size_t begin = ioHead.size();
    ioHead.append(iName).append(": ").append(iValue);
    std::replace_if(
        ioHead.begin() + static_cast<std::ptrdiff_t>(begin), ioHead.end(),
        [](unsigned char iByte) { return iByte < ' '; }, ' ');
    ioHead += "\r\n";
}

/// Makes the bytes a chunk of a stream, by what stands before and behind them.
void FrameChunk(std::string& ioHead, std::string& ioBytes, bool ibLast)
{
    if (!ioBytes.empty())
    {
        std::array<char, 16> digits{};
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), ioBytes.size(), 16);
        ioHead.append(digits.data(), end.ptr).append("\r\n");
        ioBytes += "\r\n";
    }
    if (ibLast)
        ioBytes += "0\r\n\r\n";
}

std::string MakeLower(boost::beast::string_view iText)
{
    std::string lower(iText);
    for (char& character : lower)
    {
        if (character >= 'A' && character <= 'Z')
            character = static_cast<char>(character + ('a' - 'A'));
    }
    return lower;
}

/// With its memory, which an assignment would keep.
void Free(std::string& ioText) { std::string().swap(ioText); }

} // namespace

WebConnection::WebConnection(WebFront& ioFront, tcp::socket iSocket)
    : mFront(ioFront), mSocket(std::move(iSocket)), mTimer(mSocket.get_executor())
{
    Error ignored; // it may have gone already
    mSocket.non_blocking(true, ignored);
    mSocket.set_option(tcp::no_delay(true), ignored);
}

/// What the system calls when it is done; keeps the connection until then.
template <class Body>
auto WebConnection::Guard(Body iBody)
{
    return [self = shared_from_this(), body = std::move(iBody)](const Error& iError, auto...) {
        if (CatchAll([&] { body(iError); }))
            self->Close();
    };
}

void WebConnection::Start()
{
    SetDeadline(mFront.GetConfig().mIdleTime);
    WaitForInput();
}

void WebConnection::Close()
{
    if (!mSocket.is_open())
        return;
    const auto self = shared_from_this();
    Error ignored;
    mSocket.close(ignored);
    mTimer.cancel();
    mFront.NoteEnd(*this);
    if (const auto exchange = std::exchange(mpExchange, nullptr))
        CatchAll([&] { exchange->End(); });
}

void WebConnection::CloseUnlessEnding()
{
    if (!mbEnding)
        Close();
}

void WebConnection::WaitForInput()
{
    const bool bFull = mpExchange && mInput.size() >= mFront.GetConfig().mMostHeaderBytes;
    if (mbReading || mbEndOfInput || bFull || !mSocket.is_open())
        return;
    mbReading = true;
    mSocket.async_wait(tcp::socket::wait_read, Guard([this](const Error& iError) {
                           mbReading = false;
                           if (!iError && mSocket.is_open())
                               ReadInput();
                       }));
}

void WebConnection::ReadInput()
{
    Error error;
    auto& scratch = mFront.GetScratch();
    const std::size_t size = mSocket.read_some(asio::buffer(scratch), error);
    if (error == asio::error::eof)
    {
        mbEndOfInput = true;
        return CloseIfGone();
    }
    if (error && error != asio::error::would_block)
        return Close();

    if (mbEnding)
    {
        mDropped += size;
        if (mDropped > mFront.GetConfig().mMostBodyBytes)
            return Close();
    }
    else
    {
        mInput.append(scratch.data(), size);
        ParseInput();
    }
    WaitForInput();
}

/// A client that has sent all that it will is still there for an answer that is on its way. It would be for a later
/// one, too, but then can't be told from one that has gone.
void WebConnection::CloseIfGone()
{
    if (mbEndOfInput && !(mbWriting && mbLast))
        Close();
}

void WebConnection::ParseInput()
{
    const QORWebConfig& config = mFront.GetConfig();
    while (!mInput.empty() && !mpExchange)
    {
        if (!mParser)
        {
            mParser.emplace();
            mParser->header_limit(static_cast<std::uint32_t>(config.mMostHeaderBytes));
            mParser->body_limit(config.mMostBodyBytes);
            mParser->eager(true);
            mRequest = {};
            mbHeadTaken = mbHeadOnly = mbKeep = false;
            SetDeadline(config.mRequestTime);
        }
        Error error;
        const std::size_t taken = mParser->put(asio::buffer(mInput), error);
        mInput.erase(0, taken);
        const bool bMore = error == http::error::need_more;
        if (error == http::error::body_limit)
            return Refuse(413, "the body is too large");
        if (error == http::error::header_limit || (bMore && mInput.size() > config.mMostHeaderBytes))
            return Refuse(431, "the head is too large");
        if (error && !bMore)
            return Refuse(400, "the request is malformed");

        if (mParser->is_header_done() && !std::exchange(mbHeadTaken, true) && !TakeHead())
            return;
        if (mParser->is_done())
            return Handle();
        if (bMore || taken == 0)
            return;
    }
}

/// False if it has been refused.
bool WebConnection::TakeHead()
{
    const auto& head = mParser->get();
    mbHeadOnly = head.method() == http::verb::head;
    mbNewer = head.version() > 10;
    const auto refuse = [this](unsigned iStatus, const char* iReason) {
        Refuse(iStatus, iReason);
        return false;
    };

    if (head.target().size() > cMostTargetBytes)
        return refuse(414, "the address is too long");
    mRequest.mMethod = std::string(head.method_string());
    if (!mRequest.SetTarget({head.target().data(), head.target().size()}))
        return refuse(400, "the address is malformed");
    for (const auto& field : head)
    {
        const auto [place, bNew] =
            mRequest.mHeaders.try_emplace(MakeLower(field.name_string()), std::string(field.value()));
        if (!bNew && field.name() == http::field::host)
            return refuse(400, "there is more than one Host");
        if (!bNew)
            place->second.append(", ").append(std::string(field.value()));
    }
    if (mbNewer && !mRequest.mHeaders.contains("host"))
        return refuse(400, "there is no Host");
    const std::string coding = mRequest.GetHeader("transfer-encoding");
    if (!coding.empty() && !boost::beast::iequals(coding, "chunked"))
        return refuse(400, "the body is encoded in a way that isn't known here");

    if (auto refusal = mFront.GetConfig().mAccess.Refuse(mRequest))
    {
        mbKeep = mParser->is_done() && mParser->keep_alive(); // a body that it has isn't waited for
        BeginExchange();
        mpExchange->Answer(std::move(*refusal));
        return false;
    }
    if (mbNewer && !mParser->is_done() && boost::beast::iequals(mRequest.GetHeader("expect"), "100-continue"))
    {
        Error ignored; // a client that isn't told sends the body all the same, after a while
        mSocket.write_some(asio::buffer(cContinue), ignored);
    }
    return true;
}

void WebConnection::Refuse(unsigned iStatus, const std::string& iReason)
{
    mbKeep = false;
    BeginExchange();
    mpExchange->Answer(MakeError(iStatus, iReason));
}

void WebConnection::Handle()
{
    QORWebRequest request = std::move(mRequest);
    request.mBody = std::move(mParser->get().body());
    mbKeep = mParser->keep_alive();
    BeginExchange();
    const auto call = mpExchange->MakeCall();
    if (const auto failure = CatchAll([&] { mFront.GetHandler()(request, call); }))
        call->Answer(MakeError(500, ReasonOf(failure)));
}

void WebConnection::BeginExchange()
{
    mParser.reset();
    ClearDeadline();
    mpExchange = std::make_shared<WebExchange>(mFront.GetIo(), weak_from_this(), mFront.GetConfig().mMostUnsentBytes);
    mFront.NoteRequest(*this);
}

void WebConnection::WriteNext()
{
    if (mbWriting || !mpExchange)
        return;
    if (CatchAll([this] { Write(mpExchange->Take()); }))
        Close();
}

void WebConnection::Write(WebOutput iOutput)
{
    if (!iOutput.mHead && iOutput.mBytes.empty() && !iOutput.mbEnd)
        return;

    mHead.clear();
    mBody = std::move(iOutput.mBytes);
    mbLast = iOutput.mbEnd || mbHeadOnly;
    if (iOutput.mHead)
        MakeHead(*iOutput.mHead, iOutput.mbStream);
    if (mbHeadOnly)
        mBody.clear();
    else if (mbChunked)
        FrameChunk(mHead, mBody, mbLast);

    mbWriting = true;
    SetDeadline(mFront.GetConfig().mRequestTime);
    asio::async_write(mSocket, std::array{asio::buffer(mHead), asio::buffer(mBody)},
                      Guard([this](const Error& iError) { EndWrite(iError); }));
}

void WebConnection::MakeHead(const QORWebAnswer& iAnswer, bool ibStream)
{
    mbKeep = mbKeep && !mFront.IsStopped() && (!ibStream || mbNewer);
    mbChunked = ibStream && mbNewer;
    mHead.append("HTTP/1.1 ").append(std::to_string(iAnswer.mStatus)).append(" ");
    mHead.append(std::string(http::obsolete_reason(http::int_to_status(iAnswer.mStatus)))).append("\r\n");
    if (!iAnswer.mType.empty())
        AddLine(mHead, "Content-Type", iAnswer.mType);
    mHead += cHeaders;
    for (const auto& [name, value] : iAnswer.mHeaders)
        AddLine(mHead, name, value);
    if (!ibStream)
        AddLine(mHead, "Content-Length", std::to_string(mBody.size()));
    else if (mbChunked)
        AddLine(mHead, "Transfer-Encoding", "chunked");
    AddLine(mHead, "Connection", mbKeep ? "keep-alive" : "close");
    mHead += "\r\n";
}

void WebConnection::EndWrite(const Error& iError)
{
    mbWriting = false;
    if (!mSocket.is_open())
        return;
    if (iError)
        return Close();
    ClearDeadline();
    mpExchange->NoteWritten();
    if (mbLast)
        EndExchange();
    else
        WriteNext();
    mFront.NoteWritten();
}

void WebConnection::EndExchange()
{
    std::exchange(mpExchange, nullptr)->End();
    Free(mHead);
    Free(mBody);
    mFront.NoteRest(*this);
    if (!mbKeep || mFront.IsStopped())
        return EndConnection();

    if (mInput.empty())
        Free(mInput);
    SetDeadline(mFront.GetConfig().mIdleTime);
    ParseInput();
    CloseIfGone();
    WaitForInput();
}

/// The client may still be sending: if that were not read, the system would tell it so, in place of the answer.
void WebConnection::EndConnection()
{
    if (mbEndOfInput)
        return Close();
    mbEnding = true;
    Free(mInput);
    Error ignored;
    mSocket.shutdown(tcp::socket::shutdown_send, ignored);
    SetDeadline(mFront.GetConfig().mRequestTime);
    WaitForInput();
}

void WebConnection::SetDeadline(std::chrono::milliseconds iTime)
{
    mTimer.expires_after(iTime);
    mTimer.async_wait(Guard([this](const Error& iError) {
        if (!iError && mTimer.expiry() <= std::chrono::steady_clock::now())
            EndTime();
    }));
}

void WebConnection::ClearDeadline() { mTimer.expires_at(std::chrono::steady_clock::time_point::max()); }

void WebConnection::EndTime()
{
    if (mParser && mSocket.is_open())
        Refuse(408, "the request hasn't come whole in time");
    else
        Close();
}
