#include "platform/QLogRouter.h"

#include "platform/QLog.h"
#include "platform/builtin/MessageBlocks.h"
#include "platform/builtin/Settings.h"
#include "platform/builtin/ThreadContextListener.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

using MessageBlocks::Bytes;
using QBase::PtrI;
using QMessage::NewReadMessage;
using QMessage::NewServerMessage;

namespace
{

constexpr unsigned cEnglish = 0x409;
constexpr unsigned cGerman = 0x407;

PtrI<ICKDXReadBlockStream> StreamOf(const Bytes& iBytes)
{
    ICKDXReadBlockStream* stream = nullptr;
    EXPECT_EQ(NewReadMessage(iBytes.data(), iBytes.size())->get_BlockStream(&stream), S_OK);
    return PtrI<ICKDXReadBlockStream>::Adopt(stream);
}

Bytes BytesOf(ICKDXWriteMessage* iMessage)
{
    ICKDXReadBlockStream* stream = nullptr;
    EXPECT_EQ(iMessage->get_BlockStream(&stream), S_OK);
    const auto held = PtrI<ICKDXReadBlockStream>::Adopt(stream);
    Bytes bytes;
    EXPECT_EQ(MessageBlocks::ReadRest(*stream, bytes), S_OK);
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

std::string ErrorsOf(ICKDXWriteMessage* iMessage, unsigned iLocale)
{
    QBase::wstring text;
    EXPECT_EQ(QMessage::CKDXWriteMessage::GetErrorsFromMessage(iLocale, iMessage, text), S_OK);
    return QBase::WideCharToUTF8(text);
}

/// An entry without arguments.
void Pack(ICKDXWriteMessage* iMessage, unsigned iCode) { const QORMessagePacker packer(iMessage, W("Kernel"), iCode); }

/// Three entries, one of them with much in it.
Bytes SomeBlocks()
{
    const auto message = NewServerMessage();
    QORMessagePacker(message.Get(), W("Kernel"), 0x8004308E) << "Op" << 7 << "text";
    Pack(message.Get(), 0x43094);
    QORMessagePacker(message.Get(), W("Server"), 0x8004FE0F) << std::string_view(std::string(300, 'x'));
    return BytesOf(message.Get());
}

} // namespace

TEST(Packers, CarryEachKindOfArgument)
{
    const WCHAR* const noText = nullptr;
    const auto message = NewServerMessage();
    {
        QORMessagePacker packer(message.Get(), W("%1|%2|%3|%4|%5|%6|%7|%8|%9|%10|%11|%12|%13|%14|%15"), 42);
        packer << true << -5 << 5u << -6L << 7ul << std::numeric_limits<long long>::min() << ~0ull << 0.5
               << W("Gr\u00F6\u00DFe") << noText << "narrow" << reinterpret_cast<const void*>(std::uintptr_t{0xBEEF})
               << GUID{} << QLog::Format::Hex << 31 << QLog::Format::WideHex << 31;
        EXPECT_EQ(BytesOf(message.Get()).size(), 0u); // written at its end
    }
    std::vector<std::string> texts;
    EXPECT_EQ(Unpack(BytesOf(message.Get()), cEnglish, texts), S_OK);
    EXPECT_EQ(texts, std::vector<std::string>{"true|-5|5|-6|7|-9223372036854775808|18446744073709551615|0.5|"
                                              "Gr\xC3\xB6\xC3\x9F"
                                              "e||narrow|0xBEEF|{00000000-0000-0000-0000-000000000000}|0x1F|"
                                              "0x0000001F"});
}

TEST(Packers, WriteTheirEntryThroughTheirBaseToo)
{
    const auto message = NewServerMessage();
    std::unique_ptr<QResource::MessageFormatter> packer =
        std::make_unique<QORMessagePacker>(message.Get(), W("Kernel"), 0x80043018);
    *packer << "Sales";
    packer.reset();
    EXPECT_EQ(ErrorsOf(message.Get(), cEnglish), "The request can't be processed now. It waits for project Sales.");
    QORMessagePacker(nullptr, nullptr, 1) << "goes nowhere";
}

TEST(Unpackers, FindTheTextByCodeAndSource)
{
    const struct
    {
        const WCHAR* mpSource;
        unsigned mCode;
        const char* mpText;
    } rows[] = {
        {W("Kernel"), 0x8000FE24, "Job 7 needs more memory than its limit of seven MB allows."},
        {W("Server"), 0x8004FE0F, "The task was aborted."},
        {W("Kernel"), 0x8004FE0F, "The task was aborted."}, // another bundle's
        {W("Engine"), 0x80043014, "The job was cancelled."},
        {W("Rows of %2: %1"), 42, "Rows of seven: 7"}, // the source is the template
        {W("Kernel"), 0x80041234, "-?- 0x80041234: 7, seven"},
        {W(""), 42, "-?- 0x0000002A: 7, seven"},
        {nullptr, 42, "-?- 0x0000002A: 7, seven"},
    };
    for (const auto& row : rows)
    {
        const auto message = NewServerMessage();
        QORMessagePacker(message.Get(), row.mpSource, row.mCode) << 7 << "seven";
        EXPECT_EQ(ErrorsOf(message.Get(), cEnglish), row.mpText);
    }
}

TEST(Unpackers, SpeakTheLanguageThatTheyAreGiven)
{
    const auto message = NewServerMessage();
    Pack(message.Get(), 0x80043014);
    const Bytes bytes = BytesOf(message.Get());
    const struct
    {
        unsigned mLanguage;
        const char* mpText;
    } rows[] = {
        {cEnglish, "The job was cancelled."},
        {cGerman, "Der Auftrag wurde abgebrochen."},
        {0x0C07, "Der Auftrag wurde abgebrochen."}, // Austrian
        {0x040C, "The job was cancelled."},
        {0, "The job was cancelled."},
        {QORMessageUnpacker::cNoLanguage, "Der Auftrag wurde abgebrochen."}, // the process's
    };
    Settings::SetProcessLanguageID(cGerman);
    std::vector<std::string> texts;
    for (const auto& row : rows)
    {
        EXPECT_EQ(Unpack(bytes, row.mLanguage, texts), S_OK);
        EXPECT_EQ(texts, std::vector<std::string>{row.mpText});
    }
    Settings::SetProcessLanguageID(cEnglish);
    EXPECT_EQ(ErrorsOf(message.Get(), 0x00010407), "Der Auftrag wurde abgebrochen."); // a locale: its low 16 bits
}

TEST(Unpackers, ReadAMessageWithoutBlocksAsAnEmptyOne)
{
    const PtrI<ICKDXReadBlockStream> stream = StreamOf({});
    std::unique_ptr<QORMessageUnpacker> entry;
    ASSERT_EQ(QORMessageUnpacker::Create(stream.Get(), cEnglish, entry), S_OK);
    EXPECT_TRUE(entry->IsMessageEmpty());
    EXPECT_TRUE(entry->IsLastMessageInStream());
    EXPECT_EQ(entry->GetMessageId(), 0u);
    EXPECT_EQ(entry->Build(), "");
    EXPECT_EQ(QORMessageUnpacker::Create(nullptr, cEnglish, entry), E_POINTER);
    EXPECT_EQ(entry, nullptr);
    EXPECT_EQ(ErrorsOf(NewServerMessage().Get(), cEnglish), "");
}

TEST(Unpackers, TellAnEmptyBlockFromAnEntry)
{
    Bytes bytes;
    MessageBlocks::AppendBlock(bytes, 1, {});
    MessageBlocks::AppendBlock(bytes, 0, MessageBlocks::PackEntry(42, "last", {}));
    const PtrI<ICKDXReadBlockStream> stream = StreamOf(bytes);
    std::unique_ptr<QORMessageUnpacker> entry;
    ASSERT_EQ(QORMessageUnpacker::Create(stream.Get(), cEnglish, entry), S_OK);
    EXPECT_TRUE(entry->IsMessageEmpty());
    EXPECT_FALSE(entry->IsLastMessageInStream());
    ASSERT_EQ(QORMessageUnpacker::Create(stream.Get(), cEnglish, entry), S_OK);
    EXPECT_FALSE(entry->IsMessageEmpty());
    EXPECT_TRUE(entry->IsLastMessageInStream());
    EXPECT_EQ(QORMessageUnpacker::Create(stream.Get(), cEnglish, entry), E_INVALIDARG); // there is no more

    const auto message = NewServerMessage();
    EXPECT_EQ(message->AppendBlocks(bytes.data(), bytes.size()), S_OK);
    EXPECT_EQ(ErrorsOf(message.Get(), cEnglish), "last");
}

TEST(Unpackers, RefuseAStreamCutAnywhere)
{
    const Bytes whole = SomeBlocks();
    std::vector<std::string> texts;
    ASSERT_EQ(Unpack(whole, cEnglish, texts), S_OK);
    ASSERT_EQ(texts.size(), 3u);
    for (std::size_t length = 1; length < whole.size(); ++length)
    {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(Unpack(cut, cEnglish, texts), E_INVALIDARG) << length;
        EXPECT_LT(texts.size(), 3u);
        EXPECT_EQ(NewServerMessage()->AppendBlocks(cut.data(), cut.size()), E_INVALIDARG) << length;
    }
    Bytes longer = whole;
    longer.push_back(0);
    EXPECT_EQ(Unpack(longer, cEnglish, texts), E_INVALIDARG);
    EXPECT_EQ(NewServerMessage()->AppendBlocks(longer.data(), longer.size()), E_INVALIDARG);
}

TEST(Unpackers, RefuseADamagedByteAnywhere)
{
    const Bytes whole = SomeBlocks();
    std::vector<std::string> texts;
    for (std::size_t place = 0; place < whole.size(); ++place)
    {
        for (const BYTE mask : {0x01, 0x80, 0xFF})
        {
            Bytes damaged = whole;
            damaged[place] ^= mask;
            EXPECT_EQ(Unpack(damaged, cEnglish, texts), E_INVALIDARG) << place;
            EXPECT_EQ(NewServerMessage()->AppendBlocks(damaged.data(), damaged.size()), E_INVALIDARG) << place;
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
        MessageBlocks::AppendBlock(bytes, 0, body);
        EXPECT_EQ(Unpack(bytes, cEnglish, texts), E_INVALIDARG) << &body - bodies;
    }
}

TEST(Unpackers, SurviveNoise)
{
    std::mt19937 random(20261121); // the same noise each time
    std::vector<std::string> texts;
    const Bytes whole = SomeBlocks();
    for (int round = 0; round < 5'000; ++round)
    {
        // A body of noise in a good block, and a good row of blocks with a piece moved in it.
        Bytes body(random() % 64);
        for (BYTE& value : body)
            value = static_cast<BYTE>(random() % 4 == 0 ? random() : random() % 3);
        Bytes bytes;
        MessageBlocks::AppendBlock(bytes, 0, body);
        Unpack(bytes, cEnglish, texts);

        Bytes moved = whole;
        const std::size_t from = random() % moved.size();
        const std::size_t length = random() % (moved.size() - from);
        const std::size_t to = random() % (moved.size() - length);
        std::copy_n(whole.begin() + static_cast<std::ptrdiff_t>(from), length,
                    moved.begin() + static_cast<std::ptrdiff_t>(to));
        EXPECT_EQ(Unpack(moved, cEnglish, texts), moved == whole ? S_OK : E_INVALIDARG);
    }
}

TEST(ThreadContexts, TellTheirListenerInTheirThread)
{
    std::vector<DWORD> threads;
    ThreadContextListener::Set([&] { threads.push_back(QBase::GetCurrentThreadID()); });
    QLogRouter::RefreshCurrentThreadContext();
    ThreadContextListener::Set({});
    QLogRouter::RefreshCurrentThreadContext();
    EXPECT_EQ(threads, std::vector<DWORD>{QBase::GetCurrentThreadID()});
}
