#include "client/Client.h"

#include "Server.h"
#include "Text.h"
#include "client/Message.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <new>
#include <utility>

namespace
{

/// Of a letter: its text, its mailbox's name, which stands in two places, and what both take beside.
std::size_t BytesOf(const std::string& iMailbox, const std::string& iText)
{
    constexpr std::size_t cBeside = 200;
    return iText.size() + 2 * iMailbox.size() + cBeside;
}

} // namespace

Client::Client(std::ostream& ioStream, bool ibInOrder)
    : mStream(ioStream), mbInOrder(ibInOrder),
      mpChannel(QMessage::NewChannel([this](ICKDXReadMessage* iAnswer) { return Receive(*iAnswer); }))
{
    if (!mpChannel)
        throw std::bad_alloc();
}

Client::~Client() { mpChannel->Close(); }

void Client::Send(const Request& iRequest, Server& ioServer)
{
    const QBase::PtrI<ICKDXReadMessage> message = PackRequest(iRequest);
    {
        const std::lock_guard hold(mMutex);
        mSent.push_back({iRequest, message, mSent.size() + 1, {}});
    }
    ioServer.Submit(ioServer.MakeId(), message.Get(),
                    mpChannel.Get()); // without the lock: the answer may come before it returns
}

void Client::WriteRest()
{
    const std::lock_guard hold(mMutex);
    for (Sent& sent : mSent)
        Write(sent);
}

/// An answer has the item of the request's message: that tells which request it belongs to.
HRESULT Client::Receive(ICKDXReadMessage& iAnswer)
{
    const std::lock_guard hold(mMutex);
    const auto sent =
        std::find_if(mSent.begin() + static_cast<std::ptrdiff_t>(mNext), mSent.end(), [&iAnswer](const Sent& iSent) {
            return !iSent.mAnswer && iSent.mpMessage->BelongsTo(&iAnswer) == S_OK;
        });
    if (sent == mSent.end())
        return E_INVALIDARG;
    // In the language of the user's session; the server needs to know that for its own texts only.
    sent->mAnswer = ReadAnswer(iAnswer, sent->mRequest.mLocale);
    if (!mbInOrder)
        Write(*sent);
    for (; mNext < mSent.size() && mSent[mNext].mAnswer; ++mNext)
        Write(mSent[mNext]);
    return S_OK;
}

void Client::Write(Sent& ioSent)
{
    const Request& request = ioSent.mRequest;
    if (ioSent.mAnswer.value_or(std::string()).empty() || std::exchange(ioSent.mbWritten, true))
        return;
    const std::string destination = request.mDestination.empty() ? "" : "; deliver to " + request.mDestination;
    const std::string head = "[" + std::to_string(ioSent.mNumber) + "] " + KindOf(request) + " for " + request.mUser +
                             ", " + request.mProject + ": " + request.mBody + destination;
    mStream << OnOneLine(head) << "\n\n" << ToPrintable(*ioSent.mAnswer) << '\n' << std::flush;
}

QBase::PtrI<QORChannel> Mailboxes::Open(int iJob, const Request& iRequest)
{
    QBase::PtrI<QORChannel> channel = QMessage::NewChannel(
        [this, iJob, iRequest](ICKDXReadMessage* iMessage) { return Receive(*iMessage, iJob, iRequest); });
    if (!channel)
        throw std::bad_alloc();
    return channel;
}

/// A message without an entry comes of a job that was stopped: there is nothing to keep.
HRESULT Mailboxes::Receive(ICKDXReadMessage& iMessage, int iJob, const Request& iRequest)
{
    std::string text = ReadAnswer(iMessage, iRequest.mLocale);
    if (text.empty())
        return S_FALSE;
    const std::lock_guard hold(mMutex);
    mBytes += BytesOf(iRequest.mDestination, text);
    mOrder.emplace_back(iRequest.mDestination, iJob);
    mLetters[iRequest.mDestination][iJob] = std::move(text);
    for (; mBytes > mMostBytes; mOrder.pop_front())
    {
        const auto& [name, job] = mOrder.front();
        mBytes -= BytesOf(name, mLetters[name][job]);
        mLetters[name].erase(job);
        if (mLetters[name].empty())
            mLetters.erase(name);
    }
    return S_OK;
}

void Mailboxes::Write(std::ostream& ioStream) const
{
    const std::lock_guard hold(mMutex);
    for (const auto& [name, letters] : mLetters)
        for (const auto& [job, text] : letters)
            ioStream << "delivered to " << OnOneLine(name) << " by [" << job << "]:\n\n" << ToPrintable(text) << '\n';
}

Keyboard::Keyboard() : mbOpen(isatty(STDIN_FILENO) == 1) {}

std::optional<std::string> Keyboard::TakeLine()
{
    pollfd keyboard{STDIN_FILENO, POLLIN, 0};
    if (mbOpen && poll(&keyboard, 1, 0) == 1)
    {
        std::array<char, 256> typed{};
        const ssize_t count = read(STDIN_FILENO, typed.data(), typed.size());
        mbOpen = count > 0;
        if (mbOpen)
            mTyped.append(typed.data(), static_cast<std::size_t>(count));
    }
    const std::size_t end = mTyped.find('\n');
    if (end == std::string::npos)
        return {};
    const std::string line = mTyped.substr(0, end);
    mTyped.erase(0, end + 1);
    return line;
}
