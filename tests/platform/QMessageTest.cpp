#include "platform/QMessage.h"

#include "platform/QLogRouter.h"
#include "platform/builtin/EventTrace.h"
#include "platform/builtin/Faults.h"
#include "tests/support/OperationPlace.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

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

void Pack(ICKDXWriteMessage* iMessage, unsigned iCode, const char* iArgument)
{
    QORMessagePacker(iMessage, W("Test"), iCode) << iArgument;
}

template <class Message>
PtrI<ICKDXReadBlockStream> StreamOf(Message* iMessage)
{
    ICKDXReadBlockStream* stream = nullptr;
    EXPECT_EQ(iMessage->get_BlockStream(&stream), S_OK);
    return PtrI<ICKDXReadBlockStream>::Adopt(stream);
}

template <class Message>
PtrI<IUnknown> ItemOf(Message* iMessage)
{
    IUnknown* item = nullptr;
    EXPECT_EQ(iMessage->get_Item(&item), S_OK);
    return PtrI<IUnknown>::Adopt(item);
}

template <class Message>
HRESULT ErrorCodeOf(Message* iMessage)
{
    HRESULT code = E_NOTIMPL;
    EXPECT_EQ(iMessage->get_ErrorCode(&code), S_OK);
    return code;
}

int StateOf(ICKDXWriteMessage* iMessage)
{
    int state = 0;
    EXPECT_EQ(iMessage->get_State(&state), S_OK);
    return state;
}

/// The codes of the entries that the message holds.
template <class Message>
std::vector<unsigned> CodesIn(Message* iMessage)
{
    const PtrI<ICKDXReadBlockStream> stream = StreamOf(iMessage);
    std::vector<unsigned> codes;
    std::unique_ptr<QORMessageUnpacker> entry;
    do
    {
        if (QORMessageUnpacker::Create(stream.Get(), QORMessageUnpacker::cNoLanguage, entry) != S_OK)
            return {~0u};
        if (!entry->IsMessageEmpty())
            codes.push_back(entry->GetMessageId());
    } while (!entry->IsLastMessageInStream());
    return codes;
}

PtrI<ICKDXReadMessage> Read(ICKDXWriteMessage* iMessage)
{
    ICKDXReadMessage* read = nullptr;
    EXPECT_EQ(QMessage::CKDXWriteMessage::ToReadMessage(iMessage, &read), S_OK);
    return PtrI<ICKDXReadMessage>::Adopt(read);
}

PtrI<ICKDXWriteMessage> Answer(ICKDXReadMessage* iMessage, bool ibWithBlocks)
{
    ICKDXWriteMessage* answer = nullptr;
    EXPECT_EQ(QMessage::CKDXReadMessage::NewWriteMessageNotGoverned(iMessage, ibWithBlocks, &answer), S_OK);
    return PtrI<ICKDXWriteMessage>::Adopt(answer);
}

using Codes = std::vector<unsigned>;

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
    EXPECT_GT(PlaceOf(&ICKDXWriteMessage::set_ErrorCode), 31u);
}

TEST(WriteMessages, KeepWhatIsPackedIntoThemInOrder)
{
    const auto message = NewServerMessage();
    EXPECT_EQ(CodesIn(message.Get()), Codes{});
    Pack(message.Get(), 7, "a");
    const auto earlier = StreamOf(message.Get());
    Pack(message.Get(), 8, "b");
    EXPECT_EQ(CodesIn(message.Get()), (Codes{7, 8}));

    std::unique_ptr<QORMessageUnpacker> entry; // a stream is what the message was when it was asked for
    EXPECT_EQ(QORMessageUnpacker::Create(earlier.Get(), 0x409, entry), S_OK);
    EXPECT_TRUE(entry->IsLastMessageInStream());
}

TEST(WriteMessages, TakeNothingOnceTheyAreRead)
{
    const auto message = NewServerMessage();
    EXPECT_EQ(StateOf(message.Get()), 2);
    Pack(message.Get(), 7, "a");
    EXPECT_EQ(message->set_ErrorCode(E_FAIL), S_OK);
    const auto read = Read(message.Get());
    EXPECT_EQ(CodesIn(read.Get()), Codes{7});
    EXPECT_EQ(ErrorCodeOf(read.Get()), E_FAIL);
    EXPECT_EQ(ItemOf(read.Get()).Get(), ItemOf(message.Get()).Get());

    EXPECT_EQ(StateOf(message.Get()), 1);
    Pack(message.Get(), 8, "lost");
    EXPECT_EQ(message->set_ErrorCode(E_HANDLE), E_UNEXPECTED);
    EXPECT_EQ(message->SetResult(E_HANDLE), E_UNEXPECTED);
    EXPECT_EQ(QMessage::CKDXWriteMessage::Append(message.Get(), message.Get()), E_UNEXPECTED);
    EXPECT_EQ(message->Close(), S_FALSE);
    EXPECT_EQ(CodesIn(message.Get()), Codes{7});
    EXPECT_EQ(ErrorCodeOf(message.Get()), E_FAIL);

    EXPECT_EQ(message->Reset(), S_OK);
    EXPECT_EQ(StateOf(message.Get()), 2);
    EXPECT_EQ(CodesIn(message.Get()), Codes{});
    EXPECT_EQ(ErrorCodeOf(message.Get()), S_OK);
    EXPECT_EQ(ItemOf(read.Get()).Get(), ItemOf(message.Get()).Get());
    EXPECT_EQ(CodesIn(read.Get()), Codes{7});
}

TEST(WriteMessages, AppendOneAnother)
{
    const auto target = NewServerMessage();
    const auto source = NewServerMessage();
    Pack(target.Get(), 1, "");
    Pack(source.Get(), 2, "");
    Pack(source.Get(), 3, "");
    EXPECT_EQ(source->set_ErrorCode(E_FAIL), S_OK);
    EXPECT_EQ(QMessage::CKDXWriteMessage::Append(target.Get(), source.Get()), S_OK);
    EXPECT_EQ(CodesIn(target.Get()), (Codes{1, 2, 3}));
    EXPECT_EQ(CodesIn(source.Get()), (Codes{2, 3}));
    EXPECT_EQ(ErrorCodeOf(target.Get()), E_FAIL);

    EXPECT_EQ(source->set_ErrorCode(E_HANDLE), S_OK);
    EXPECT_EQ(QMessage::CKDXWriteMessage::Append(target.Get(), NewServerMessage().Get()), S_OK);
    EXPECT_EQ(QMessage::CKDXWriteMessage::Append(target.Get(), source.Get()), S_OK);
    EXPECT_EQ(ErrorCodeOf(target.Get()), E_FAIL); // the first error stays
    EXPECT_EQ(CodesIn(target.Get()), (Codes{1, 2, 3, 2, 3}));
}

TEST(WriteMessages, TakeOneAnothersBlocksOnAllThreadsAndWhole)
{
    const auto target = NewServerMessage();
    RunOnThreads(4, [&](int iThread) {
        const auto own = NewServerMessage();
        for (int i = 0; i < 10; ++i)
            Pack(own.Get(), static_cast<unsigned>(iThread), "x");
        EXPECT_EQ(QMessage::CKDXWriteMessage::Append(target.Get(), own.Get()), S_OK);
    });
    const Codes codes = CodesIn(target.Get());
    ASSERT_EQ(codes.size(), 40u);
    for (std::size_t i = 0; i < codes.size(); i += 10)
        EXPECT_EQ(std::count(&codes[i], &codes[i] + 10, codes[i]), 10);
}

TEST(WriteMessages, AnswerTheirRequestByItsItem)
{
    Stranger client;
    {
        const auto filled = NewServerMessage(&client);
        Pack(filled.Get(), 5, "");
        const auto request = Read(filled.Get());
        const auto answer = Answer(request.Get(), false);
        EXPECT_EQ(ItemOf(answer.Get()).Get(), &client);
        EXPECT_EQ(CodesIn(answer.Get()), Codes{});
        EXPECT_EQ(CodesIn(Answer(request.Get(), true).Get()), Codes{5});

        EXPECT_EQ(request->BelongsTo(answer.Get()), S_OK);
        EXPECT_EQ(request->BelongsTo(Read(answer.Get()).Get()), S_OK);
        EXPECT_EQ(request->BelongsTo(NewServerMessage().Get()), S_FALSE);
        EXPECT_EQ(request->BelongsTo(NewReadMessage(nullptr, 0).Get()), S_FALSE);
        EXPECT_EQ(request->BelongsTo(&client), E_NOINTERFACE);
        EXPECT_EQ(request->BelongsTo(nullptr), E_POINTER);
    }
    EXPECT_EQ(client.mReferences, 0u);
}

TEST(ReadMessages, SayWhetherTheyAreEmpty)
{
    IUnknown* content = nullptr;
    EXPECT_EQ(NewReadMessage(nullptr, 0)->get_Content(&content), S_FALSE);
    EXPECT_EQ(content, nullptr);

    const auto filled = NewServerMessage();
    Pack(filled.Get(), 5, "");
    EXPECT_EQ(Read(filled.Get())->get_Content(&content), S_OK);
    const auto held = PtrI<IUnknown>::Adopt(content);
    void* stream = nullptr;
    EXPECT_EQ(content->QueryInterface(IID_ICKDXReadBlockStream, &stream), S_OK);
    EXPECT_EQ(static_cast<ICKDXReadBlockStream*>(stream)->Release(), 1u);
}

TEST(ReadMessages, CopyTheirBlocksToAWriteMessageOrNothing)
{
    const auto target = NewServerMessage();
    Pack(target.Get(), 5, "");
    EXPECT_EQ(Read(target.Get())->CopyTo(target.Get()), E_UNEXPECTED); // it is closed
    target->Reset();

    const auto filled = NewServerMessage();
    Pack(filled.Get(), 1, "");
    Pack(filled.Get(), 2, "");
    const auto message = Read(filled.Get());
    EXPECT_EQ(message->CopyTo(target.Get()), S_OK);
    EXPECT_EQ(CodesIn(target.Get()), (Codes{1, 2}));

    Stranger stranger;
    EXPECT_EQ(message->CopyTo(&stranger), E_NOINTERFACE);
    EXPECT_EQ(message->CopyTo(message.Get()), E_NOINTERFACE);
    EXPECT_EQ(message->CopyTo(nullptr), E_POINTER);

    BYTE bytes[256];
    ULONG read = 0;
    EXPECT_EQ(StreamOf(message.Get())->Read(bytes, sizeof(bytes), &read), S_FALSE);
    const auto cut = NewReadMessage(bytes, read - 1);
    EXPECT_EQ(cut->CopyTo(target.Get()), E_INVALIDARG);
    EXPECT_EQ(CodesIn(target.Get()), (Codes{1, 2}));
    ICKDXWriteMessage* answer = target.Get();
    EXPECT_EQ(QMessage::CKDXReadMessage::NewWriteMessageNotGoverned(cut.Get(), true, &answer), E_INVALIDARG);
    EXPECT_EQ(answer, nullptr);
}

TEST(BlockStreams, ReadWhatIsLeftAndSayHowMuch)
{
    const BYTE bytes[] = {1, 2, 3, 4, 5};
    const auto stream = StreamOf(NewReadMessage(bytes, sizeof(bytes)).Get()); // it outlives its message
    BYTE taken[4] = {};
    ULONG read = 0;
    std::uint64_t position = 9;
    std::uint64_t size = 9;
    EXPECT_EQ(stream->Read(taken, 2, &read), S_OK);
    EXPECT_EQ(stream->GetPosition(&position, &size), S_OK);
    EXPECT_EQ(position, 2u);
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(stream->Read(taken, 4, &read), S_FALSE);
    EXPECT_EQ(read, 3u);
    EXPECT_EQ(taken[0], 3);
    EXPECT_EQ(taken[3], 0);
    EXPECT_EQ(stream->Read(nullptr, 0, &read), S_OK);
    EXPECT_EQ(stream->Read(nullptr, 1, &read), E_POINTER);
    EXPECT_EQ(stream->Read(taken, 1, nullptr), E_POINTER);
    EXPECT_EQ(stream->GetPosition(&position, nullptr), E_POINTER);
}

TEST(Messages, RefuseNullOutPointers)
{
    const auto written = NewServerMessage();
    const auto read = NewReadMessage(nullptr, 0);
    ICKDXReadMessage* none = nullptr;
    ICKDXWriteMessage* noneWritten = nullptr;
    QBase::wstring text;
    EXPECT_EQ(written->get_State(nullptr), E_POINTER);
    EXPECT_EQ(written->get_Item(nullptr), E_POINTER);
    EXPECT_EQ(written->get_ErrorCode(nullptr), E_POINTER);
    EXPECT_EQ(written->get_BlockStream(nullptr), E_POINTER);
    EXPECT_EQ(written->AppendBlocks(nullptr, 1), E_POINTER);
    EXPECT_EQ(written->Send(nullptr), E_POINTER);
    EXPECT_EQ(written->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    EXPECT_EQ(read->get_Item(nullptr), E_POINTER);
    EXPECT_EQ(read->get_Content(nullptr), E_POINTER);
    EXPECT_EQ(read->get_ErrorCode(nullptr), E_POINTER);
    EXPECT_EQ(read->get_BlockStream(nullptr), E_POINTER);
    EXPECT_EQ(QMessage::CKDXWriteMessage::ToReadMessage(nullptr, &none), E_POINTER);
    EXPECT_EQ(QMessage::CKDXWriteMessage::ToReadMessage(written.Get(), nullptr), E_POINTER);
    EXPECT_EQ(QMessage::CKDXWriteMessage::Append(nullptr, written.Get()), E_POINTER);
    EXPECT_EQ(QMessage::CKDXWriteMessage::Append(written.Get(), nullptr), E_POINTER);
    EXPECT_EQ(QMessage::CKDXWriteMessage::GetErrorsFromMessage(0x409, nullptr, text), E_POINTER);
    EXPECT_EQ(QMessage::CKDXReadMessage::NewWriteMessageNotGoverned(nullptr, false, &noneWritten), E_POINTER);
    EXPECT_EQ(QMessage::CKDXReadMessage::NewWriteMessageNotGoverned(read.Get(), false, nullptr), E_POINTER);
    EXPECT_EQ(StateOf(written.Get()), 2); // nothing of this closed it
}

TEST(Messages, KnowTheirInterfaces)
{
    const auto written = NewServerMessage();
    for (const GUID& id : {IID_IUnknown, IID_ICKDXWriteMessage, IID_CKDXServerMessage})
    {
        void* asked = nullptr;
        EXPECT_EQ(written->QueryInterface(id, &asked), S_OK);
        EXPECT_EQ(asked, written.Get());
        EXPECT_EQ(written->Release(), 1u);
    }
    void* asked = written.Get();
    EXPECT_EQ(written->QueryInterface(IID_ICKDXReadMessage, &asked), E_NOINTERFACE);
    EXPECT_EQ(asked, nullptr);
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
    ICKDXWriteMessage* answer = nullptr;
    EXPECT_EQ(QMessage::CKDXReadMessage::NewWriteMessageNotGoverned(request.Get(), false, &answer), E_OUTOFMEMORY);
    Faults::FailNth(Faults::EnumFault::Allocation, 1);
    ICKDXReadBlockStream* stream = nullptr;
    EXPECT_EQ(request->get_BlockStream(&stream), E_OUTOFMEMORY);
}

TEST(Channels, DeliverWhatAServerMessageIsWhenItIsSent)
{
    std::vector<Codes> received;
    std::vector<HRESULT> results;
    PtrI<ICKDXReadMessage> kept;
    const auto channel = NewChannel([&](ICKDXReadMessage* iMessage) {
        received.push_back(CodesIn(iMessage));
        results.push_back(ErrorCodeOf(iMessage));
        kept = PtrI<ICKDXReadMessage>(iMessage);
        return S_FALSE;
    });
    const auto message = NewServerMessage();
    Pack(message.Get(), 0x80043018, "Sales");
    EXPECT_EQ(message->SetResult(static_cast<HRESULT>(0x80043018)), S_OK);
    EXPECT_EQ(message->Send(channel.Get()), S_FALSE);
    EXPECT_EQ(message->Reset(), S_OK);
    Pack(message.Get(), 0x43094, "");
    EXPECT_EQ(message->Send(channel.Get()), S_FALSE);

    EXPECT_EQ(received, (std::vector<Codes>{{0x80043018}, {0x43094}}));
    EXPECT_EQ(results, (std::vector<HRESULT>{static_cast<HRESULT>(0x80043018), S_OK}));
    EXPECT_EQ(ItemOf(kept.Get()).Get(), ItemOf(message.Get()).Get());
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

TEST(Channels, AreCountedThroughTheirVirtualBase)
{
    const auto channel = NewChannel([](ICKDXReadMessage*) { return S_OK; });
    QBase::Counted* const counted = channel.Get();
    EXPECT_EQ(counted->AddRef(), 2u);
    EXPECT_EQ(counted->Release(), 1u);
}

TEST(Messages, AreSeenInTheEventTrace)
{
    const auto channel = NewChannel([](ICKDXReadMessage*) { return S_OK; });
    const auto request = NewReadMessage(nullptr, 0);
    EventTrace::Start();
    const auto answer = Answer(request.Get(), false);
    Pack(answer.Get(), 42, "");
    static_cast<CKDXServerMessage*>(answer.Get())->Send(channel.Get());
    Read(answer.Get());
    EXPECT_EQ(EventTrace::Stop(), (std::vector<std::string>{
                                      "QMessage::CKDXReadMessage::NewWriteMessageNotGoverned 0",
                                      "QORMessagePacker 42",
                                      "CKDXServerMessage::Send",
                                      "QORChannel::Send",
                                      "QMessage::CKDXWriteMessage::ToReadMessage",
                                  }));
}
