// A web server that answers with what it was asked.
#pragma once

#include "monitor/QORWebServer.h"
#include "tests/monitor/RawClient.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using Call = std::shared_ptr<QORWebCall>;

inline const std::string cGet = "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n";
inline const std::string cLater = "GET /later HTTP/1.1\r\nHost: localhost\r\n\r\n";
inline const std::string cStream = "GET /stream HTTP/1.1\r\nHost: localhost\r\n\r\n";

inline std::string Filled(std::size_t iBytes) { return std::string(iBytes, 'x'); }

inline std::string Body(const std::string& iAnswer)
{
    return iAnswer.substr(std::min(iAnswer.size(), iAnswer.find("\r\n\r\n") + 4));
}

/// One that the server has no descriptor left for.
inline RawClient ConnectWithTheLastDescriptor(unsigned short iPort, rlimit& oBefore)
{
    ::getrlimit(RLIMIT_NOFILE, &oBefore);
    const int last = ::dup(STDIN_FILENO);
    ::close(last);
    const rlimit few{.rlim_cur = static_cast<rlim_t>(last) + 1, .rlim_max = oBefore.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &few);
    return {iPort, cGet};
}

/// It keeps the calls for /later and /stream.
class Web : public ::testing::Test
{
protected:
    void Start(QORWebConfig iConfig = {})
    {
        mpServer =
            std::make_unique<QORWebServer>(std::move(iConfig), [this](const QORWebRequest& iRequest, Call iCall) {
                Handle(iRequest, std::move(iCall));
            });
    }

    void Handle(const QORWebRequest& iRequest, Call iCall)
    {
        ++mHandled;
        if (iRequest.mPath == "/throw")
            throw std::runtime_error("no \"luck\"");
        if (iRequest.mPath == "/strange")
            throw 1;
        if (iRequest.mPath == "/drop")
            return;
        if (iRequest.mPath == "/stream")
            iCall->Begin({.mType = "text/event-stream"});
        if (iRequest.mPath == "/later" || iRequest.mPath == "/stream")
        {
            iCall->OnGone([this] { ++mGone; });
            const std::lock_guard lock(mMutex);
            mCalls.push_back(std::move(iCall));
            return;
        }
        std::string body = iRequest.mMethod + " " + iRequest.mPath;
        for (const auto& [name, value] : iRequest.mQuery)
            body.append(" ").append(name).append("=").append(value);
        iCall->Answer({.mType = "text/plain", .mBody = body.append(" ").append(iRequest.mBody)});
    }

    RawClient Connect(std::string_view iBytes) { return {mpServer->GetPort(), iBytes}; }

    /// The status of the answer to these bytes, when the client has sent no more than them.
    std::string GetStatus(std::string_view iBytes, bool ibEndSending = false)
    {
        RawClient client = Connect(iBytes);
        if (ibEndSending)
            client.EndSending();
        return client.ReadUntil("\r\n").substr(0, 12);
    }

    /// The call of the n-th request for later, when it has come.
    Call WaitForCall(std::size_t iIndex = 0)
    {
        Call call;
        EXPECT_TRUE(WaitFor([&] {
            const std::lock_guard lock(mMutex);
            if (mCalls.size() > iIndex)
                call = mCalls[iIndex];
            return call != nullptr;
        }));
        return call;
    }

    void TearDown() override
    {
        std::vector<Call> calls;
        {
            const std::lock_guard lock(mMutex);
            calls.swap(mCalls);
        }
        calls.clear();
        mpServer.reset();
    }

    std::unique_ptr<QORWebServer> mpServer;
    std::atomic<int> mGone{0};
    std::atomic<int> mHandled{0};
    std::mutex mMutex;
    std::vector<Call> mCalls;
};
