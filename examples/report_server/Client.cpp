#include "Client.h"

#include "JobCalls.h"
#include "Kernel.h"
#include "Message.h"
#include "Printable.h"

#include <algorithm>
#include <utility>

Client::Client(std::ostream& ioStream, bool ibInOrder)
    : mStream(ioStream), mbInOrder(ibInOrder),
      mpChannel(QMessage::NewChannel([this](ICKDXReadMessage* iAnswer) { return Receive(*iAnswer); }))
{
    if (!mpChannel)
        throw JobCallError("no memory for a channel");
}

Client::~Client() { mpChannel->Close(); }

void Client::Send(const Request& iRequest, Kernel& ioKernel)
{
    const QBase::PtrI<ICKDXReadMessage> message = PackRequest(iRequest);
    {
        const std::lock_guard hold(mMutex);
        mSent.push_back({iRequest, message, mSent.size() + 1, {}});
    }
    ioKernel.Submit(message.Get(), mpChannel.Get()); // without the lock: the answer may come before it returns
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
    const auto sent = std::find_if(mSent.begin(), mSent.end(), [&iAnswer](const Sent& iSent) {
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
    const std::string head = "[" + std::to_string(ioSent.mNumber) + "] " + ToText(request.mKind) + " for " +
                             request.mUser + ", " + request.mProject + ": " + request.mBody + destination;
    mStream << OnOneLine(head) << "\n\n" << ToPrintable(*ioSent.mAnswer) << '\n' << std::flush;
}
