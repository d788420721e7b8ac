#include "Mailboxes.h"

#include "JobCalls.h"
#include "Message.h"
#include "Printable.h"

#include <utility>

QBase::PtrI<Delivery> NewDelivery(QORChannel* iMailbox)
{
    QBase::PtrI<Delivery> delivery;
    Expect(CComObject<Delivery>::CreateInstance(delivery), "CreateInstance");
    delivery->SetMailbox(iMailbox);
    return delivery;
}

QBase::PtrI<QORChannel> Mailboxes::Open(int iJob, const Request& iRequest)
{
    QBase::PtrI<QORChannel> channel = QMessage::NewChannel(
        [this, iJob, iRequest](ICKDXReadMessage* iMessage) { return Receive(*iMessage, iJob, iRequest); });
    if (!channel)
        throw JobCallError("no memory for a channel");
    return channel;
}

/// A message without an entry comes of a job that was stopped: there is nothing to keep.
HRESULT Mailboxes::Receive(ICKDXReadMessage& iMessage, int iJob, const Request& iRequest)
{
    std::string text = ReadAnswer(iMessage, iRequest.mLocale);
    if (text.empty())
        return S_FALSE;
    const std::lock_guard hold(mMutex);
    mLetters[iRequest.mDestination][iJob] = std::move(text);
    return S_OK;
}

void Mailboxes::Write(std::ostream& ioStream) const
{
    const std::lock_guard hold(mMutex);
    for (const auto& [name, letters] : mLetters)
        for (const auto& [job, text] : letters)
            ioStream << "delivered to " << OnOneLine(name) << " by [" << job << "]:\n\n" << ToPrintable(text) << '\n';
}
