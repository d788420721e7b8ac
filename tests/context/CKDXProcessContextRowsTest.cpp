// Tests of all rows of the process context: the initial value, the stored value, the code for a null pointer, and that
// no other field changes.
#include "tests/context/ContextFakes.h"
#include "tests/support/Threads.h"

#include <atomic>
#include <concepts>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace
{

using C = CKDXProcessContext;

constexpr GUID cGuid = {0x12345678, 0x1234, 0x5678, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr HRESULT cUnchecked = E_NOTIMPL; ///< the getter takes no null pointer
constexpr const char* cNull = "0 null";
constexpr const char* cNullGuid = "0 {00000000-0000-0000-0000-000000000000}";

FakeObjectO gObject;
FakeHandle gHandle;
const OwnedBstr gText(QORJOB_W("text"));

std::string Text(std::integral auto iValue) { return std::to_string(iValue); }
std::string Text(const GUID& iValue) { return QBase::ToString(iValue); }

/// A text or an object that was handed out: it is freed or released.
template <class T>
std::string Text(T* iValue)
{
    if constexpr (std::is_same_v<T*, BSTR>)
    {
        OwnedBstr text;
        text.mText = iValue;
        return text.Text();
    }
    else
    {
        const auto given = QBase::PtrI<T>::Adopt(iValue);
        const void* const address = iValue;
        return iValue == nullptr ? "null"
               : address == static_cast<IUnknown*>(&gObject) || address == static_cast<QBase::Counted*>(&gHandle)
                   ? "object"
                   : "unknown";
    }
}

/// The values that the tests store.
struct Sample
{
    operator LONG() const { return 5; }
    operator std::int16_t() const { return 5; }
    operator GUID() const { return cGuid; }
    operator IUnknown*() const { return &gObject; }
    operator QBase::Counted*() const { return &gHandle; }
    operator BSTR() const { return gText.mText; }
    operator const QBase::WCHAR*() const { return gText.mText; }
};

struct Row
{
    const char* mName;
    std::string mDefault;                          ///< what mRead returns for a new context
    std::function<std::string(C&)> mRead;          ///< the getter's code and value
    std::function<HRESULT(C&)> mGetNull = nullptr; ///< the getter with a null pointer; empty when it isn't checked
    HRESULT mGetNullCode = E_POINTER;
    std::function<void(C&)> mPut = nullptr;
    std::string mStored = {};                   ///< what mRead returns then
    std::function<void(C&)> mPutNull = nullptr; ///< of a row of pointers or texts
    bool mbNullRefused = false;
};

template <class T>
Row ReadOnly(const char* iName, HRESULT (QORJOB_STDCALL C::*iGet)(T*), const char* iDefault,
             HRESULT iNullCode = E_POINTER)
{
    Row row{iName, iDefault, [iGet](C& iContext) {
                T value{};
                const HRESULT code = (iContext.*iGet)(&value);
                return std::to_string(code) + " " + Text(value);
            }};
    if (iNullCode != cUnchecked)
        row.mGetNull = [iGet](C& iContext) { return (iContext.*iGet)(nullptr); };
    row.mGetNullCode = iNullCode;
    return row;
}

template <class T, class R, class V>
Row Field(const char* iName, HRESULT (QORJOB_STDCALL C::*iGet)(T*), R (QORJOB_STDCALL C::*iPut)(V),
          const char* iDefault = cNull, HRESULT iNullCode = E_POINTER)
{
    Row row = ReadOnly(iName, iGet, iDefault, iNullCode);
    row.mPut = [iPut](C& iContext) { (iContext.*iPut)(Sample()); };
    row.mStored = std::is_same_v<T, BSTR>   ? "0 \"text\""
                  : std::is_pointer_v<T>    ? "0 object"
                  : std::is_same_v<T, GUID> ? "0 " + Text(cGuid)
                                            : "0 5";
    if constexpr (std::is_pointer_v<V>)
        row.mPutNull = [iPut](C& iContext) { (iContext.*iPut)(nullptr); };
    return row;
}

Row NotNull(const char* iName, HRESULT (QORJOB_STDCALL C::*iGet)(IUnknown**),
            HRESULT (QORJOB_STDCALL C::*iPut)(IUnknown*))
{
    Row row = Field(iName, iGet, iPut);
    row.mPutNull = [iPut](C& iContext) { EXPECT_EQ((iContext.*iPut)(nullptr), E_POINTER); };
    row.mbNullRefused = true;
    return row;
}

/// A row whose getter doesn't return the stored value itself.
Row Stored(Row iRow, const char* iStored)
{
    iRow.mStored = iStored;
    return iRow;
}

#define FIELD(Name) #Name, &C::get_##Name, &C::put_##Name

// clang-format off
std::vector<Row> AllRows()
{
    const std::string noText = std::to_string(E_POINTER) + " null";
    return {
        Field(FIELD(RequestCode), "0 -1"), Field(FIELD(LongA), "0 -1"), Field(FIELD(LongB), "0 -1"),
        Field(FIELD(LongD), "0 0"), Field(FIELD(LongE), "0 -2"), Field(FIELD(LongF), "0 0"), Field(FIELD(LongG), "0 0"),
        Field(FIELD(LongH), "0 0"), Field(FIELD(LongI), "0 0"), Field(FIELD(LongJ), "0 0"), Field(FIELD(LongK), "0 0"),
        Field(FIELD(LongM), "0 0"), Field(FIELD(LimitA), "0 999"), Field(FIELD(LimitB), "0 999"),
        Field(FIELD(UserContextLogFlag), "0 0"), Field(FIELD(LevelA), "0 0", E_INVALIDARG), Field(FIELD(ShortA), "0 0"),
        Field(FIELD(ShortB), "0 0"), Stored(Field(FIELD(FlagA), "0 -1", E_INVALIDARG), "0 0"),
        ReadOnly("RequestID", &C::get_RequestID, cNullGuid), ReadOnly("GuidF", &C::get_GuidF, cNullGuid, E_INVALIDARG),
        Field(FIELD(GuidA), cNullGuid), Field(FIELD(GuidB), cNullGuid), Field(FIELD(GuidC), cNullGuid),
        Field(FIELD(GuidD), cNullGuid), Field(FIELD(GuidE), cNullGuid, cUnchecked),
        Field(FIELD(GuidG), cNullGuid, cUnchecked), ReadOnly("GuidCount", &C::GetGuidCount, "0 0"),
        ReadOnly("InMessage", &C::get_InMessage, "0 null"), ReadOnly("OutMessage", &C::get_OutMessage, "0 null"),
        ReadOnly("ContextObjectD", &C::get_ContextObjectD, "0 null"), NotNull(FIELD(ContextObjectA)),
        NotNull(FIELD(ContextObjectB)), NotNull(FIELD(ContextObjectC)), NotNull(FIELD(ContextObjectE)),
        Field(FIELD(ContextObjectF)), Field(FIELD(ContextObjectG)), Field(FIELD(ContextObjectH)),
        Field(FIELD(ContextObjectI)), Field(FIELD(ContextObjectJ)), Field(FIELD(ContextObjectK)),
        Field(FIELD(ContextObjectL)), Field(FIELD(ContextObjectM)), Field(FIELD(ContextObjectN)),
        Field(FIELD(ContextObjectO), "1 null"), Field(FIELD(ContextObjectP), "1 null"), Field(FIELD(ContextObjectQ)),
        Field(FIELD(ContextObjectR), cNull, E_INVALIDARG), Field(FIELD(ContextObjectS), cNull, S_FALSE),
        Field(FIELD(ContextObjectT)), Field(FIELD(ContextObjectU)), Field(FIELD(ContextObjectV)), Field(FIELD(LinkA)),
        Field(FIELD(LinkB)), Field(FIELD(HandleA)), Field(FIELD(HandleB)), Field(FIELD(BstrA), cNull, E_INVALIDARG),
        Field(FIELD(BstrB), cNull, E_INVALIDARG), Field(FIELD(BstrC), cNull, E_INVALIDARG),
        Field(FIELD(BstrD), cNull, E_INVALIDARG), Field(FIELD(BstrE), noText.c_str()),
        Row{"LongL", "0", [](C& iContext) { return Text(iContext.GetLongL()); }, nullptr, S_OK,
            [](C& iContext) { iContext.put_LongL(5); }, "5"},
        Row{"TextB", "0 null", ReadOnly("", &C::get_TextB, "").mRead,
            [](C& iContext) { return iContext.get_TextB(nullptr); }, E_POINTER,
            [](C& iContext) { iContext.put_TextB(QORJOB_W("text")); }, "0 \"text\""},
        Row{"TextC", "", [](C& iContext) { return QBase::WideCharToUTF8(iContext.GetTextC()); }, nullptr, S_OK,
            [](C& iContext) { iContext.put_TextC(QORJOB_W("text")); }, "text",
            [](C& iContext) { iContext.put_TextC(nullptr); }},
    };
}
// clang-format on

#undef FIELD

void ExpectOthersUntouched(const std::vector<Row>& iRows, const Row& iChanged, C& iContext)
{
    for (const Row& other : iRows)
    {
        if (&other != &iChanged)
        {
            EXPECT_EQ(other.mRead(iContext), other.mDefault) << other.mName;
        }
    }
}

TEST(ProcessContextRows, HoldTheirValuesAndChangeNoOtherField)
{
    const std::vector<Row> rows = AllRows();
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.mName);
        {
            const Context context = NewContext();
            EXPECT_EQ(row.mRead(*context.Get()), row.mDefault);
            if (row.mGetNull)
            {
                EXPECT_EQ(row.mGetNull(*context.Get()), row.mGetNullCode);
            }
            if (!row.mPut)
                continue;
            for (int puts = 0; puts < 2; ++puts)
            {
                row.mPut(*context.Get());
                EXPECT_EQ(row.mRead(*context.Get()), row.mStored);
                EXPECT_LE(gObject.mReferences + gHandle.mReferences, 1u);
            }
            ExpectOthersUntouched(rows, row, *context.Get());
            if (row.mPutNull)
            {
                row.mPutNull(*context.Get());
                EXPECT_EQ(row.mRead(*context.Get()), row.mbNullRefused ? row.mStored : row.mDefault);
                ExpectOthersUntouched(rows, row, *context.Get());
            }
            row.mPut(*context.Get());
        }
        EXPECT_EQ(gObject.mReferences, 0u);
        EXPECT_EQ(gHandle.mReferences, 0u);
    }
}

bool IsIn(const char* iNames, const char* iName)
{
    return std::string(iNames).find(std::string(" ") + iName + " ") != std::string::npos;
}

/// Under the thread sanitizer this fails if one of them isn't atomic.
TEST(ProcessContextRows, GiveOneOfTheStoredWordsWhereNoLockIsTaken)
{
    for (const Row& row : AllRows())
    {
        if (!IsIn(" RequestCode UserContextLogFlag LongD LongE LongG LongH LongJ LongL LevelA ", row.mName))
            continue;
        SCOPED_TRACE(row.mName);
        const Context context = NewContext();
        RunOnThreads(2, [&](int iIndex) {
            for (int i = 0; i < 100; ++i)
            {
                if (iIndex == 0)
                    row.mPut(*context.Get());
                const std::string read = row.mRead(*context.Get());
                EXPECT_TRUE(read == row.mStored || (read == row.mDefault && iIndex == 1)) << read;
            }
        });
    }
}

/// Operations that take the lock can't return while another thread holds it. The others must return, or ctest's
/// time-out ends the test.
TEST(ProcessContextRows, TakeTheLockButForPlainSettings)
{
    const char* const getsWithout = " RequestCode UserContextLogFlag TextB TextC LongD LongE LongG LongH LongJ LongL "
                                    "GuidA GuidC GuidD GuidE GuidG LevelA ";
    const char* const putsWithout =
        " UserContextLogFlag TextC LongD LongE LongJ LongL GuidA GuidC GuidD GuidE GuidG LevelA BstrC BstrD ";
    const Context other = NewContext();
    std::string json;
    std::map<std::string, std::string> properties;
    QBase::wstring moved(QORJOB_W("moved"));
    QBase::wstring found;
    GUID guid{};
    LONG value = 0;
    std::vector<std::pair<std::string, std::function<void(C&)>>> locked = {
        {"SetGuidList", [](C& iContext) { iContext.SetGuidList(1, &cGuid); }},
        {"GetGuidList", [&](C& iContext) { iContext.GetGuidList(1, &guid); }},
        {"CopyLogProperties", [&](C& iContext) { iContext.CopyLogProperties(&properties); }},
        {"GetLogMessageInJSON", [&](C& iContext) { iContext.GetLogMessageInJSON(&json); }},
        {"SetLogProperty", [](C& iContext) { iContext.SetLogProperty("a", "b"); }},
        {"ClearLogProperties", [](C& iContext) { iContext.ClearLogProperties(); }},
        {"SetTextByGuid", [](C& iContext) { iContext.SetTextByGuid(cGuid, gText.mText); }},
        {"MoveTextByGuid", [&](C& iContext) { iContext.MoveTextByGuid(cGuid, moved); }},
        {"GetTextByGuid", [&](C& iContext) { iContext.GetTextByGuid(cGuid, found); }},
        {"CopyTextTable", [&](C& iContext) { iContext.CopyTextTable(other.Get()); }},
        {"CopyTextTable of it", [&](C& iContext) { other->CopyTextTable(&iContext); }},
        {"SetRequestIn", [](C& iContext) { iContext.SetRequestIn(1, nullptr, nullptr, nullptr, cGuid); }},
        {"SetRequestOut", [](C& iContext) { iContext.SetRequestOut(1, nullptr, nullptr, nullptr, cGuid); }},
        {"ConvertOutToIn", [](C& iContext) { iContext.ConvertOutToIn(); }},
        {"InMessageQueryA", [](C& iContext) { iContext.InMessageQueryA(&gObject); }},
        {"InMessageQueryB", [](C& iContext) { iContext.InMessageQueryB(&gObject); }},
        {"IsInMessageEmpty", [](C& iContext) { iContext.IsInMessageEmpty(); }},
        {"get_ResolvedName",
         [](C& iContext) {
             OwnedBstr name;
             iContext.get_ResolvedName(&name.mText);
         }},
        {"BeginThreadMessage", [](C& iContext) { iContext.BeginThreadMessage(); }},
    };
    std::vector<std::function<void(C&)>> unlocked = {
        [](C& iContext) { iContext.SetNamedPair(QORJOB_W("a"), 1, 2); },
        [&](C& iContext) { iContext.GetNamedPair(QORJOB_W("a"), &value, &value); },
        [](C& iContext) { iContext.SetBuffer(0, nullptr); },
        [](C& iContext) { iContext.put_SharedHandle(iContext.get_SharedHandle()); },
        [](C& iContext) { iContext.GetGuidARef(); },
    };
    for (const Row& row : AllRows())
    {
        const auto add = [&](const char* iWithout, auto iCall) {
            if (IsIn(iWithout, row.mName))
                unlocked.push_back(iCall);
            else
                locked.emplace_back(row.mName, iCall);
        };
        add(getsWithout, row.mRead);
        if (row.mPut)
            add(putsWithout, row.mPut);
    }
    ASSERT_EQ(unlocked.size(), 5u + 16u + 14u);

    const Context context = NewContext();
    std::atomic<std::size_t> begun{0};
    std::vector<std::atomic<bool>> ended(locked.size());
    std::vector<std::thread> threads;
    context->Lock();
    for (std::size_t call = 0; call < locked.size(); ++call)
        threads.emplace_back([&, call] {
            ++begun;
            locked[call].second(*context.Get());
            ended[call] = true;
        });
    while (begun != locked.size())
        std::this_thread::yield();
    std::thread([&] {
        for (const auto& call : unlocked)
            call(*context.Get());
    }).join();
    for (std::size_t call = 0; call < locked.size(); ++call)
        EXPECT_FALSE(ended[call]) << locked[call].first << " went past the lock";
    context->Unlock();
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
