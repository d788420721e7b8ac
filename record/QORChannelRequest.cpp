#include "record/QORChannelRequest.h"

QORChannelRequest::QORChannelRequest(QORChannel* iChannel, LONG iUserData, LONG iCookie)
    : mUserData(iUserData), mCookie(iCookie), mpChannel(iChannel)
{
}

QORChannelRequest::~QORChannelRequest() = default;

LONG QORChannelRequest::get_Cookie() const { return mCookie; }

void QORChannelRequest::set_Cookie(LONG iCookie) { mCookie = iCookie; }

LONG QORChannelRequest::get_UserData() const { return mUserData; }

void QORChannelRequest::set_UserData(LONG iUserData) { mUserData = iUserData; }

QBase::ReturnPtrI<QORChannel> QORChannelRequest::get_Channel() const { return mpChannel; }

void QORChannelRequest::set_Channel(QORChannel* iChannel)
{
    if (mpChannel.Get() == iChannel)
        return;
    // The old one goes first, and is out of sight by then: a channel that ends may look at its request.
    if (mpChannel)
        mpChannel.Detach()->Release();
    mpChannel = QBase::PtrI<QORChannel>(iChannel);
}
