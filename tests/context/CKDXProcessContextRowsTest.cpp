// All rows of the process context: what a field holds at first, what its setter stores, what a null pointer gives, and
// that no other field changes.
#include "tests/context/ContextFakes.h"

#include <concepts>
#include <string>
#include <thread>
#include <vector>

namespace
{

using C = CKDXProcessContext;

constexpr GUID cGuid = {0x12345678, 0x1234, 0x5678, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr HRESULT cUnchecked = E_NOTIMPL; ///< the getter takes no null pointer
constexpr const char* cNullGuid = "0 {00000000-0000-0000-0000-000000000000}";

FakeObjectO gObject;
FakeHandle gHandle;

std::string Text(std::integral auto iValue) { return std::to_string(iValue); }
std::string Text(const GUID& iValue) { return QBase::ToString(iValue); }

std::string Text(BSTR iValue)
{
    Bstr text;
    text.mText = iValue;
    return text.Text();
}

/// Any pointer that was handed out with a reference.
template <class T>
std::string Text(T* iValue)
{
    const auto given = QBase::PtrI<T>::Adopt(iValue);
    const void* const address = iValue;
    return iValue == nullptr ? "null"
           : address == static_cast<IUnknown*>(&gObject) || address == static_cast<QBase::Counted*>(&gHandle)
               ? "object"
               : "unknown";
}

struct Row
{
    const char* mName;
    std::string mDefault;                          ///< what mRead gives of a new context
    std::function<std::string(C&)> mRead;          ///< the getter's code and value
    std::function<HRESULT(C&)> mGetNull = nullptr; ///< the getter with a null pointer; empty when it isn't checked
    HRESULT mGetNullCode = E_POINTER;
    std::function<void(C&)> mPut = nullptr;
    std::string mStored = {};                   ///< what mRead gives then
    std::function<void(C&)> mPutNull = nullptr; ///< of a row of pointers or texts
    bool mbNullRefused = false;
};

template <class T>
Row ReadOnly(const char* iName, HRESULT (C::*iGet)(T*), const char* iDefault, HRESULT iNullCode = E_POINTER)
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

template <class T, class R>
Row Value(const char* iName, HRESULT (C::*iGet)(T*), R (C::*iPut)(T), T iValue, const char* iDefault,
          HRESULT iNullCode = E_POINTER)
{
    Row row = ReadOnly(iName, iGet, iDefault, iNullCode);
    row.mPut = [=](C& iContext) { (iContext.*iPut)(iValue); };
    row.mStored = "0 " + Text(iValue);
    return row;
}

template <class R>
Row Long(const char* iName, HRESULT (C::*iGet)(LONG*), R (C::*iPut)(LONG), LONG iDefault, HRESULT iNullCode = E_POINTER)
{
    return Value<LONG>(iName, iGet, iPut, 5, ("0 " + Text(iDefault)).c_str(), iNullCode);
}

template <class R>
Row Guid(const char* iName, HRESULT (C::*iGet)(GUID*), R (C::*iPut)(GUID), HRESULT iNullCode = E_POINTER)
{
    return Value<GUID>(iName, iGet, iPut, cGuid, cNullGuid, iNullCode);
}

template <class T, class R>
Row Pointer(const char* iName, HRESULT (C::*iGet)(T**), R (C::*iPut)(T*), T* iObject, HRESULT iNullCode = E_POINTER,
            const char* iDefault = "0 null")
{
    Row row = ReadOnly(iName, iGet, iDefault, iNullCode);
    row.mPut = [=](C& iContext) { (iContext.*iPut)(iObject); };
    row.mStored = "0 object";
    row.mPutNull = [=](C& iContext) { (iContext.*iPut)(nullptr); };
    return row;
}

template <class R>
Row Object(const char* iName, HRESULT (C::*iGet)(IUnknown**), R (C::*iPut)(IUnknown*), HRESULT iNullCode = E_POINTER,
           const char* iDefault = "0 null")
{
    return Pointer<IUnknown>(iName, iGet, iPut, &gObject, iNullCode, iDefault);
}

Row ObjectNotNull(const char* iName, HRESULT (C::*iGet)(IUnknown**), HRESULT (C::*iPut)(IUnknown*))
{
    Row row = Object(iName, iGet, iPut);
    row.mPutNull = [=](C& iContext) { EXPECT_EQ((iContext.*iPut)(nullptr), E_POINTER); };
    row.mbNullRefused = true;
    return row;
}

template <class R>
Row BstrRow(const char* iName, HRESULT (C::*iGet)(BSTR*), R (C::*iPut)(BSTR), HRESULT iNullCode = E_INVALIDARG,
            const char* iDefault = "0 null")
{
    Row row = ReadOnly(iName, iGet, iDefault, iNullCode);
    row.mPut = [=](C& iContext) {
        const Bstr text(W("text"));
        (iContext.*iPut)(text.mText);
    };
    row.mStored = "0 \"text\"";
    row.mPutNull = [=](C& iContext) { (iContext.*iPut)(nullptr); };
    return row;
}

#define FIELD(Name) #Name, &C::get_##Name, &C::put_##Name

// clang-format off
std::vector<Row> AllRows()
{
    const std::string noText = std::to_string(E_POINTER) + " null";
    return {
        Long(FIELD(RequestCode), -1), Long(FIELD(LongA), -1), Long(FIELD(LongB), -1), Long(FIELD(LongD), 0),
        Long(FIELD(LongE), -2), Long(FIELD(LongF), 0), Long(FIELD(LongG), 0), Long(FIELD(LongH), 0),
        Long(FIELD(LongI), 0), Long(FIELD(LongJ), 0), Long(FIELD(LongK), 0), Long(FIELD(LongM), 0),
        Long(FIELD(LimitA), 999), Long(FIELD(LimitB), 999), Long(FIELD(UserContextLogFlag), 0),
        Long(FIELD(LevelA), 0, E_INVALIDARG),
        Row{"LongL", "0", [](C& iContext) { return Text(iContext.GetLongL()); }, nullptr, S_OK, [](C& iContext) { iContext.put_LongL(5); }, "5"},
        Value<std::int16_t>(FIELD(ShortA), -1, "0 0"), Value<std::int16_t>(FIELD(ShortB), -1, "0 0"),
        Value<VARIANT_BOOL>(FIELD(FlagA), VARIANT_FALSE, "0 -1", E_INVALIDARG),
        ReadOnly("RequestID", &C::get_RequestID, cNullGuid), ReadOnly("GuidF", &C::get_GuidF, cNullGuid, E_INVALIDARG),
        Guid(FIELD(GuidA)), Guid(FIELD(GuidB)), Guid(FIELD(GuidC)), Guid(FIELD(GuidD)),
        Guid(FIELD(GuidE), cUnchecked), Guid(FIELD(GuidG), cUnchecked),
        ReadOnly("GuidCount", &C::GetGuidCount, "0 0"), ReadOnly("InMessage", &C::get_InMessage, "0 null"),
        ReadOnly("OutMessage", &C::get_OutMessage, "0 null"), ReadOnly("ContextObjectD", &C::get_ContextObjectD, "0 null"),
        ObjectNotNull(FIELD(ContextObjectA)), ObjectNotNull(FIELD(ContextObjectB)), ObjectNotNull(FIELD(ContextObjectC)),
        ObjectNotNull(FIELD(ContextObjectE)), Object(FIELD(ContextObjectF)), Object(FIELD(ContextObjectG)),
        Object(FIELD(ContextObjectH)), Object(FIELD(ContextObjectI)), Object(FIELD(ContextObjectJ)),
        Object(FIELD(ContextObjectK)), Object(FIELD(ContextObjectL)), Object(FIELD(ContextObjectM)),
        Object(FIELD(ContextObjectN)), Object(FIELD(ContextObjectO), E_POINTER, "1 null"),
        Object(FIELD(ContextObjectP), E_POINTER, "1 null"), Object(FIELD(ContextObjectQ)),
        Object(FIELD(ContextObjectR), E_INVALIDARG), Object(FIELD(ContextObjectS), S_FALSE), Object(FIELD(ContextObjectT)),
        Object(FIELD(ContextObjectU)), Object(FIELD(ContextObjectV)), Object(FIELD(LinkA)), Object(FIELD(LinkB)),
        Pointer<QBase::Counted>(FIELD(HandleA), &gHandle), Pointer<QBase::Counted>(FIELD(HandleB), &gHandle),
        BstrRow(FIELD(BstrA)), BstrRow(FIELD(BstrB)), BstrRow(FIELD(BstrC)), BstrRow(FIELD(BstrD)),
        BstrRow(FIELD(BstrE), E_POINTER, noText.c_str()),
        Row{"TextB", "0 null", ReadOnly("", &C::get_TextB, "").mRead, [](C& iContext) { return iContext.get_TextB(nullptr); },
            E_POINTER, [](C& iContext) { iContext.put_TextB(W("text")); }, "0 \"text\""},
        Row{"TextC", "", [](C& iContext) { return QBase::WideCharToUTF8(iContext.GetTextC()); }, nullptr, S_OK,
            [](C& iContext) { iContext.put_TextC(W("text")); }, "text", [](C& iContext) { iContext.put_TextC(nullptr); }},
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

/// Hangs, until ctest ends it, when one of them takes the lock.
TEST(ProcessContextRows, OfPlainSettingsAreReadWithoutTheLock)
{
    const std::string unlocked =
        " RequestCode UserContextLogFlag TextB TextC LongD LongE LongG LongH LongJ LongL GuidA "
        "GuidC GuidD GuidE GuidG LevelA ";
    const Context context = NewContext();
    std::size_t read = 0;
    context->Lock();
    std::thread([&] {
        for (const Row& row : AllRows())
        {
            if (unlocked.find(std::string(" ") + row.mName + " ") != std::string::npos)
                read += row.mRead(*context.Get()) == row.mDefault ? 1 : 0;
        }
    }).join();
    context->Unlock();
    EXPECT_EQ(read, 16u);
}

} // namespace
