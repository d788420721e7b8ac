#include "monitor/WebExchange.h"

#include "monitor/WebBoundary.h"
#include "monitor/WebConnection.h"

#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>

#include <utility>

WebExchange::WebExchange(std::shared_ptr<boost::asio::io_context> ipIo, std::weak_ptr<WebConnection> ipConnection,
                         std::size_t iMostUnsentBytes)
    : mpIo(std::move(ipIo)), mpConnection(std::move(ipConnection)), mMostUnsentBytes(iMostUnsentBytes)
{
}

void WebExchange::Answer(QORWebAnswer iAnswer) { Start(std::move(iAnswer), EnumPhase::Answered); }
void WebExchange::Begin(QORWebAnswer iHead) { Start(std::move(iHead), EnumPhase::Streaming); }

void WebExchange::Start(QORWebAnswer iAnswer, EnumPhase iPhase)
{
    std::unique_lock lock(mMutex);
    if (mPhase != EnumPhase::Open || mbOver)
        return;
    mPhase = iPhase;
    mNext.mBytes = std::move(iAnswer.mBody);
    mNext.mHead = std::move(iAnswer);
    mNext.mbStream = iPhase == EnumPhase::Streaming;
    mNext.mbEnd = iPhase == EnumPhase::Answered;
    Wake(lock);
}

bool WebExchange::Send(std::string iPart)
{
    std::unique_lock lock(mMutex);
    if (mPhase != EnumPhase::Streaming || mbOver || mbDropped)
        return false;
    if (mTaken + mNext.mBytes.size() + iPart.size() > mMostUnsentBytes)
    {
        mbDropped = true;
        mNext = {};
        // Not here: who is told of it may be the one who is sending.
        boost::asio::post(*mpIo, [pConnection = mpConnection] {
            if (const auto connection = pConnection.lock())
                connection->Close();
        });
        return false;
    }
    mNext.mBytes += iPart;
    Wake(lock);
    return true;
}

void WebExchange::Close()
{
    std::unique_lock lock(mMutex);
    if (mPhase != EnumPhase::Streaming || mbOver || mbDropped)
        return;
    mPhase = EnumPhase::Answered;
    mNext.mbEnd = true;
    Wake(lock);
}

void WebExchange::OnGone(std::function<void()> iGone)
{
    {
        const std::lock_guard lock(mMutex);
        if (!mbOver)
            mOnGone.swap(iGone);
        if (!mbGone)
            return;
    }
    iGone();
}

std::shared_ptr<QORWebCall> WebExchange::MakeCall()
{
    return {this, [self = shared_from_this()](QORWebCall*) {
                CatchAll([&] {
                    self->Answer({.mStatus = 500, .mBody = R"({"error": "nobody has answered"})"});
                    self->Close();
                });
            }};
}

WebOutput WebExchange::Take()
{
    const std::lock_guard lock(mMutex);
    mbAwake = false;
    mTaken = mNext.mBytes.size();
    return std::exchange(mNext, {});
}

void WebExchange::NoteWritten()
{
    const std::lock_guard lock(mMutex);
    mTaken = 0;
}

bool WebExchange::IsAnswered()
{
    const std::lock_guard lock(mMutex);
    return mPhase == EnumPhase::Answered;
}

void WebExchange::End()
{
    std::function<void()> gone; // let go outside of the lock: it may hold the last call
    bool bGone = false;
    {
        const std::lock_guard lock(mMutex);
        mbOver = true;
        bGone = mbGone = mPhase != EnumPhase::Answered;
        mOnGone.swap(gone);
        mNext = {};
    }
    if (bGone && gone)
        gone();
}

/// Without the lock, for on the server's own thread the connection looks at once.
void WebExchange::Wake(std::unique_lock<QORMONITOR::OwnMutex>& ioLock)
{
    if (std::exchange(mbAwake, true))
        return;
    ioLock.unlock();
    boost::asio::dispatch(*mpIo, [pConnection = mpConnection] {
        if (const auto connection = pConnection.lock())
            connection->WriteNext();
    });
}
