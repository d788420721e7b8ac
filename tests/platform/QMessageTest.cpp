#include "platform/QMessage.h"

#include "platform/builtin/Faults.h"
#include "tests/support/Messages.h"
#include "tests/support/OperationPlace.h"
#include "tests/support/Threads.h"

#include <algorithm>
#include <memory>

using QBase::PtrI;
using QMessage::NewChannel;
using QMessage::NewReadMessage;
using QMessage::NewServerMessage;

namespace
{

/// A foreign object that counts its references.
class Stranger final : public IUnknown
{
public:
    HRESULT QueryInterface(const GUID&, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return ++mReferences; }
    ULONG Release() override { return --mReferences; }

    ULONG mReferences = 0;
};

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

int StateOf(const PtrI<CKDXServerMessage>& iMessage)
{
    int state = 0;
    EXPECT_EQ(iMessage->get_State(&state), S_OK);
    return state;
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
    EXPECT_EQ(PlaceOf(&ICKDXReadMessage::CopyTo), 3u);
    EXPECT_EQ(PlaceOf(&ICKDXReadMessage::get_BlockStream), 4u);
    EXPECT_EQ(PlaceOf(&ICKDXReadMessage::BelongsTo), 5u);
    EXPECT_EQ(PlaceOf(&ICKDXReadMessage::get_Content), 9u);
    EXPECT_EQ(PlaceOf(&ICKDXReadMessage::get_Item), 17u);
    EXPECT_EQ(PlaceOf(&ICKDXWriteMessage::get_State), 3u);
    EXPECT_EQ(PlaceOf(&ICKDXWriteMessage::get_Item), 31u);
}

TEST(WriteMessages, TakeNothingOnceTheyAreRead)
{
    const auto message = NewServerMessage();
    EXPECT_EQ(StateOf(message), 2);
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
    EXPECT_EQ(StateOf(message), 1);
    Pack(message.Get(), 9); // lost
    EXPECT_EQ(message->set_ErrorCode(E_HANDLE), E_UNEXPECTED);
    EXPECT_EQ(message->SetResult(E_HANDLE), E_UNEXPECTED);
    EXPECT_EQ(Append(message, message), E_UNEXPECTED);
    EXPECT_EQ(message->Close(), S_FALSE);
    EXPECT_EQ(CodesIn(message), (Codes{7, 8}));
    EXPECT_EQ(ErrorCodeOf(message), E_FAIL);

    EXPECT_EQ(message->Reset(), S_OK);
    EXPECT_EQ(StateOf(message), 2);
    EXPECT_EQ(CodesIn(message), Codes{});
    EXPECT_EQ(ErrorCodeOf(message), S_OK);
    EXPECT_EQ(ItemOf(read), ItemOf(message));
    EXPECT_EQ(CodesIn(read), (Codes{7, 8}));
}

TEST(WriteMessages, AppendOneAnother)
{
    const auto target = NewServerMessage();
    const auto source = NewServerMessage();
    Pack(target.Get(), 1);
    Pack(source.Get(), 2);
    Pack(source.Get(), 3);
    for (const HRESULT code : {E_FAIL, E_HANDLE})
    {
        EXPECT_EQ(source->set_ErrorCode(code), S_OK);
        EXPECT_EQ(Append(target, source), S_OK);
        EXPECT_EQ(Append(target, NewServerMessage()), S_OK);
        EXPECT_EQ(ErrorCodeOf(target), E_FAIL) << "the first error stays";
    }
    EXPECT_EQ(CodesIn(target), (Codes{1, 2, 3, 2, 3}));
    EXPECT_EQ(CodesIn(source), (Codes{2, 3}));
}

TEST(WriteMessages, TakeOneAnothersBlocksOnAllThreadsAndWhole)
{
    const auto target = NewServerMessage();
    RunOnThreads(4, [&](int iThread) {
        const auto own = NewServerMessage();
        for (int i = 0; i < 10; ++i)
            Pack(own.Get(), static_cast<unsigned>(iThread));
        EXPECT_EQ(Append(target, own), S_OK);
    });
    const Codes codes = CodesIn(target);
    ASSERT_EQ(codes.size(), 40u);
    for (std::size_t i = 0; i < codes.size(); i += 10)
        EXPECT_EQ(std::count(&codes[i], &codes[i] + 10, codes[i]), 10);
}

TEST(WriteMessages, AnswerTheirRequestByItsItem)
{
    Stranger client;
    {
        const auto filled = NewServerMessage(&client);
        Pack(filled.Get(), 5);
        const auto request = ToRead(filled.Get());
        const auto answer = Answer(request, false);
        EXPECT_EQ(ItemOf(answer), &client);
        EXPECT_EQ(CodesIn(answer), Codes{});
        EXPECT_EQ(CodesIn(Answer(request, true)), Codes{5});

        EXPECT_EQ(request->BelongsTo(answer.Get()), S_OK);
        EXPECT_EQ(request->BelongsTo(ToRead(answer.Get()).Get()), S_OK);
        EXPECT_EQ(request->BelongsTo(NewServerMessage().Get()), S_FALSE);
        EXPECT_EQ(request->BelongsTo(&client), E_NOINTERFACE);
        EXPECT_EQ(request->BelongsTo(nullptr), E_POINTER);
    }
    EXPECT_EQ(client.mReferences, 0u);
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
    EXPECT_EQ(message->CopyTo(message.Get()), E_NOINTERFACE);
    EXPECT_EQ(message->CopyTo(nullptr), E_POINTER);

    BYTE bytes[256];
    ULONG read = 0;
    EXPECT_EQ(Given(message, &ICKDXReadMessage::get_BlockStream)->Read(bytes, sizeof(bytes), &read), S_FALSE);
    const auto cut = NewReadMessage(bytes, read - 1);
    EXPECT_EQ(cut->CopyTo(target.Get()), E_INVALIDARG);
    EXPECT_EQ(CodesIn(target), (Codes{1, 2}));
    EXPECT_FALSE(Answer(cut, true, E_INVALIDARG));

    IUnknown* content = target.Get();
    EXPECT_EQ(NewReadMessage(nullptr, 0)->get_Content(&content), S_FALSE);
    EXPECT_EQ(content, nullptr);
    EXPECT_TRUE(Given(message, &ICKDXReadMessage::get_Content));
}

TEST(Messages, SayWhenThereIsNoMemory)
{
    const auto request = NewReadMessage(nullptr, 0);
    for (const int nth : {1, 2})
    {
        Faults::FailNth(Faults::EnumFault::Allocation, nth); // the item, then the message
        EXPECT_FALSE(NewServerMessage());
        Faults::FailNth(Faults::EnumFault::Allocation, nth);
        EXPECT_FALSE(NewReadMessage(nullptr, 0));
    }
    Faults::FailNth(Faults::EnumFault::Allocation, 1);
    EXPECT_FALSE(NewChannel([](ICKDXReadMessage*) { return S_OK; }));
    Faults::FailNth(Faults::EnumFault::Allocation, 1);
    EXPECT_FALSE(Answer(request, false, E_OUTOFMEMORY));
    Faults::FailNth(Faults::EnumFault::Allocation, 1);
    ICKDXReadBlockStream* stream = nullptr;
    EXPECT_EQ(request->get_BlockStream(&stream), E_OUTOFMEMORY);
}

TEST(Channels, DeliverWhatAServerMessageIsWhenItIsSent)
{
    Codes received;
    PtrI<ICKDXReadMessage> kept;
    const auto channel = NewChannel([&](ICKDXReadMessage* iMessage) {
        kept = PtrI<ICKDXReadMessage>(iMessage);
        received = CodesIn(kept);
        return S_FALSE;
    });
    const auto message = NewServerMessage();
    for (const unsigned code : {0x80043018, 0x43094u})
    {
        Pack(message.Get(), code);
        EXPECT_EQ(message->SetResult(static_cast<HRESULT>(code)), S_OK);
        EXPECT_EQ(message->Send(channel.Get()), S_FALSE);
        EXPECT_EQ(message->Reset(), S_OK);
        EXPECT_EQ(received, Codes{code});
        EXPECT_EQ(ErrorCodeOf(kept), static_cast<HRESULT>(code));
    }
    EXPECT_EQ(ItemOf(kept), ItemOf(message));
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
    EXPECT_EQ(channel->Send(nullptr), E_POINTER);
    EXPECT_EQ(NewServerMessage()->Send(channel.Get()), E_HANDLE);
    EXPECT_EQ(NewChannel(nullptr)->Send(message.Get()), E_HANDLE);

    const auto throwing = NewChannel([](ICKDXReadMessage*) -> HRESULT { throw E_HANDLE; });
    EXPECT_EQ(NewServerMessage()->Send(throwing.Get()), E_FAIL);
}
