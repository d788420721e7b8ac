#include "service/Http.h"

#include "Errors.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

#include <stdexcept>
#include <string_view>
#include <utility>

namespace
{

namespace http = boost::beast::http;
using boost::asio::ip::tcp;

/// "http://127.0.0.1:8080/" as "127.0.0.1" and "8080"
std::pair<std::string, std::string> SplitAddress(std::string_view iServer)
{
    constexpr std::string_view cScheme = "http://";
    if (!iServer.starts_with(cScheme))
        throw std::runtime_error("a server's address begins with " + std::string(cScheme));
    iServer.remove_prefix(cScheme.size());
    iServer = iServer.substr(0, iServer.find('/'));
    const std::size_t colon = iServer.rfind(':');
    const bool bPort = colon != std::string_view::npos && iServer.find(']', colon) == std::string_view::npos;
    std::string host(iServer.substr(0, bPort ? colon : iServer.size()));
    if (host.starts_with('[') && host.ends_with(']'))
        host = host.substr(1, host.size() - 2);
    return {host, bPort ? std::string(iServer.substr(colon + 1)) : "80"};
}

/// A connection whose operations wait for their end, but not for ever.
class Connection
{
public:
    explicit Connection(std::chrono::seconds iPatience) : mPatience(iPatience) {}

    boost::beast::tcp_stream& GetStream() { return mStream; }

    /// `iBegin` begins an operation of the stream, with the handler that it is given.
    template <class Begin>
    void Run(Begin&& iBegin)
    {
        boost::system::error_code error;
        mStream.expires_after(mPatience);
        iBegin([&error](const boost::system::error_code& iError, auto&&...) { error = iError; });
        mContext.restart();
        mContext.run();
        if (error)
            throw std::runtime_error(error.message());
    }

private:
    const std::chrono::seconds mPatience;
    boost::asio::io_context mContext;
    boost::beast::tcp_stream mStream{mContext};
};

} // namespace

HttpAnswer Ask(const std::string& iServer, const HttpRequest& iRequest)
{
    constexpr unsigned cVersion = 11;
    constexpr std::uint64_t cMostBytes = 256 * 1'024 * 1'024;
    const auto [host, port] = SplitAddress(iServer);
    http::request<http::string_body> request(http::string_to_verb(iRequest.mMethod), iRequest.mTarget, cVersion,
                                             iRequest.mBody);
    request.set(http::field::host, host.find(':') == std::string::npos ? host + ":" + port : "[" + host + "]:" + port);
    request.keep_alive(false);
    if (!iRequest.mToken.empty())
        request.set(http::field::authorization, "Bearer " + iRequest.mToken);
    request.prepare_payload();

    boost::asio::io_context names;
    const auto places = tcp::resolver(names).resolve(host, port);
    Connection connection(iRequest.mPatience);
    boost::beast::tcp_stream& stream = connection.GetStream();
    boost::beast::flat_buffer buffer;
    http::response_parser<http::string_body> parser;
    parser.body_limit(cMostBytes);
    try
    {
        connection.Run([&](auto iDone) { stream.async_connect(places, std::move(iDone)); });
    }
    catch (const std::exception& error)
    {
        throw SetupError(iServer + ": " + error.what());
    }
    connection.Run([&](auto iDone) { http::async_write(stream, request, std::move(iDone)); });
    connection.Run([&](auto iDone) { http::async_read(stream, buffer, parser, std::move(iDone)); });
    const auto& answer = parser.get();
    return {answer.result_int(), std::string(answer[http::field::location]), answer.body()};
}
