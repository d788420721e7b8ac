#include "context/ICKDXProcessContext.h"
#include "job/QORJobRows.h"
#include "platform/QMessage.h"

#include <algorithm>
#include <iterator>
#include <utility>

/// The index isn't checked against the end of the list: callers pass one below the number of requests.
HRESULT QORJob::GetChannelRequest(QORChannelRequest** oRequest, int iIndex) const
{
    if (oRequest == nullptr)
        return E_POINTER;
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        const QBase::list<QORChannelRequest*>& requests = mChannelRequests.Read().mChannels;
        *oRequest = requests.empty() ? nullptr : *std::next(requests.begin(), std::max(iIndex, 0));
        return S_OK;
    });
}

HRESULT QORJob::AddChannelRequest(QORChannelRequest* iRequest)
{
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        mChannelRequests.Write(GetMemory()).mChannels.push_back(iRequest);
        return S_OK;
    });
}

HRESULT QORJob::CompleteChannelRequest(QORChannelRequest* iRequest)
{
    return Boundary([&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        ChannelRequests* const requests = mChannelRequests.Get();
        if (requests == nullptr || requests->mChannels.empty())
            return E_UNEXPECTED;
        const auto found = std::find(requests->mChannels.cbegin(), requests->mChannels.cend(), iRequest);
        if (found == requests->mChannels.cend())
            return E_INVALIDARG;
        requests->mChannels.erase(found);
        return S_OK;
    });
}

HRESULT QORJob::GetInMessage(ICKDXReadMessage** oMessage) const { return GetPointer(mpInMessage, oMessage); }

HRESULT QORJob::SetInMessage(ICKDXReadMessage* iMessage)
{
    return Boundary([&] {
        QBase::PtrI<ICKDXReadMessage> old;
        {
            QSynch::CriticalSection::SmartLock lock(mpLock.get());
            old = std::exchange(mpInMessage, QBase::PtrI<ICKDXReadMessage>(iMessage));
        }
        if (old)
            old.Detach()->Release(); // after the lock, and by name: what it throws ends in the boundary
        return S_OK;
    });
}

HRESULT QORJob::GetInBoxMsgPtr(CKDXServerMessage** oMessage)
{
    if (oMessage != nullptr)
        *oMessage = nullptr;
    return GetPointer(mpInBoxMessage, oMessage);
}

HRESULT QORJob::SetInBoxMsgPtr(CKDXServerMessage* iMessage)
{
    return Boundary([&] {
        QBase::PtrI<CKDXServerMessage> old;
        {
            QSynch::CriticalSection::SmartLock lock(mpLock.get());
            if (iMessage != nullptr && (mStatus == JobStoppedWithError || mStatus == JobCancelled))
                return S_FALSE;
            old = std::exchange(mpInBoxMessage, QBase::PtrI<CKDXServerMessage>(iMessage));
        }
        if (old)
            old.Detach()->Release();
        return S_OK;
    });
}

// Without the lock: nobody replaces the context while answers are written, and making a message may take it a while.

HRESULT QORJob::GetOutMessage(ICKDXWriteMessage** oMessage) const { return GetContextMessage(oMessage); }

HRESULT QORJob::GetErrMessage(ICKDXWriteMessage** oMessage) const { return GetContextMessage(oMessage); }

HRESULT QORJob::GetContextMessage(ICKDXWriteMessage** oMessage, const char* iOperation) const
{
    if (oMessage == nullptr)
        return E_POINTER;
    *oMessage = nullptr;
    return Boundary(
        [&] {
            QBase::PtrI<ICKDXWriteMessage> message;
            const HRESULT code = FetchContextMessage(message);
            *oMessage = message.Detach();
            return code;
        },
        iOperation);
}

/// The message that answers and errors are written into; empty when there is no context or it has none. Exceptions
/// pass.
HRESULT QORJob::FetchContextMessage(QBase::PtrI<ICKDXWriteMessage>& oMessage) const QORJOB_NO_THREAD_SAFETY_ANALYSIS
{
    ICKDXProcessContext* context = mpProcessContext.Get();
    return context == nullptr ? S_OK : context->get_OutMessage(oMessage.Receive());
}
