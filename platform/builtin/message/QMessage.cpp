#include "platform/QMessage.h"

#include "platform/Mutex.h"
#include "platform/QLogRouter.h"
#include "platform/ThreadSafety.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/base/CountedObject.h"
#include "platform/builtin/base/Guarded.h"
#include "platform/builtin/message/MessageBlocks.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

const GUID IID_ICKDXReadMessage{0x5D0C1F52, 0x6E1B, 0x4B7C, {0x9A, 0x5E, 0x2F, 0x4D, 0x7B, 0x83, 0xC6, 0xA1}};
const GUID IID_ICKDXWriteMessage{0xA41E7D0B, 0x3C95, 0x4F2E, {0x8B, 0x67, 0xD9, 0x2C, 0x0F, 0x15, 0xE3, 0x84}};
const GUID IID_ICKDXReadBlockStream{0x7F3B9C26, 0x04DA, 0x4E81, {0xB5, 0xA3, 0x61, 0xC8, 0xE2, 0x90, 0x7D, 0x4F}};
const GUID IID_CKDXServerMessage{0xC2865E1D, 0x9B40, 0x47F3, {0x8D, 0x1A, 0x0E, 0x73, 0xA5, 0xF4, 0xB6, 0x9C}};

namespace QMessage
{

namespace
{

using Builtin::CountedObject;
using Builtin::Guarded;
using Builtin::MessageBlocks::Bytes;
using QBase::PtrI;
using SharedBytes = std::shared_ptr<const Bytes>;

/// The item of a message that was made without one.
class Item final : public CountedObject<IUnknown>
{
};

template <class Interface>
PtrI<Interface> Ask(IUnknown* iObject, const GUID& iInterfaceId)
{
    void* object = nullptr;
    if (FAILED(iObject->QueryInterface(iInterfaceId, &object)))
        return {};
    return PtrI<Interface>::Adopt(static_cast<Interface*>(object));
}

template <class Interface>
HRESULT HandOut(const PtrI<Interface>& iObject, Interface** oObject)
{
    if (oObject == nullptr)
        return E_POINTER;
    *oObject = PtrI<Interface>(iObject).Detach();
    return S_OK;
}

template <class Message>
HRESULT ItemOf(Message& iMessage, PtrI<IUnknown>& oItem)
{
    IUnknown* item = nullptr;
    const HRESULT code = iMessage.get_Item(&item);
    oItem = PtrI<IUnknown>::Adopt(item);
    return code;
}

template <class Message>
HRESULT BytesOf(Message& iMessage, Bytes& oBytes)
{
    ICKDXReadBlockStream* opened = nullptr;
    const HRESULT code = iMessage.get_BlockStream(&opened);
    const PtrI<ICKDXReadBlockStream> stream = PtrI<ICKDXReadBlockStream>::Adopt(opened);
    if (FAILED(code))
        return code;
    return stream ? Builtin::MessageBlocks::ReadRest(*stream.Get(), oBytes) : E_UNEXPECTED;
}

class BlockStream final : public CountedObject<ICKDXReadBlockStream, IID_ICKDXReadBlockStream>
{
public:
    explicit BlockStream(SharedBytes iBytes) : mBytes(std::move(iBytes)) {}

    HRESULT QORJOB_STDCALL Read(void* oBytes, DWORD iBytes, DWORD* oRead) override
    {
        if (oRead == nullptr || (oBytes == nullptr && iBytes != 0))
            return E_POINTER;
        const std::size_t bytes = std::min<std::size_t>(iBytes, mBytes->size() - mPosition);
        if (bytes != 0)
            std::memcpy(oBytes, mBytes->data() + mPosition, bytes);
        mPosition += bytes;
        *oRead = static_cast<DWORD>(bytes);
        return bytes == iBytes ? S_OK : S_FALSE;
    }

    HRESULT QORJOB_STDCALL GetPosition(std::uint64_t* oPosition, std::uint64_t* oSize) override
    {
        if (oPosition == nullptr || oSize == nullptr)
            return E_POINTER;
        *oPosition = mPosition;
        *oSize = mBytes->size();
        return S_OK;
    }

private:
    const SharedBytes mBytes;
    std::size_t mPosition = 0;
};

HRESULT NewStream(SharedBytes iBytes, ICKDXReadBlockStream** oStream)
{
    *oStream = new BlockStream(std::move(iBytes));
    return *oStream == nullptr ? E_OUTOFMEMORY : S_OK;
}

class ReadMessage final : public CountedObject<ICKDXReadMessage, IID_ICKDXReadMessage>
{
public:
    ReadMessage(SharedBytes iBytes, PtrI<IUnknown> iItem, HRESULT iErrorCode)
        : mBytes(std::move(iBytes)), mItem(std::move(iItem)), mErrorCode(iErrorCode)
    {
    }

    HRESULT QORJOB_STDCALL CopyTo(IUnknown* iWriteMessage) override
    {
        if (iWriteMessage == nullptr)
            return E_POINTER;
        const auto target = Ask<ICKDXWriteMessage>(iWriteMessage, IID_ICKDXWriteMessage);
        return target ? target->AppendBlocks(mBytes->data(), mBytes->size()) : E_NOINTERFACE;
    }

    HRESULT QORJOB_STDCALL get_BlockStream(ICKDXReadBlockStream** oStream) override
    {
        return oStream == nullptr ? E_POINTER : NewStream(mBytes, oStream);
    }

    HRESULT QORJOB_STDCALL BelongsTo(IUnknown* iMessage) override
    {
        if (iMessage == nullptr)
            return E_POINTER;
        HRESULT code = E_NOINTERFACE;
        PtrI<IUnknown> item;
        if (const auto read = Ask<ICKDXReadMessage>(iMessage, IID_ICKDXReadMessage))
            code = ItemOf(*read.Get(), item);
        else if (const auto written = Ask<ICKDXWriteMessage>(iMessage, IID_ICKDXWriteMessage))
            code = ItemOf(*written.Get(), item);
        if (FAILED(code))
            return code;
        return item.Get() == mItem.Get() ? S_OK : S_FALSE;
    }

    HRESULT QORJOB_STDCALL get_Content(IUnknown** oContent) override
    {
        if (oContent == nullptr)
            return E_POINTER;
        *oContent = nullptr;
        if (mBytes->empty())
            return S_FALSE;
        ICKDXReadBlockStream* stream = nullptr;
        const HRESULT code = NewStream(mBytes, &stream);
        *oContent = stream;
        return code;
    }

    HRESULT QORJOB_STDCALL get_Item(IUnknown** oItem) override { return HandOut(mItem, oItem); }

    HRESULT QORJOB_STDCALL get_ErrorCode(HRESULT* oCode) override
    {
        if (oCode == nullptr)
            return E_POINTER;
        *oCode = mErrorCode;
        return S_OK;
    }

private:
    const SharedBytes mBytes;
    const PtrI<IUnknown> mItem;
    const HRESULT mErrorCode;
};

class ServerMessage final : public CountedObject<CKDXServerMessage, IID_CKDXServerMessage, IID_ICKDXWriteMessage>
{
public:
    explicit ServerMessage(PtrI<IUnknown> iItem) : mItem(std::move(iItem)) {}

    HRESULT QORJOB_STDCALL get_State(int* oState) override
    {
        if (oState == nullptr)
            return E_POINTER;
        const QSynch::MutexHold hold(mMutex);
        *oState = mbOpen ? WriteMessageOpen : WriteMessageClosed;
        return S_OK;
    }

    HRESULT QORJOB_STDCALL get_Item(IUnknown** oItem) override { return HandOut(mItem, oItem); }

    HRESULT QORJOB_STDCALL set_ErrorCode(HRESULT iCode) override
    {
        const QSynch::MutexHold hold(mMutex);
        if (!mbOpen)
            return E_UNEXPECTED;
        mErrorCode = iCode;
        return S_OK;
    }

    HRESULT QORJOB_STDCALL get_ErrorCode(HRESULT* oCode) override
    {
        if (oCode == nullptr)
            return E_POINTER;
        const QSynch::MutexHold hold(mMutex);
        *oCode = mErrorCode;
        return S_OK;
    }

    HRESULT QORJOB_STDCALL AppendBlocks(const void* iBlocks, std::size_t iBytes) override
    {
        if (iBlocks == nullptr && iBytes != 0)
            return E_POINTER;
        return Guarded([&] {
            const QSynch::MutexHold hold(mMutex);
            if (!mbOpen)
                return E_UNEXPECTED;
            return Builtin::MessageBlocks::SplitBlocks({static_cast<const BYTE*>(iBlocks), iBytes}, mBodies);
        });
    }

    HRESULT QORJOB_STDCALL get_BlockStream(ICKDXReadBlockStream** oStream) override
    {
        if (oStream == nullptr)
            return E_POINTER;
        *oStream = nullptr;
        return Guarded([&] { return NewStream(PackAll(nullptr), oStream); });
    }

    HRESULT QORJOB_STDCALL Close() override
    {
        const QSynch::MutexHold hold(mMutex);
        return std::exchange(mbOpen, false) ? S_OK : S_FALSE;
    }

    HRESULT QORJOB_STDCALL SetResult(HRESULT iResult) override { return set_ErrorCode(iResult); }

    HRESULT QORJOB_STDCALL Send(QORChannel* iChannel) override
    {
        Builtin::EventTrace::Note("CKDXServerMessage::Send");
        if (iChannel == nullptr)
            return E_POINTER;
        return Guarded([&] {
            HRESULT result = S_OK;
            SharedBytes bytes = PackAll(&result);
            const auto message = PtrI<ICKDXReadMessage>::Adopt(new ReadMessage(std::move(bytes), mItem, result));
            return message ? iChannel->Send(message.Get()) : E_OUTOFMEMORY;
        });
    }

    HRESULT QORJOB_STDCALL Reset() override
    {
        Builtin::EventTrace::Note("CKDXServerMessage::Reset");
        const QSynch::MutexHold hold(mMutex);
        mBodies.clear();
        mErrorCode = S_OK;
        mbOpen = true;
        return S_OK;
    }

private:
    /// The blocks, and with them the code of the same moment unless `oErrorCode` is null.
    SharedBytes PackAll(HRESULT* oErrorCode)
    {
        const auto bytes = std::make_shared<Bytes>();
        const QSynch::MutexHold hold(mMutex);
        if (oErrorCode != nullptr)
            *oErrorCode = mErrorCode;
        for (std::size_t left = mBodies.size(); const Bytes& body : mBodies)
            Builtin::MessageBlocks::AppendBlock(*bytes, static_cast<unsigned>(--left), body);
        return bytes;
    }

    const PtrI<IUnknown> mItem;
    QSynch::Mutex<QSynch::LockLevelShared> mMutex;
    std::vector<Bytes> mBodies QORJOB_GUARDED_BY(mMutex);
    HRESULT mErrorCode QORJOB_GUARDED_BY(mMutex) = S_OK;
    bool mbOpen QORJOB_GUARDED_BY(mMutex) = true;
};

class Channel final : public Builtin::CountedBody<QORChannel>
{
public:
    explicit Channel(Receiver iReceiver) : mpReceiver(std::make_shared<Receiver>(std::move(iReceiver))) {}

    HRESULT Send(ICKDXReadMessage* iMessage) override
    {
        Builtin::EventTrace::Note("QORChannel::Send");
        if (iMessage == nullptr)
            return E_POINTER;
        const std::shared_ptr<Receiver> receiver = GetReceiver();
        if (receiver == nullptr || !*receiver)
            return E_HANDLE;
        return Guarded([&] { return (*receiver)(iMessage); });
    }

    void Close() override
    {
        std::shared_ptr<Receiver> closed; // destroyed after the hold: that may run the caller's code
        const QSynch::MutexHold hold(mMutex);
        closed.swap(mpReceiver);
    }

private:
    std::shared_ptr<Receiver> GetReceiver()
    {
        const QSynch::MutexHold hold(mMutex);
        return mpReceiver;
    }

    QSynch::Mutex<QSynch::LockLevelShared> mMutex;
    std::shared_ptr<Receiver> mpReceiver QORJOB_GUARDED_BY(mMutex);
};

/// The caller's item, else a new one; empty when there is no memory for that.
PtrI<IUnknown> ItemOrNew(IUnknown* iItem)
{
    return iItem != nullptr ? PtrI<IUnknown>(iItem) : PtrI<IUnknown>::Adopt(new Item);
}

} // namespace

QBase::ReturnPtrI<ICKDXReadMessage> NewReadMessage(const void* iBytes, std::size_t iLength, IUnknown* iItem,
                                                   HRESULT iErrorCode)
{
    PtrI<ICKDXReadMessage> message;
    Guarded([&] {
        const BYTE* const bytes = static_cast<const BYTE*>(iBytes);
        PtrI<IUnknown> item = ItemOrNew(iItem);
        if (item)
        {
            message = PtrI<ICKDXReadMessage>::Adopt(
                new ReadMessage(std::make_shared<const Bytes>(bytes, bytes + iLength), std::move(item), iErrorCode));
        }
        return S_OK;
    });
    return message;
}

QBase::ReturnPtrI<CKDXServerMessage> NewServerMessage(IUnknown* iItem)
{
    PtrI<IUnknown> item = ItemOrNew(iItem);
    return item ? PtrI<CKDXServerMessage>::Adopt(new ServerMessage(std::move(item))) : PtrI<CKDXServerMessage>();
}

QBase::ReturnPtrI<QORChannel> NewChannel(Receiver iReceiver)
{
    PtrI<QORChannel> channel;
    Guarded([&] {
        channel = PtrI<QORChannel>::Adopt(new Channel(std::move(iReceiver)));
        return S_OK;
    });
    return channel;
}

HRESULT CKDXReadMessage::NewWriteMessageNotGoverned(ICKDXReadMessage* iMessage, bool ibWithBlocks,
                                                    ICKDXWriteMessage** oWriteMessage)
{
    Builtin::EventTrace::Note("QMessage::CKDXReadMessage::NewWriteMessageNotGoverned", {ibWithBlocks ? 1 : 0});
    if (oWriteMessage == nullptr)
        return E_POINTER;
    *oWriteMessage = nullptr;
    if (iMessage == nullptr)
        return E_POINTER;

    PtrI<IUnknown> item;
    if (const HRESULT code = ItemOf(*iMessage, item); FAILED(code))
        return code;
    PtrI<CKDXServerMessage> answer = NewServerMessage(item.Get());
    if (!answer)
        return E_OUTOFMEMORY;
    if (ibWithBlocks)
    {
        if (const HRESULT code = iMessage->CopyTo(answer.Get()); FAILED(code))
            return code;
    }
    *oWriteMessage = answer.Detach();
    return S_OK;
}

HRESULT CKDXWriteMessage::ToReadMessage(ICKDXWriteMessage* iMessage, ICKDXReadMessage** oReadMessage)
{
    Builtin::EventTrace::Note("QMessage::CKDXWriteMessage::ToReadMessage");
    if (oReadMessage == nullptr)
        return E_POINTER;
    *oReadMessage = nullptr;
    if (iMessage == nullptr)
        return E_POINTER;
    return Guarded([&] {
        PtrI<IUnknown> item;
        if (const HRESULT code = ItemOf(*iMessage, item); FAILED(code))
            return code;
        // Closed first: what another thread appends now is refused and not lost.
        if (const HRESULT code = iMessage->Close(); FAILED(code))
            return code;
        Bytes bytes;
        if (const HRESULT code = BytesOf(*iMessage, bytes); FAILED(code))
            return code;
        HRESULT errorCode = S_OK;
        if (const HRESULT code = iMessage->get_ErrorCode(&errorCode); FAILED(code))
            return code;
        *oReadMessage = NewReadMessage(bytes.data(), bytes.size(), item.Get(), errorCode).Detach();
        return *oReadMessage == nullptr ? E_OUTOFMEMORY : S_OK;
    });
}

HRESULT CKDXWriteMessage::Append(ICKDXWriteMessage* iTarget, ICKDXWriteMessage* iSource)
{
    Builtin::EventTrace::Note("QMessage::CKDXWriteMessage::Append");
    if (iTarget == nullptr || iSource == nullptr)
        return E_POINTER;
    return Guarded([&] {
        HRESULT sourceCode = S_OK;
        HRESULT targetCode = S_OK;
        Bytes bytes;
        if (const HRESULT code = BytesOf(*iSource, bytes); FAILED(code))
            return code;
        if (const HRESULT code = iSource->get_ErrorCode(&sourceCode); FAILED(code))
            return code;
        if (const HRESULT code = iTarget->AppendBlocks(bytes.data(), bytes.size()); FAILED(code))
            return code;
        if (const HRESULT code = iTarget->get_ErrorCode(&targetCode); FAILED(code))
            return code;
        return sourceCode != S_OK && targetCode == S_OK ? iTarget->set_ErrorCode(sourceCode) : S_OK;
    });
}

HRESULT CKDXWriteMessage::GetErrorsFromMessage(unsigned iLocale, ICKDXWriteMessage* iMessage, QBase::wstring& oText)
{
    Builtin::EventTrace::Note("QMessage::CKDXWriteMessage::GetErrorsFromMessage", {iLocale});
    if (iMessage == nullptr)
        return E_POINTER;
    return Guarded([&] {
        ICKDXReadBlockStream* opened = nullptr;
        const HRESULT code = iMessage->get_BlockStream(&opened);
        const PtrI<ICKDXReadBlockStream> stream = PtrI<ICKDXReadBlockStream>::Adopt(opened);
        if (FAILED(code))
            return code;

        std::string text;
        std::unique_ptr<QORMessageUnpacker> entry;
        do
        {
            if (const HRESULT failure = QORMessageUnpacker::Create(stream.Get(), iLocale & 0xFFFF, entry);
                FAILED(failure))
                return failure;
            if (entry->IsMessageEmpty())
                continue;
            text.append(text.empty() ? "" : "\n").append(entry->Build());
        } while (!entry->IsLastMessageInStream());
        oText = QBase::UTF8ToWideChar(text);
        return S_OK;
    });
}

} // namespace QMessage
