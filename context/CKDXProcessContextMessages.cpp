// The process context's messages: those of the request, and those of the threads that work for it.
#include "context/CKDXProcessContextRows.h"
#include "platform/QLogRouter.h"

namespace
{

/// Whether blocks can still be added to the message.
bool IsOpen(ICKDXWriteMessage& iMessage)
{
    int state = 0;
    return SUCCEEDED(iMessage.get_State(&state)) && state == WriteMessageOpen;
}

} // namespace

HRESULT CKDXProcessContext::SetRequest(LONG iCode, ICKDXReadMessage* iInMessage, ICKDXWriteMessage* iOutMessage,
                                       ICKDXWriteMessage* iReplyMessage, IUnknown* iContextObjectD,
                                       const GUID& iRequestID)
{
    return Boundary([&] {
        ReadMessage in(iInMessage);
        WriteMessage out(iOutMessage);
        WriteMessage reply(iReplyMessage);
        Object object(iContextObjectD);
        {
            SmartLock lock(mpLock.get());
            std::swap(mInMessage, in);
            std::swap(mOutMessage, out);
            std::swap(mReplyMessage, reply);
            std::swap(mContextObjectD, object);
            mRequestCode = iCode; // not counted: the count is that of put_RequestCode
            mRequestID = iRequestID;
        }
        return ReleaseAll(in, out, reply, object);
    });
}

HRESULT CKDXProcessContext::SetRequestIn(LONG iCode, ICKDXReadMessage* iInMessage, ICKDXWriteMessage* iReplyMessage,
                                         IUnknown* iContextObjectD, GUID iRequestID)
{
    return SetRequest(iCode, iInMessage, nullptr, iReplyMessage, iContextObjectD, iRequestID);
}

HRESULT CKDXProcessContext::SetRequestOut(LONG iCode, ICKDXWriteMessage* iOutMessage, ICKDXWriteMessage* iReplyMessage,
                                          IUnknown* iContextObjectD, GUID iRequestID)
{
    return SetRequest(iCode, nullptr, iOutMessage, iReplyMessage, iContextObjectD, iRequestID);
}

HRESULT CKDXProcessContext::ConvertOutToIn()
{
    return Boundary([&] {
        ReadMessage in;
        WriteMessage out;
        {
            SmartLock lock(mpLock.get());
            if (!mOutMessage)
                return S_OK;
            const HRESULT code = QMessage::CKDXWriteMessage::ToReadMessage(mOutMessage.Get(), in.Receive());
            if (FAILED(code))
                return code;
            std::swap(mInMessage, in);
            std::swap(mOutMessage, out);
        }
        return ReleaseAll(in, out);
    });
}

/// Without an input message there is nothing to answer: S_OK, and `oMessage` stays empty.
HRESULT CKDXProcessContext::NewMessageFromInput(WriteMessage& oMessage)
{
    return mInMessage
               ? QMessage::CKDXReadMessage::NewWriteMessageNotGoverned(mInMessage.Get(), false, oMessage.Receive())
               : S_OK;
}

HRESULT CKDXProcessContext::MakeReplyMessage() { return mReplyMessage ? S_OK : NewMessageFromInput(mReplyMessage); }

/// The message for the output of a thread (0: the calling one): its own if it has an entry, else the reply.
CKDXProcessContext::WriteMessage CKDXProcessContext::CurrentMessage(DWORD iThreadId, const WriteMessage& iReplyMessage)
{
    const auto entry = mThreadMessages.find(iThreadId == 0 ? QBase::GetCurrentThreadID() : iThreadId);
    return entry == mThreadMessages.end() ? iReplyMessage : entry->second;
}

HRESULT CKDXProcessContext::get_OutMessage(ICKDXWriteMessage** oOutMessage)
{
    if (oOutMessage == nullptr)
        return E_POINTER;
    *oOutMessage = nullptr;
    return Boundary([&] {
        SmartLock lock(mpLock.get());
        const HRESULT code = MakeReplyMessage();
        if (FAILED(code))
            return code;
        SmartLock threadsLock(mpThreadMessagesLock.get());
        *oOutMessage = CurrentMessage(0, mReplyMessage).Detach();
        return S_OK;
    });
}

/// The messages are called under the lock, so that no other thread replaces them meanwhile.
HRESULT CKDXProcessContext::get_ReplyMessage(IUnknown** oItem)
{
    if (oItem == nullptr)
        return E_POINTER;
    *oItem = nullptr;
    return Boundary([&] {
        SmartLock lock(mpLock.get());
        if (!mReplyMessage && mInMessage)
        {
            Object ignored; // the result is the reply's own item
            mInMessage->get_Item(ignored.Receive());
            const HRESULT code = MakeReplyMessage();
            if (FAILED(code))
                return code;
        }
        return mReplyMessage ? mReplyMessage->get_Item(oItem) : E_FAIL;
    });
}

HRESULT CKDXProcessContext::get_InMessageItem(IUnknown** oItem)
{
    if (oItem == nullptr)
        return E_POINTER;
    return Boundary([&] {
        SmartLock lock(mpLock.get());
        return mInMessage ? mInMessage->get_Item(oItem) : E_FAIL;
    });
}

HRESULT CKDXProcessContext::AskInMessage(HRESULT (QORJOB_STDCALL ICKDXReadMessageHead::*iQuestion)(IUnknown*),
                                         IUnknown* iArgument)
{
    if (iArgument == nullptr)
        return E_POINTER;
    return Boundary([&] {
        SmartLock lock(mpLock.get());
        return mInMessage ? (mInMessage.Get()->*iQuestion)(iArgument) : S_FALSE;
    });
}

HRESULT CKDXProcessContext::InMessageQueryA(IUnknown* iArgument)
{
    return AskInMessage(&ICKDXReadMessage::BelongsTo, iArgument);
}

HRESULT CKDXProcessContext::InMessageQueryB(IUnknown* iArgument)
{
    return AskInMessage(&ICKDXReadMessage::CopyTo, iArgument);
}

int CKDXProcessContext::IsInMessageEmpty()
{
    bool bEmpty = false;
    Boundary([&] {
        SmartLock lock(mpLock.get());
        if (!mInMessage)
            return S_OK;
        Object content;
        const HRESULT code = mInMessage->get_Content(content.Receive());
        bEmpty = !content;
        return code;
    });
    return bEmpty ? 1 : 0;
}

/// Always returns `iMessageId`: callers return the result of this call as their own.
HRESULT CKDXProcessContext::AddStatusMessage(HRESULT iMessageId, const QBase::WCHAR* iTemplate)
{
    Boundary([&] {
        WriteMessage message;
        const HRESULT code = get_OutMessage(message.Receive());
        if (FAILED(code) || !message)
            return code;
        int state = 0;
        message->get_State(&state);
        const QORMessagePacker packer(message.Get(), iTemplate, static_cast<unsigned>(iMessageId));
        return S_OK;
    });
    return iMessageId;
}

HRESULT CKDXProcessContext::BeginThreadMessage()
{
    return Boundary([&] {
        WriteMessage message;
        {
            SmartLock lock(mpLock.get());
            const HRESULT code = NewMessageFromInput(message);
            if (FAILED(code))
                return code;
        }
        SmartLock lock(mpThreadMessagesLock.get());
        mThreadMessages.try_emplace(QBase::GetCurrentThreadID(), message); // an existing entry stays
        return S_OK;
    });
}

/// Appends the calling thread's message to that of another thread, or to the reply if the id is 0. Begin and end are
/// called on the same thread.
void CKDXProcessContext::EndThreadMessage(DWORD iThreadId)
{
    Boundary([&] {
        const WriteMessage reply = CopyLocked(mReplyMessage);
        WriteMessage own;
        WriteMessage target;
        {
            SmartLock lock(mpThreadMessagesLock.get());
            const auto entry = mThreadMessages.find(QBase::GetCurrentThreadID());
            if (entry == mThreadMessages.end())
                return S_OK;
            own = std::move(entry->second);
            mThreadMessages.erase(entry);
            target = CurrentMessage(iThreadId, reply);
        }
        return own && target && IsOpen(*target.Get()) ? QMessage::CKDXWriteMessage::Append(target.Get(), own.Get())
                                                      : S_OK;
    });
}
