#include "platform/QLogRouter.h"

#include "platform/builtin/Texts.h"
#include "platform/builtin/base/CountedObject.h"
#include "platform/builtin/message/MessageBlocks.h"
#include "tests/support/Messages.h"

#include <string>
#include <tuple>
#include <vector>

using Builtin::MessageBlocks::Bytes;
using QBase::PtrI;
using QMessage::NewReadMessage;
using QMessage::NewServerMessage;

namespace
{

constexpr unsigned cEnglish = 0x409;

PtrI<ICKDXReadBlockStream> StreamOf(const Bytes& iBytes)
{
    return Given(NewReadMessage(iBytes.data(), iBytes.size()), &ICKDXReadMessage::get_BlockStream);
}

Bytes BytesOf(const PtrI<CKDXServerMessage>& iMessage)
{
    Bytes bytes;
    EXPECT_EQ(Builtin::MessageBlocks::ReadRest(*Given(iMessage, &CKDXServerMessage::get_BlockStream).Get(), bytes),
              S_OK);
    return bytes;
}

/// Reads all messages of the stream as its users do. Gives the code that ended it, and the texts that came before.
HRESULT Unpack(const Bytes& iBytes, unsigned iLanguage, std::vector<std::string>& oTexts)
{
    const PtrI<ICKDXReadBlockStream> stream = StreamOf(iBytes);
    std::unique_ptr<QORMessageUnpacker> entry;
    oTexts.clear();
    do
    {
        const HRESULT code = QORMessageUnpacker::Create(stream.Get(), iLanguage, entry);
        if (FAILED(code))
        {
            EXPECT_EQ(entry, nullptr);
            return code;
        }
        oTexts.push_back(entry->Build());
    } while (!entry->IsLastMessageInStream());
    return S_OK;
}

std::string ErrorsOf(const PtrI<CKDXServerMessage>& iMessage, unsigned iLocale = cEnglish)
{
    QBase::wstring text;
    EXPECT_EQ(QMessage::CKDXWriteMessage::GetErrorsFromMessage(iLocale, iMessage.Get(), text), S_OK);
    return QBase::WideCharToUTF8(text);
}

/// Tells of bytes that it doesn't give.
class Liar final : public Builtin::CountedObject<ICKDXReadBlockStream, IID_ICKDXReadBlockStream>
{
public:
    explicit Liar(HRESULT iCode) : mCode(iCode) {}
    HRESULT QORJOB_STDCALL Read(void*, DWORD, DWORD* oRead) override { return *oRead = 0, mCode; }
    HRESULT QORJOB_STDCALL GetPosition(std::uint64_t* oPosition, std::uint64_t* oSize) override
    {
        return *oPosition = 0, *oSize = 100, S_OK;
    }

private:
    const HRESULT mCode;
};

/// Three entries, one of them with much in it.
Bytes SomeBlocks()
{
    const auto message = NewServerMessage();
    QORMessagePacker(message.Get(), QORJOB_W("Kernel"), 0x8004308E) << "Op" << 7 << "text";
    Pack(message.Get(), 0x43094);
    QORMessagePacker(message.Get(), QORJOB_W("Server"), 0x8004FE0F) << std::string_view(std::string(300, 'x'));
    return BytesOf(message);
}

} // namespace

TEST(Unpackers, FindTheTextByCodeAndSource)
{
    [[maybe_unused]] static const bool bOnce = [] { // the test may be repeated
        Builtin::Texts::Add("language 0x0409\nbundle Unpackers\n0x8004FE0F ABORTED Ours.", "English");
        return true;
    }();
    const std::tuple<const QBase::WCHAR*, unsigned, const char*> rows[] = {
        {QORJOB_W("Kernel"), 0x8000FE24, "Job 7 needs more memory than its limit of seven MB allows."},
        {QORJOB_W("Kernel"), 0x8004FE0F, "The task was aborted."}, // another bundle's
        {QORJOB_W("Unpackers"), 0x8004FE0F, "Ours."},
        {QORJOB_W("Rows of %2: %1"), 42, "Rows of seven: 7"}, // the source is the template
        {QORJOB_W("Kernel"), 0x80041234, "-?- 0x80041234: 7, seven"},
        {QORJOB_W(""), 42, "-?- 0x0000002A: 7, seven"},
    };
    for (const auto& [source, code, text] : rows)
    {
        const auto message = NewServerMessage();
        QORMessagePacker(message.Get(), source, code) << 7 << "seven";
        EXPECT_EQ(ErrorsOf(message), text);
    }
    QORMessagePacker(nullptr, nullptr, 1) << "goes nowhere";
    const auto message = NewServerMessage();
    Pack(message.Get(), 0x80043014);
    EXPECT_EQ(ErrorsOf(message, 0x00010407), "Der Auftrag wurde abgebrochen."); // a locale: its low 16 bits
}

TEST(Unpackers, TellEmptyOnesFromEntries)
{
    Bytes bytes;
    Builtin::MessageBlocks::AppendBlock(bytes, 2, {});
    Builtin::MessageBlocks::AppendBlock(bytes, 1, Builtin::MessageBlocks::PackEntry(42, "entry", {}));
    Builtin::MessageBlocks::AppendBlock(bytes, 0, {});
    PtrI<ICKDXReadBlockStream> stream = StreamOf(bytes);
    std::unique_ptr<QORMessageUnpacker> entry;
    for (const int follow : {2, 1, 0})
    {
        ASSERT_EQ(QORMessageUnpacker::Create(stream.Get(), cEnglish, entry), S_OK);
        EXPECT_EQ(entry->IsMessageEmpty(), follow != 1);
        EXPECT_EQ(entry->IsLastMessageInStream(), follow == 0);
    }
    EXPECT_EQ(QORMessageUnpacker::Create(stream.Get(), cEnglish, entry), E_INVALIDARG); // there is no more

    for (const HRESULT code : {S_OK, E_HANDLE})
    {
        stream = PtrI<ICKDXReadBlockStream>::Adopt(new Liar(code));
        EXPECT_EQ(QORMessageUnpacker::Create(stream.Get(), cEnglish, entry), code == S_OK ? E_INVALIDARG : code);
        EXPECT_EQ(Builtin::MessageBlocks::ReadRest(*stream.Get(), bytes), code == S_OK ? E_INVALIDARG : code);
    }
    stream = StreamOf({});
    ASSERT_EQ(QORMessageUnpacker::Create(stream.Get(), cEnglish, entry), S_OK);
    EXPECT_TRUE(entry->IsMessageEmpty());
    EXPECT_TRUE(entry->IsLastMessageInStream());
}

TEST(Unpackers, RefuseAStreamThatIsCutOrDamagedAnywhere)
{
    const Bytes whole = SomeBlocks();
    std::vector<std::string> texts;
    ASSERT_EQ(Unpack(whole, cEnglish, texts), S_OK);
    ASSERT_EQ(texts.size(), 3u);
    const auto expectRefused = [&](const Bytes& iBytes, std::size_t iPlace) {
        EXPECT_EQ(Unpack(iBytes, cEnglish, texts), E_INVALIDARG) << iPlace;
        EXPECT_EQ(NewServerMessage()->AppendBlocks(iBytes.data(), iBytes.size()), E_INVALIDARG) << iPlace;
    };
    Bytes longer = whole;
    longer.push_back(0);
    expectRefused(longer, whole.size());
    for (std::size_t place = 0; place < whole.size(); ++place)
    {
        if (place != 0)
            expectRefused({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(place)}, place);
        for (const BYTE mask : {0x01, 0x80, 0xFF})
        {
            Bytes damaged = whole;
            damaged[place] ^= mask;
            expectRefused(damaged, place);
        }
    }
}

TEST(Unpackers, StayInsideABodyWhoseNumbersLie)
{
    // The checksum fits here, so that the body itself is looked at. Each row: a code, the source's length and text, the
    // count of arguments, their lengths and texts.
    const Bytes bodies[] = {
        {1},                                                          // cut in the code
        {1, 0, 0, 0},                                                 // no source
        {1, 0, 0, 0, 2, 0, 0, 0, 'x'},                                // a source longer than the body
        {1, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 'x'},                    //
        {1, 0, 0, 0, 1, 0, 0, 0, 'x'},                                // no count
        {1, 0, 0, 0, 1, 0, 0, 0, 'x', 1, 0, 0, 0},                    // no argument
        {1, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}, // more arguments than could be
        {1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0},             // an argument longer than the body
        {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9},                      // one byte too many
    };
    std::vector<std::string> texts;
    for (const Bytes& body : bodies)
    {
        Bytes bytes;
        Builtin::MessageBlocks::AppendBlock(bytes, 0, body);
        EXPECT_EQ(Unpack(bytes, cEnglish, texts), E_INVALIDARG) << &body - bodies;
    }
}
