#include "platform/QMessage.h"

#include "platform/builtin/EventTrace.h"
#include "platform/builtin/Faults.h"
#include "tests/support/Messages.h"
#include "tests/support/OperationPlace.h"
#include "tests/support/Threads.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

using Builtin::Faults::EnumFault;
using QBase::PtrI;
using QMessage::NewChannel;
using QMessage::NewReadMessage;
using QMessage::NewServerMessage;

namespace
{

template <class Message>
IUnknown* ItemOf(const PtrI<Message>& iMessage)
{
    return Given(iMessage, &Message::get_Item).Get();
}

template <class Message>
HRESULT ErrorCodeOf(const PtrI<Message>& iMessage)
{
    HRESULT code = E_NOTIMPL;
    EXPECT_EQ(iMessage->get_ErrorCode(&code), S_OK);
    return code;
}

HRESULT Append(const PtrI<CKDXServerMessage>& iTarget, const PtrI<CKDXServerMessage>& iSource)
{
    return QMessage::CKDXWriteMessage::Append(iTarget.Get(), iSource.Get());
}

PtrI<ICKDXWriteMessage> Answer(const PtrI<ICKDXReadMessage>& iMessage, bool ibWithBlocks, HRESULT iCode = S_OK)
{
    ICKDXWriteMessage* answer = nullptr;
    EXPECT_EQ(QMessage::CKDXReadMessage::NewWriteMessageNotGoverned(iMessage.Get(), ibWithBlocks, &answer), iCode);
    return PtrI<ICKDXWriteMessage>::Adopt(answer);
}

} // namespace

TEST(MessageOperations, StandAtTheirPlaces)
{
    using Read = ICKDXReadMessage;
    using Write = ICKDXWriteMessage;
    using Server = CKDXServerMessage;
    ExpectPlaces(3, &Read::CopyTo, &Read::get_BlockStream, &Read::BelongsTo);
    ExpectPlaces(9, &Read::get_Content);
    ExpectPlaces(17, &Read::get_Item, &Read::get_ErrorCode);
    ExpectPlaces(3, &Write::get_State);
    ExpectPlaces(31, &Write::get_Item, &Write::set_ErrorCode, &Write::get_ErrorCode, &Write::AppendBlocks,
                 &Write::get_BlockStream, &Write::Close, &Server::SetResult, &Server::Send, &Server::Reset);
    ExpectPlaces(3, &ICKDXReadBlockStream::Read, &ICKDXReadBlockStream::GetPosition);
    ExpectPlaces(PlaceOf(&QORChannel::Send), &QORChannel::Send, &QORChannel::Close);
}

TEST(MessageOperations, RefuseNullPointers)
{
    const auto read = NewReadMessage(nullptr, 0);
    const auto written = NewServerMessage();
    const auto channel = NewChannel([](ICKDXReadMessage*) { return S_OK; });
    const auto stream = Given(read, &ICKDXReadMessage::get_BlockStream);
    DWORD count = 0;
    std::uint64_t size = 0;
    QBase::wstring text;
    ICKDXReadMessage* toRead = nullptr;
    ICKDXWriteMessage* answer = nullptr;
    std::unique_ptr<QORMessageUnpacker> entry;
    Builtin::EventTrace::Start();
    const HRESULT codes[] = {
        read->CopyTo(nullptr),
        read->get_BlockStream(nullptr),
        read->BelongsTo(nullptr),
        read->get_Content(nullptr),
        read->get_Item(nullptr),
        read->get_ErrorCode(nullptr),
        written->get_State(nullptr),
        written->get_ErrorCode(nullptr),
        written->AppendBlocks(nullptr, 1),
        written->get_BlockStream(nullptr),
        written->Send(nullptr),
        channel->Send(nullptr),
        stream->Read(nullptr, 1, &count),
        stream->Read(nullptr, 0, nullptr),
        stream->GetPosition(nullptr, &size),
        stream->GetPosition(&size, nullptr),
        QMessage::CKDXReadMessage::NewWriteMessageNotGoverned(nullptr, false, &answer),
        QMessage::CKDXReadMessage::NewWriteMessageNotGoverned(read.Get(), true, nullptr),
        QMessage::CKDXWriteMessage::ToReadMessage(nullptr, &toRead),
        QMessage::CKDXWriteMessage::ToReadMessage(written.Get(), nullptr),
        QMessage::CKDXWriteMessage::Append(nullptr, written.Get()),
        QMessage::CKDXWriteMessage::Append(written.Get(), nullptr),
        QMessage::CKDXWriteMessage::GetErrorsFromMessage(5, nullptr, text),
        QORMessageUnpacker::Create(nullptr, 6, entry),
    };
    for (const HRESULT& code : codes)
        EXPECT_EQ(code, E_POINTER) << &code - codes;
    written->Reset();
    Pack(nullptr, 7);
    EXPECT_EQ(
        Builtin::EventTrace::Stop(),
        (std::vector<std::string>{
            "CKDXServerMessage::Send", "QORChannel::Send", "QMessage::CKDXReadMessage::NewWriteMessageNotGoverned 0",
            "QMessage::CKDXReadMessage::NewWriteMessageNotGoverned 1", "QMessage::CKDXWriteMessage::ToReadMessage",
            "QMessage::CKDXWriteMessage::ToReadMessage", "QMessage::CKDXWriteMessage::Append",
            "QMessage::CKDXWriteMessage::Append", "QMessage::CKDXWriteMessage::GetErrorsFromMessage 5",
            "QORMessageUnpacker::Create 6", "CKDXServerMessage::Reset", "QORMessagePacker 7"}));
}

TEST(WriteMessages, TakeNothingOnceTheyAreRead)
{
    const auto message = NewServerMessage();
    Pack(message.Get(), 7);
    const auto earlier = Given(message, &CKDXServerMessage::get_BlockStream);
    Pack(message.Get(), 8);
    std::unique_ptr<QORMessageUnpacker> entry;
    EXPECT_EQ(QORMessageUnpacker::Create(earlier.Get(), 0x409, entry), S_OK);
    EXPECT_TRUE(entry->IsLastMessageInStream()) << "a stream is what the message was when it was asked for";

    EXPECT_EQ(message->set_ErrorCode(E_FAIL), S_OK);
    const auto read = ToRead(message.Get());
    EXPECT_EQ(CodesIn(read), (Codes{7, 8}));
    EXPECT_EQ(ErrorCodeOf(read), E_FAIL);
    int state = 0;
    EXPECT_EQ(message->get_State(&state), S_OK);
    EXPECT_EQ(state, 1);
    Pack(message.Get(), 9); // lost
    EXPECT_EQ(message->set_ErrorCode(E_HANDLE), E_UNEXPECTED);
    EXPECT_EQ(Append(message, message), E_UNEXPECTED);
    EXPECT_EQ(CodesIn(message), (Codes{7, 8}));
    EXPECT_EQ(ErrorCodeOf(message), E_FAIL);

    EXPECT_EQ(message->Reset(), S_OK);
    EXPECT_EQ(CodesIn(message), Codes{});
    EXPECT_EQ(ItemOf(read), ItemOf(message));
    EXPECT_EQ(read->BelongsTo(message.Get()), S_OK);
    EXPECT_EQ(CodesIn(read), (Codes{7, 8}));
}

TEST(WriteMessages, TakeOneAnothersBlocksOnAllThreadsAndWhole)
{
    const auto target = NewServerMessage();
    RunOnThreads(4, [&](int iThread) {
        const auto own = NewServerMessage();
        for (int i = 0; i < 10; ++i)
            Pack(own.Get(), static_cast<unsigned>(iThread));
        EXPECT_EQ(own->set_ErrorCode(E_FAIL), S_OK);
        EXPECT_EQ(Append(target, own), S_OK);
        EXPECT_EQ(own->set_ErrorCode(E_HANDLE), S_OK);
        EXPECT_EQ(Append(target, own), S_OK);
    });
    const Codes codes = CodesIn(target);
    EXPECT_EQ(ErrorCodeOf(target), E_FAIL) << "the first error stays";
    ASSERT_EQ(codes.size(), 80u);
    for (std::size_t i = 0; i < codes.size(); i += 10)
        EXPECT_EQ(std::count(&codes[i], &codes[i] + 10, codes[i]), 10);
}

TEST(ReadMessages, CopyTheirBlocksToAWriteMessageOrNothing)
{
    const auto target = NewServerMessage();
    Pack(target.Get(), 1);
    Pack(target.Get(), 2);
    const auto message = ToRead(target.Get());
    EXPECT_EQ(message->CopyTo(target.Get()), E_UNEXPECTED); // it is closed
    target->Reset();
    EXPECT_EQ(message->CopyTo(target.Get()), S_OK);
    EXPECT_EQ(CodesIn(target), (Codes{1, 2}));

    BYTE bytes[256];
    DWORD read = 0;
    EXPECT_EQ(Given(message, &ICKDXReadMessage::get_BlockStream)->Read(bytes, sizeof(bytes), &read), S_FALSE);
    const auto cut = NewReadMessage(bytes, read - 1);
    EXPECT_EQ(cut->CopyTo(target.Get()), E_INVALIDARG);
    EXPECT_EQ(CodesIn(target), (Codes{1, 2}));
    EXPECT_FALSE(Answer(cut, true, E_INVALIDARG));
}

TEST(Messages, TellWhatTheyHold)
{
    const auto written = NewServerMessage();
    const auto empty = NewReadMessage(nullptr, 0);
    Pack(written.Get(), 1);
    Pack(written.Get(), 2);
    const auto read = ToRead(written.Get());
    EXPECT_EQ(written->Close(), S_FALSE) << "reading has closed it";
    EXPECT_EQ(NewServerMessage()->Close(), S_OK);
    EXPECT_EQ(read->BelongsTo(read.Get()), S_OK);
    EXPECT_EQ(read->BelongsTo(empty.Get()), S_FALSE);
    EXPECT_EQ(read->BelongsTo(NewServerMessage().Get()), S_FALSE);

    IUnknown* content = read.Get();
    EXPECT_EQ(empty->get_Content(&content), S_FALSE);
    EXPECT_EQ(content, nullptr);
    EXPECT_EQ(read->get_Content(&content), S_OK);
    const auto stream = PtrI<ICKDXReadBlockStream>::Adopt(static_cast<ICKDXReadBlockStream*>(content));
    EXPECT_EQ(read->BelongsTo(stream.Get()), E_NOINTERFACE);
    EXPECT_EQ(read->CopyTo(stream.Get()), E_NOINTERFACE);
    BYTE bytes[5];
    DWORD count = 0;
    std::uint64_t position = 0;
    std::uint64_t size = 0;
    EXPECT_EQ(stream->Read(bytes, sizeof(bytes), &count), S_OK);
    EXPECT_EQ(count, 5u);
    EXPECT_EQ(stream->GetPosition(&position, &size), S_OK);
    EXPECT_EQ(position, 5u);
    EXPECT_GT(size, 40u);

    void* other = stream.Get();
    EXPECT_EQ(stream->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    EXPECT_EQ(stream->QueryInterface(IID_ICKDXReadMessage, &other), E_NOINTERFACE);
    EXPECT_EQ(other, nullptr);
    EXPECT_EQ(stream->AddRef(), 2u);
    EXPECT_EQ(stream->Release(), 1u);
    QBase::wstring text;
    const auto errors = NewServerMessage();
    const auto pack = [&](const QBase::WCHAR* iText, unsigned iId) {
        const QORMessagePacker packer(errors.Get(), iText, iId);
    };
    pack(QORJOB_W("first"), 1);
    EXPECT_EQ(errors->AppendBlocks(nullptr, 0), S_OK);
    pack(QORJOB_W("second"), 2);
    EXPECT_EQ(QMessage::CKDXWriteMessage::GetErrorsFromMessage(0x409, errors.Get(), text), S_OK);
    EXPECT_EQ(text, QORJOB_W("first\nsecond"));
}

TEST(Messages, SayWhenThereIsNoMemory)
{
    const auto request = NewReadMessage(nullptr, 0);
    for (const int nth : {1, 2})
    {
        Builtin::Faults::FailNth(EnumFault::Allocation, nth); // the item, then the message
        EXPECT_FALSE(NewServerMessage());
        Builtin::Faults::FailNth(EnumFault::Allocation, nth);
        EXPECT_FALSE(NewReadMessage(nullptr, 0));
    }
    Builtin::Faults::FailNth(EnumFault::Allocation, 1);
    EXPECT_FALSE(Answer(request, false, E_OUTOFMEMORY));
    Builtin::Faults::FailNth(EnumFault::Allocation, 1);
    ICKDXReadBlockStream* stream = nullptr;
    EXPECT_EQ(request->get_BlockStream(&stream), E_OUTOFMEMORY);
}

TEST(Channels, DeliverWhatAServerMessageIsWhenItIsSent)
{
    PtrI<ICKDXReadMessage> kept;
    const auto channel = NewChannel([&](ICKDXReadMessage* iMessage) {
        kept = PtrI<ICKDXReadMessage>(iMessage);
        return S_FALSE;
    });
    const auto message = NewServerMessage();
    Pack(message.Get(), 7);
    EXPECT_EQ(message->SetResult(E_FAIL), S_OK);
    EXPECT_EQ(message->Send(channel.Get()), S_FALSE);
    EXPECT_EQ(CodesIn(kept), Codes{7});
    EXPECT_EQ(ErrorCodeOf(kept), E_FAIL);
}

TEST(Channels, LetTheirReceiverGo)
{
    const auto alive = std::make_shared<int>(0);
    PtrI<QORChannel> channel;
    channel = NewChannel([alive, &channel](ICKDXReadMessage*) {
        channel->Close(); // while it is being called
        return S_OK;
    });
    EXPECT_EQ(alive.use_count(), 2);
    const auto message = NewReadMessage(nullptr, 0);
    EXPECT_EQ(channel->Send(message.Get()), S_OK);
    EXPECT_EQ(alive.use_count(), 1);
    EXPECT_EQ(channel->Send(message.Get()), E_HANDLE);

    EXPECT_EQ(NewServerMessage()->Send(channel.Get()), E_HANDLE);
    const auto throwing = NewChannel([](ICKDXReadMessage*) -> HRESULT { throw E_HANDLE; });
    EXPECT_EQ(NewServerMessage()->Send(throwing.Get()), E_FAIL);
}
