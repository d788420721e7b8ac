// What becomes of any bytes that come as a message. Either they are a message, and then it packs to the same bytes
// again, or they are refused, and nothing has changed. The checksum keeps a fuzzer out: so the bytes are also taken for
// bodies, a length before each, and packed; of those no part may be missing and no byte may change.
#include "platform/QLogRouter.h"
#include "platform/QMessage.h"
#include "platform/builtin/message/MessageBlocks.h"
#include "tests/fuzz/Fuzz.h"

#include <memory>
#include <span>
#include <vector>

namespace
{

namespace Blocks = Builtin::MessageBlocks;
using Blocks::Bytes;
using QBase::PtrI;

template <class Object>
PtrI<ICKDXReadBlockStream> StreamOf(Object& iMessage)
{
    PtrI<ICKDXReadBlockStream> stream;
    Require(iMessage.get_BlockStream(stream.Receive()) == S_OK);
    return stream;
}

/// Whether the body is an entry.
bool TryEntry(std::span<const BYTE> iBody)
{
    Blocks::Entry entry{.mCode = 7, .mSource = "source", .mArguments = {"argument"}};
    if (Blocks::UnpackEntry(iBody, entry) != S_OK)
    {
        Require(entry.mCode == 7 && entry.mSource == "source" &&
                entry.mArguments == std::vector{std::string("argument")});
        return false;
    }
    const Bytes packed = Blocks::PackEntry(entry.mCode, entry.mSource, entry.mArguments);
    Require(std::equal(packed.begin(), packed.end(), iBody.begin(), iBody.end()));
    return true;
}

/// Reads entry by entry to the end; the number of those that could be read, or nothing if one could not.
bool TryUnpacker(ICKDXReadMessage& iMessage, std::size_t& oEntries)
{
    const PtrI<ICKDXReadBlockStream> stream = StreamOf(iMessage);
    std::unique_ptr<QORMessageUnpacker> entry;
    oEntries = 0;
    do
    {
        if (QORMessageUnpacker::Create(stream.Get(), 0x0407, entry) != S_OK)
        {
            Require(entry == nullptr);
            return false;
        }
        Require(!entry->IsMessageEmpty() || (entry->Build().empty() && entry->GetMessageId() == 0));
        ++oEntries;
    } while (!entry->IsLastMessageInStream());
    return true;
}

/// What of a message is read in any way; whether the blocks are sound.
bool TryMessage(const Bytes& iBytes)
{
    const Bytes kept{1, 2, 3};
    std::vector<Bytes> bodies{kept};
    const bool bSound = Blocks::SplitBlocks(iBytes, bodies) == S_OK;
    Require(bodies.front() == kept && (bSound || bodies.size() == 1));
    bodies.erase(bodies.begin());

    const PtrI<ICKDXReadMessage> message = QMessage::NewReadMessage(iBytes.data(), iBytes.size());
    const PtrI<CKDXServerMessage> copy = QMessage::NewServerMessage();
    Require(message->CopyTo(copy.Get()) == (bSound ? S_OK : E_INVALIDARG));
    Bytes again;
    Require(Blocks::ReadRest(*StreamOf(*copy.Get()).Get(), again) == S_OK);
    Require(again == (bSound ? iBytes : Bytes()));

    bool bEntries = true;
    for (const Bytes& body : bodies)
        bEntries = (body.empty() || TryEntry(body)) && bEntries;
    std::size_t entries = 0;
    const bool bUnpacked = TryUnpacker(*message.Get(), entries);
    QBase::wstring text(QORJOB_W("text"));
    const HRESULT code = QMessage::CKDXWriteMessage::GetErrorsFromMessage(0x0407, copy.Get(), text);
    if (bSound)
    {
        Require(bUnpacked == bEntries && (!bUnpacked || entries == std::max<std::size_t>(bodies.size(), 1)));
        Require((code == S_OK) == bEntries && (bEntries || text == QORJOB_W("text")));
    }
    return bSound;
}

/// Neither copied nor read entry by entry.
void TryDamaged(const Bytes& iBytes)
{
    Require(!TryMessage(iBytes));
    std::size_t entries = 0;
    Require(!TryUnpacker(*QMessage::NewReadMessage(iBytes.data(), iBytes.size()).Get(), entries));
}

/// The bodies that the bytes hold, each behind its length; the last takes what is there.
std::vector<Bytes> CutBodies(std::span<const std::uint8_t> iBytes)
{
    std::vector<Bytes> bodies;
    while (!iBytes.empty())
    {
        const std::size_t length = std::min<std::size_t>(iBytes.front(), iBytes.size() - 1);
        bodies.emplace_back(iBytes.begin() + 1, iBytes.begin() + 1 + static_cast<std::ptrdiff_t>(length));
        iBytes = iBytes.subspan(1 + length);
    }
    return bodies;
}

} // namespace

/// The first two bytes say which byte changes and where it is cut.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iData, std::size_t iSize)
{
    TryMessage(Bytes(iData, iData + iSize));
    if (iSize < 3)
        return 0;

    const std::vector<Bytes> bodies = CutBodies({iData + 2, iSize - 2});
    Bytes packed;
    for (std::size_t left = bodies.size(); const Bytes& body : bodies)
        Blocks::AppendBlock(packed, static_cast<unsigned>(--left), body);
    Require(TryMessage(packed));

    Bytes cut = packed;
    cut.resize(1 + iData[1] * (packed.size() - 2) / 255);
    TryDamaged(cut);
    Bytes longer = packed;
    longer.push_back(iData[1]);
    TryDamaged(longer);
    packed[iData[0] * packed.size() / 256] ^= static_cast<BYTE>(1u << iData[1] % 8);
    TryDamaged(packed);
    return 0;
}
