// The files that take results and errors which are delivered instead of answered.
#pragma once

#include "Request.h"
#include "platform/ComObject.h"
#include "qorjob.h"

#include <map>
#include <mutex>
#include <ostream>
#include <string>

/// {2C41B6F0-93D7-4E58-A8B1-6D0F7C25E913}
inline constexpr GUID IID_IDelivery = {0x2C41B6F0, 0x93D7, 0x4E58, {0xA8, 0xB1, 0x6D, 0x0F, 0x7C, 0x25, 0xE9, 0x13}};

/// What the step "Delivery to destinations" asks a process context for. That there is one tells the library that
/// errors of the job are delivered, too.
class IDelivery : public IUnknown
{
public:
    virtual HRESULT QORJOB_STDCALL Deliver(CKDXServerMessage* iMessage) = 0;

protected:
    ~IDelivery() = default;
};

/// A way into a mailbox.
class Delivery : public CComObjectRootEx<CComMultiThreadModel>, public IDelivery
{
public:
    using Interface = IDelivery;
    static constexpr int cReferenceKind = 104;
    static const GUID& GetInterfaceId() { return IID_IDelivery; }

    /// Before others see the object.
    void SetMailbox(QORChannel* iMailbox) { mpMailbox = QBase::PtrI<QORChannel>(iMailbox); }

    HRESULT QORJOB_STDCALL Deliver(CKDXServerMessage* iMessage) override { return iMessage->Send(mpMailbox.Get()); }

protected:
    Delivery() : CComObjectRootEx(cLockCategory) {}

private:
    static constexpr int cLockCategory = 404;

    QBase::PtrI<QORChannel> mpMailbox;
};

/// With one reference for the caller. Throws JobCallError.
QBase::PtrI<Delivery> NewDelivery(QORChannel* iMailbox);

/// Threads: any.
/// Owns:    what was delivered.
/// Errors:  throws JobCallError.
class Mailboxes
{
public:
    /// The mailbox that the request names, for that one job. It takes messages while this object lives.
    QBase::PtrI<QORChannel> Open(int iJob, const Request& iRequest);

    /// By mailbox, and by job.
    void Write(std::ostream& ioStream) const;

private:
    HRESULT Receive(ICKDXReadMessage& iMessage, int iJob, const Request& iRequest);

    mutable std::mutex mMutex; // guards what follows
    std::map<std::string, std::map<int, std::string>> mLetters;
};
