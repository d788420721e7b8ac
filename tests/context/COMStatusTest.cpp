#include "context/COMStatus.h"

#include "platform/ComObject.h"
#include "platform/builtin/Faults.h"
#include "platform/builtin/Settings.h"
#include "tests/support/Messages.h"
#include "tests/support/RegistryText.h"
#include "tests/support/Threads.h"

#include <functional>
#include <string>
#include <tuple>
#include <vector>

using QBase::PtrI;

namespace
{

const GUID cClassId = {0x5B0C9E4A, 0x7C1D, 0x4E0B, {0x9C, 0x57, 0x2F, 0x6A, 0x1B, 0x3D, 0x8E, 0x61}};
// Has a name while one test runs; the others may run beside it.
const GUID cNamedClassId = {0x5B0C9E4A, 0x7C1D, 0x4E0B, {0x9C, 0x57, 0x2F, 0x6A, 0x1B, 0x3D, 0x8E, 0x63}};
const GUID cInterfaceId = {0x5B0C9E4A, 0x7C1D, 0x4E0B, {0x9C, 0x57, 0x2F, 0x6A, 0x1B, 0x3D, 0x8E, 0x62}};

constexpr unsigned cCancelled = 0x80043014; // of the catalogue, as the English "The job was cancelled."
constexpr unsigned cFirstId = 0x8004F101;
constexpr unsigned cLastId = 0x8004F102;

/// A reply with one entry for each id; the text of an entry is "text of N".
PtrI<ICKDXReadMessage> Reply(const std::vector<unsigned>& iIds)
{
    const auto written = QMessage::NewServerMessage();
    for (const unsigned id : iIds)
        QORMessagePacker(written.Get(), QORJOB_W("text of %1"), id) << id;
    return ToRead(written.Get());
}

PtrI<ICKDXReadMessage> DamagedReply()
{
    const auto stream = Given(Reply({cFirstId, cLastId}), &ICKDXReadMessage::get_BlockStream);
    char bytes[1000];
    DWORD length = 0;
    EXPECT_EQ(stream->Read(bytes, sizeof(bytes), &length), S_FALSE);
    return QMessage::NewReadMessage(bytes, length - 1);
}

std::string TextOf(IErrorInfo* iInfo, decltype(&IErrorInfo::GetSource) iGetter)
{
    BSTR text = nullptr;
    EXPECT_EQ((iInfo->*iGetter)(&text), S_OK);
    std::string narrow = text == nullptr ? "" : QBase::WideCharToUTF8(text);
    SysFreeString(text);
    return narrow;
}

/// "description|source|help file|help context" of an error for the tests' interface; "none" for null.
std::string Read(IErrorInfo* iInfo)
{
    if (iInfo == nullptr)
        return "none";
    GUID interfaceId = GUID_NULL;
    DWORD helpContext = 0;
    iInfo->GetGUID(&interfaceId);
    iInfo->GetHelpContext(&helpContext);
    EXPECT_EQ(QBase::ToString(interfaceId), QBase::ToString(cInterfaceId));
    return TextOf(iInfo, &IErrorInfo::GetDescription) + "|" + TextOf(iInfo, &IErrorInfo::GetSource) + "|" +
           TextOf(iInfo, &IErrorInfo::GetHelpFile) + "|" + std::to_string(helpContext);
}

/// The calling thread's error, which is removed.
std::string TakeError()
{
    IErrorInfo* found = nullptr;
    GetErrorInfo(0, &found);
    return Read(PtrI<IErrorInfo>::Adopt(found).Get());
}

class COMStatus : public testing::Test
{
protected:
    COMStatus() { SetErrorInfo(0, nullptr); }

    ~COMStatus() override
    {
        Builtin::Settings::SetProcessLanguageID(0x409);
        Builtin::Settings::SetThreadLanguageID(0);
    }

    HRESULT Set(ICKDXReadMessage* iReply, ICreateErrorInfo* iCreator = nullptr)
    {
        return SetCOMStatus(iReply, mClassId, cInterfaceId, iCreator, &mStatus);
    }

    GUID mClassId = cClassId;
    HRESULT mStatus = 77;
};

/// A message without a stream, or one that throws.
class StreamlessMessage final : public ICKDXReadMessage
{
public:
    HRESULT QORJOB_STDCALL QueryInterface(const GUID&, void**) override { return E_NOINTERFACE; }
    DWORD QORJOB_STDCALL AddRef() override { return 1; }
    DWORD QORJOB_STDCALL Release() override { return 1; }
    HRESULT QORJOB_STDCALL CopyTo(IUnknown*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_BlockStream(ICKDXReadBlockStream**) override
    {
        mOnCall();
        return S_OK;
    }
    HRESULT QORJOB_STDCALL BelongsTo(IUnknown*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_Content(IUnknown**) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_Item(IUnknown**) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_ErrorCode(HRESULT*) override { return E_NOTIMPL; }

    std::function<void()> mOnCall = [] {};
};

/// A source with the kernel's texts that keeps what is recorded.
class Source final : public QResource::MessageSource
{
public:
    unsigned AddRef() noexcept override { return 1; }
    unsigned Release() noexcept override { return 1; }
    PtrI<QResource::Bundle> GetResourceBundle() override
    {
        mOnCall();
        return QResource::GetFileBundle(mpBundle);
    }
    void RecordText(const char* iText, unsigned iMessageId, int iReserved1, int iReserved2, int iReserved3) override
    {
        EXPECT_EQ(iReserved1 | iReserved2 | iReserved3, 0);
        mRecord = std::to_string(iMessageId & 0xFFFF) + " " + iText;
    }

    std::function<void()> mOnCall = [] {};
    const char* mpBundle = "Kernel";
    std::string mRecord;
};

} // namespace

TEST_F(COMStatus, IsTheFirstIdWhileTheClientReadsAllTexts)
{
    const auto first = static_cast<HRESULT>(cFirstId);
    const std::string source = "Some.Component";
    const RegistryText progId("HKEY_CLASSES_ROOT\\CLSID\\" + QBase::ToString(cNamedClassId) + "\\ProgID");
    progId.Set(source);
    mClassId = cNamedClassId;
    const std::tuple<std::vector<unsigned>, HRESULT, std::string> rows[] = {
        {{}, 0, ""},
        {{cFirstId, cLastId}, first, "text of 2147807489\ntext of 2147807490"},
    };
    for (const auto& [ids, status, description] : rows)
    {
        EXPECT_EQ(Set(Reply(ids).Get()), status);
        EXPECT_EQ(mStatus, status);
        RunOnThreads(1, [](int) { EXPECT_EQ(TakeError(), "none") << "the error is its thread's own"; });
        EXPECT_EQ(TakeError(), description + "|" + source + "||0");

        ICreateErrorInfo* created = nullptr;
        ASSERT_EQ(CreateErrorInfo(&created), S_OK);
        const auto creator = PtrI<ICreateErrorInfo>::Adopt(created);
        EXPECT_EQ(Set(Reply(ids).Get(), created), status);
        EXPECT_EQ(TakeError(), "none") << "the caller installs his own object";
        EXPECT_EQ(Read(QueryFor<IErrorInfo>(created, IID_IErrorInfo).Get()), description + "|" + source + "||0");
    }
    EXPECT_EQ(SetCOMStatus(Reply({cFirstId}).Get(), cClassId, cInterfaceId, nullptr, nullptr), first);
}

TEST_F(COMStatus, ReportsAReplyThatItCanNotRead)
{
    EXPECT_EQ(Set(nullptr), S_FALSE);
    EXPECT_EQ(TakeError(), "none");

    StreamlessMessage streamless;
    EXPECT_EQ(Set(&streamless), E_UNEXPECTED);
    EXPECT_EQ(TakeError(),
              "UNEXPECTED ERROR in SetCOMStatus:  cannot get ICKDXReadBlockStream interface on input message|||0");
    EXPECT_EQ(Set(DamagedReply().Get()), E_FAIL);
    EXPECT_EQ(TakeError(), "UNEXPECTED ERROR in SetCOMStatus:  QORMessageUnpacker::Create failed|||0");

    streamless.mOnCall = [] { throw QBase::Message("broken"); };
    EXPECT_EQ(Set(&streamless), static_cast<HRESULT>(0x8004308B));
    EXPECT_EQ(mStatus, 77);
}

TEST_F(COMStatus, ReportsOneErrorWithItsHelp)
{
    const auto resource = [](std::uintptr_t iId) { return reinterpret_cast<const QBase::WCHAR*>(iId); };
    const std::tuple<const QBase::WCHAR*, DWORD, const QBase::WCHAR*, HRESULT, HRESULT, const char*> rows[] = {
        {QORJOB_W("text"), 0, QORJOB_W("help"), 0, DISP_E_EXCEPTION, "text|||0"},
        {QORJOB_W("text"), 5, QORJOB_W("help"), S_FALSE, S_FALSE, "text||help|5"},
        {QORJOB_W("text"), 5, nullptr, 0, DISP_E_EXCEPTION, "text|||0"},
        {resource(5), 0, nullptr, E_HANDLE, E_HANDLE, "Unknown Error|||0"},
        {resource(0xFFFF), 0, nullptr, 0, static_cast<HRESULT>(0x8004FFFF), "Unknown Error|||0"},
        {nullptr, 0, nullptr, 0, static_cast<HRESULT>(0x80040000), "Unknown Error|||0"},
    };
    for (const auto& [text, helpContext, helpFile, code, result, error] : rows)
    {
        EXPECT_EQ(ReportErrorInfo(cClassId, text, helpContext, helpFile, cInterfaceId, code), result);
        EXPECT_EQ(TakeError(), error);
    }
}

TEST_F(COMStatus, IsInTheRegistrysLanguage)
{
    const char* const english = "The job was cancelled.";
    const char* const german = "Der Auftrag wurde abgebrochen.";
    Builtin::Settings::SetProcessLanguageID(0x407); // used for messages when no language is asked for
    const auto reply = Reply({cCancelled});
    const auto description = [&] {
        Set(reply.Get());
        const std::string error = TakeError();
        return error.substr(0, error.find('|'));
    };
    {
        const RegistryText vendor("HKEY_LOCAL_MACHINE\\SOFTWARE\\Veltrix");
        vendor.Set("409");
        EXPECT_EQ(description(), german) << "there is no key for the language";
    }
    const RegistryText language("HKEY_LOCAL_MACHINE\\SOFTWARE\\Veltrix\\Language");
    language.Remove();
    EXPECT_EQ(description(), german);

    const std::pair<const char*, const char*> rows[] = {
        {"409", english},      {" 0409 is English", english}, {"407", german}, {"C07", german}, // Austrian
        {"English", english},                                                                   // 0xE: no such language
        {"", english},                                                                          // 0: the default
        {"FFFFFFFF", english}, // beyond 31 bits the value stays at their end
        {"-1", german},        // as good as none
    };
    for (const auto& [value, text] : rows)
    {
        language.Set(value);
        EXPECT_EQ(description(), text) << value;
    }
}

#if !defined(_WIN32) // the system's allocations can't be made to fail

TEST_F(COMStatus, KeepsItsCodeWhenTheObjectCanNotBeMade)
{
    Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, 1);
    EXPECT_EQ(ReportErrorInfo(cClassId, QORJOB_W("text"), 0, nullptr, cInterfaceId, E_HANDLE), E_HANDLE);
    EXPECT_EQ(TakeError(), "none");
}

#endif

TEST_F(COMStatus, FormatsForTheLogInTheProcessesLanguageAndForTheCallerInHisOwn)
{
    QResource::MessageFormatter formatter;
    formatter << "Sales";
    const std::tuple<unsigned, unsigned, const char*, const char*> rows[] = {
        {0, 0x80043018, "12312 The request can't be processed now. It waits for project Sales.",
         "The request can't be processed now. It waits for project Sales."},
        {0x407, cCancelled, "12308 The job was cancelled.", "Der Auftrag wurde abgebrochen."},
        // An id that the bundle doesn't have: its key is looked for.
        {0x407, 1, "1 The job was cancelled.", "Der Auftrag wurde abgebrochen."},
    };
    for (const auto& [threadLanguage, messageId, record, expected] : rows)
    {
        Source source;
        Builtin::Settings::SetThreadLanguageID(threadLanguage);
        QBase::wstring text;
        EXPECT_EQ(FormatMessageText(text, messageId, formatter, "QOR_JOB_CANCELLED", source), S_OK);
        EXPECT_EQ(QBase::WideCharToUTF8(text), expected);
        EXPECT_EQ(source.mRecord, record);
    }

    Source source;
    QBase::wstring text(QORJOB_W("before"));
    source.mpBundle = "no such bundle";
    EXPECT_EQ(FormatMessageText(text, cCancelled, formatter, "", source), S_OK);
    EXPECT_EQ(QBase::WideCharToUTF8(text), "-?- ");
    text = QORJOB_W("before");
    source.mOnCall = [] { throw QBase::Message("broken"); };
    EXPECT_EQ(FormatMessageText(text, cCancelled, formatter, "", source), static_cast<HRESULT>(0x8004308B));
    EXPECT_EQ(QBase::WideCharToUTF8(text), "before");
}
