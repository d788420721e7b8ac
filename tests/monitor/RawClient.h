// A client that sends bytes to a port of this machine as they are, and reads what comes.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

class RawClient
{
public:
    explicit RawClient(unsigned short iPort, int iReceiveBuffer = 0) : mSocket(::socket(AF_INET, SOCK_STREAM, 0))
    {
        SetLimit(std::chrono::seconds(10));
        if (iReceiveBuffer > 0)
            ::setsockopt(mSocket, SOL_SOCKET, SO_RCVBUF, &iReceiveBuffer, sizeof iReceiveBuffer);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(iPort);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(mSocket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error("can't connect");
    }
    RawClient(unsigned short iPort, std::string_view iBytes) : RawClient(iPort) { Send(iBytes); }
    RawClient(RawClient&& ioOther) noexcept : mSocket(ioOther.mSocket) { ioOther.mSocket = -1; }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;
    ~RawClient() { ::close(mSocket); }

    /// For each read and each write.
    void SetLimit(std::chrono::milliseconds iLimit)
    {
        const timeval limit{.tv_sec = iLimit.count() / 1'000, .tv_usec = iLimit.count() % 1'000 * 1'000};
        for (const int which : {SO_RCVTIMEO, SO_SNDTIMEO})
            ::setsockopt(mSocket, SOL_SOCKET, which, &limit, sizeof limit);
    }

    /// False when the server has closed the connection.
    bool Send(std::string_view iBytes)
    {
        while (!iBytes.empty())
        {
            const auto sent = ::send(mSocket, iBytes.data(), iBytes.size(), MSG_NOSIGNAL);
            if (sent <= 0)
                return false;
            iBytes.remove_prefix(static_cast<std::size_t>(sent));
        }
        return true;
    }
    void EndSending() { ::shutdown(mSocket, SHUT_WR); }

    /// What comes up to this text, or up to the end.
    std::string ReadUntil(std::string_view iEnd)
    {
        while (mInput.find(iEnd) == std::string::npos)
        {
            if (!Read())
                return std::move(mInput);
        }
        const std::size_t size = mInput.find(iEnd) + iEnd.size();
        std::string read = mInput.substr(0, size);
        mInput.erase(0, size);
        return read;
    }
    /// All that comes until the server closes the connection, or the limit.
    std::string ReadAll()
    {
        while (Read())
            continue;
        return std::move(mInput);
    }
    /// Whether ReadAll or ReadUntil came to the connection's end, and not to the limit, or to a reset.
    bool HasEnded() const { return mbEnded; }

private:
    bool Read()
    {
        std::array<char, 64 * 1'024> part{};
        const auto size = ::recv(mSocket, part.data(), part.size(), 0);
        mbEnded = size == 0;
        if (size <= 0)
            return false;
        mInput.append(part.data(), static_cast<std::size_t>(size));
        return true;
    }

    int mSocket;
    std::string mInput;
    bool mbEnded = false;
};
