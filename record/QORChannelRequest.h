// An outstanding request of a job on a channel.
#pragma once

#include "base/HeapObject.h"
#include "platform/Export.h"
#include "platform/QBase.h"
#include "platform/QMessage.h"
#include "platform/Windows.h"

/// Its owner issues the request, lists the record in the job while the request is outstanding, and deletes it once it
/// is completed. The end of the job deletes what is still listed.
///
/// Threads: one at a time; the job's lock protects those in its list.
/// Owns:    one reference to its channel.
/// Errors:  none.
/// Locks:   none.
class QORJOB_API QORChannelRequest : public HeapObject
{
public:
    /// The channel may be null. User data and cookie are kept for the caller and never interpreted.
    QORChannelRequest(QORChannel* iChannel, LONG iUserData, LONG iCookie);
    QORChannelRequest(const QORChannelRequest&) = delete;
    QORChannelRequest& operator=(const QORChannelRequest&) = delete;
    virtual ~QORChannelRequest();

    LONG get_Cookie() const;
    void set_Cookie(LONG iCookie);
    LONG get_UserData() const;
    void set_UserData(LONG iUserData);
    /// Empty when there is none.
    QBase::ReturnPtrI<QORChannel> get_Channel() const;
    /// Null clears.
    void set_Channel(QORChannel* iChannel);

private:
    LONG mUserData;
    LONG mCookie;
    QBase::PtrI<QORChannel> mpChannel;
};
