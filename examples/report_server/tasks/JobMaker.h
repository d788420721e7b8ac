// The makers of a request's context and job, and what the context holds of the server: the user's session, and where a
// result is delivered. All throw std::runtime_error for what the library refuses.
#pragma once

#include "client/Request.h"
#include "qorjob.h"

#include <atomic>
#include <cstdint>
#include <string>

/// {2C41B6F0-93D7-4E58-A8B1-6D0F7C25E913}
inline constexpr GUID IID_IDelivery = {0x2C41B6F0, 0x93D7, 0x4E58, {0xA8, 0xB1, 0x6D, 0x0F, 0x7C, 0x25, 0xE9, 0x13}};

/// What takes a job's answer in place of the client. That the context has one tells the library that errors of the job
/// are delivered, too.
class IDelivery : public IUnknown
{
public:
    virtual HRESULT QORJOB_STDCALL Deliver(CKDXServerMessage* iMessage) = 0;

protected:
    ~IDelivery() = default;
};

/// Into that mailbox.
void PutDelivery(CKDXProcessContext& ioContext, QORChannel* iMailbox);
/// Empty when there is none.
QBase::PtrI<IDelivery> DeliveryOf(ICKDXProcessContext& ioContext);

/// The job counts it; the process context has an object that stands for it.
///
/// Threads: any.
/// Owns:    one reference to its object.
class UserSession final : public QorUserSession
{
public:
    UserSession(const std::string& iUser, unsigned iLocale);

    unsigned AddRef() override { return ++mReferences; }
    unsigned Release() override;

    /// No reference is added.
    ICKDXSession* GetObject() const { return mpObject.Get(); }

private:
    ~UserSession() override = default;

    std::atomic<unsigned> mReferences{0};
    QBase::PtrI<ICKDXSession> mpObject;
};

/// With the request's message, so that an answer can be written from here on.
QBase::PtrI<CKDXProcessContext> MakeContext(int iJob, ICKDXReadMessage* iRequest);

/// The job, which describes its request, with its steps. `iMemory`: the limit of its governor, in bytes.
QBase::PtrI<QORJob> MakeJob(int iJob, const Request& iRequest, UserSession* iSession, CKDXProcessContext& ioContext,
                            std::uint64_t iMemory);
