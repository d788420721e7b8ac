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
    // Cleared before it is released: a channel that is destroyed by it may look at the request.
    if (mpChannel)
        mpChannel.Detach()->Release();
    mpChannel = QBase::PtrI<QORChannel>(iChannel);
}
