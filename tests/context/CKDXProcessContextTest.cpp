// The process context's operations with rules of their own, what it asks of its collaborators, and its life.
#include "context/CKDXProcessContext.h"

#include "platform/builtin/EventTrace.h"
#include "platform/builtin/Faults.h"
#include "platform/builtin/PerfReadings.h"
#include "platform/builtin/ThreadContextListener.h"
#include "tests/context/ContextFakes.h"
#include "tests/support/Fakes.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <memory_resource>
#include <stdexcept>
#include <thread>
#include <tuple>

using Builtin::Faults::EnumFault;
using QBase::PtrI;

namespace
{

constexpr GUID cGuid = {0x12345678, 0x1234, 0x5678, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr GUID cOtherGuid = {0x87654321, 0x1234, 0x5678, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr auto cRefused = static_cast<HRESULT>(0x80070005);
constexpr auto cSystemExceptionMet = static_cast<HRESULT>(0x8004308C);
constexpr auto cMessageExceptionMet = static_cast<HRESULT>(0x8004308B);

class ProcessContext : public testing::Test
{
protected:
    ProcessContext()
    {
        Builtin::ThreadContextListener::Set([this] {
            ++mRefreshes;
            ExpectLockFree();
        });
    }

    /// After each test: the context has released all objects.
    ~ProcessContext() override
    {
        Builtin::ThreadContextListener::Set({});
        mContext = {};
        for (const auto* left : {&mSession.mReferences, &mDefinition.mReferences, &mSource.mReferences,
                                 &mObjectO.mReferences, &mNewerO.mReferences, &mObjectD.mReferences})
            EXPECT_EQ(*left, 0u);
        EXPECT_EQ(mInstance.mReferences, 0u);
    }

    template <class Getter, class Value>
    Value Get(Getter iGet, Value iBefore)
    {
        EXPECT_EQ((mContext.Get()->*iGet)(&iBefore), S_OK);
        return iBefore;
    }

    LONG RequestCode() { return Get(&C::get_RequestCode, LONG{0}); }
    GUID ObjectID() { return Get(&C::ResolveObjectID, cGuid); }

    std::string ResolvedName()
    {
        OwnedBstr name;
        EXPECT_EQ(mContext->get_ResolvedName(&name.mText), S_OK);
        return name.Text();
    }

    static std::string TextOf(const Context& iContext, const GUID& iGuid)
    {
        OwnedBstr text;
        EXPECT_EQ(iContext->GetTextByGuidBstr(iGuid, &text.mText), S_OK);
        return text.Text();
    }

    /// Hangs until ctest's time-out if a call didn't release the lock.
    void ExpectLockFree()
    {
        std::thread([this] { mContext->put_LongA(1); }).join();
    }

    using C = CKDXProcessContext;

    int mRefreshes = 0;
    std::vector<std::string> mCalls;
    FakeReportInstance mInstance{mCalls};
    FakeContextSession mSession;
    FakeDefinition mDefinition;
    FakeObjectSource mSource;
    FakeObjectO mObjectO;
    FakeObjectO mNewerO;
    FakeObjectD mObjectD;
    Context mContext = NewContext();
};

TEST_F(ProcessContext, HasSettingsWithRulesOfTheirOwn)
{
    mContext->SetRequestIn(7, nullptr, nullptr, nullptr, cGuid);
    EXPECT_EQ(RequestCode(), -1) << "never put";
    EXPECT_EQ(mContext->put_RequestCode(5), S_OK);
    mContext->SetRequestOut(8, nullptr, nullptr, nullptr, cGuid);
    EXPECT_EQ(RequestCode(), 8);

    mContext->put_LevelA(127);
    EXPECT_EQ(Get(&C::get_LevelA, LONG{-1}), 0) << "not set";

    mContext->put_FlagA(VARIANT_TRUE);
    EXPECT_EQ(Get(&C::get_FlagA, VARIANT_BOOL{7}), VARIANT_TRUE);

    OwnedBstr text(QORJOB_W("mine"));
    const BSTR mine = text.mText;
    EXPECT_EQ(mContext->get_TextB(&text.mText), S_OK);
    EXPECT_EQ(text.mText, mine) << "never put";
    for (const QBase::WCHAR* put : {QORJOB_W("put"), static_cast<const QBase::WCHAR*>(nullptr)})
    {
        OwnedBstr got;
        EXPECT_EQ(mContext->put_TextB(put), S_OK);
        EXPECT_EQ(mContext->get_TextB(&got.mText), S_OK);
        EXPECT_EQ(got.Text(), put == nullptr ? "\"\"" : "\"put\"");
    }
    mContext->put_BstrA(OwnedBstr(QORJOB_W("")).mText);
    EXPECT_EQ(Get(&C::get_BstrA, mine), nullptr);

    for (auto put : {&C::put_LinkA, &C::put_LinkB})
    {
        mContext->put_LinkA(&mObjectD);
        mContext->put_LinkB(&mObjectO);
        EXPECT_EQ(mObjectD.mReferences + mObjectO.mReferences, 2u);
        (mContext.Get()->*put)(nullptr);
        EXPECT_EQ(mObjectD.mReferences + mObjectO.mReferences, 0u) << "clearing one clears both";
    }
}

TEST_F(ProcessContext, DetachesTheInstanceThatAnotherOneReplacesAndTellsTheRouter)
{
    mContext->put_ContextObjectB(&mInstance);
    EXPECT_EQ(mContext->put_ContextObjectB(&mObjectD), S_OK);
    EXPECT_EQ(mCalls, std::vector<std::string>{"instance Reset 0"});
    EXPECT_EQ(mInstance.mReferences, 0u);
    mObjectD.mOnCall = [] { throw QBase::Message("a fault"); };
    EXPECT_EQ(mContext->put_ContextObjectB(&mInstance), cMessageExceptionMet);
    EXPECT_EQ(mInstance.mReferences, 1u);
    EXPECT_EQ(mRefreshes, 3);
}

TEST_F(ProcessContext, GivesItsBufferAwayOnce)
{
    std::uint64_t length = 77;
    BYTE* buffer = nullptr;
    Builtin::Faults::StartCountingBlocks();
    auto* const bytes = static_cast<BYTE*>(QBase::HeapAllocate(8));
    mContext->SetBuffer(8, static_cast<BYTE*>(QBase::HeapAllocate(8)));
    mContext->SetBuffer(4, bytes); // frees the previous one
    EXPECT_EQ(mContext->TakeBuffer(1, &length, &buffer), S_OK);
    EXPECT_EQ(length, 77u) << "mode 1 leaves the length";
    EXPECT_EQ(buffer, bytes);
    EXPECT_EQ(mContext->TakeBuffer(1, &length, &buffer), S_FALSE);
    EXPECT_EQ(buffer, nullptr);
    for (const std::uint64_t newLength : {4, 8}) // the same one again stays
        EXPECT_EQ(mContext->SetBuffer(newLength, bytes), S_OK);
    EXPECT_EQ(mContext->TakeBuffer(0, &length, &buffer), S_OK);
    EXPECT_EQ(length, 8u);
    QBase::HeapFree(bytes);
    EXPECT_EQ(Builtin::Faults::StopCountingBlocks(), 0);
}

TEST_F(ProcessContext, KeepsListsAndTables)
{
    const GUID guids[] = {cGuid, cOtherGuid};
    GUID found[3] = {};
    EXPECT_EQ(mContext->SetGuidList(-1, guids), E_INVALIDARG);
    mContext->SetGuidList(2, guids);
    EXPECT_EQ(mContext->GetGuidList(3, found), E_UNEXPECTED);
    EXPECT_EQ(mContext->GetGuidList(2, found), S_OK);
    EXPECT_EQ(found[1], cOtherGuid);
    EXPECT_EQ(mContext->SetGuidList(0, guids), S_OK);
    EXPECT_EQ(mContext->GetGuidList(0, found), S_OK) << "as empty as asked for";
    EXPECT_EQ(mContext->GetGuidList(2, found), E_UNEXPECTED);

    LONG first = 0;
    LONG second = 0;
    mContext->SetNamedPair(QORJOB_W("a"), 1, 2);
    mContext->SetNamedPair(QORJOB_W("a"), 5, 6);
    EXPECT_EQ(mContext->GetNamedPair(QORJOB_W("a"), &first, &second), S_OK);
    EXPECT_EQ(first * 10 + second, 56);

    std::string json;
    for (const char* value : {"1", "2"})
        mContext->SetLogProperty("b", value);
    EXPECT_EQ(mContext->GetLogMessageInJSON(&json), S_OK);
    EXPECT_EQ(json, R"({"b":"2"})");
    std::map<std::string, std::string> properties{{"old", "gone"}};
    EXPECT_EQ(mContext->ClearLogProperties(), S_OK);
    EXPECT_EQ(mContext->CopyLogProperties(&properties), S_OK);
    EXPECT_TRUE(properties.empty());
}

TEST_F(ProcessContext, KeepsTextsByGuidAndCopiesThemWhole)
{
    QBase::wstring two(QORJOB_W("two"));
    const Context other = NewContext();
    EXPECT_EQ(mContext->SetTextByGuid(cGuid, OwnedBstr(QORJOB_W("")).mText), E_INVALIDARG);
    EXPECT_EQ(TextOf(mContext, cGuid), "\"\"");
    EXPECT_EQ(mContext->SetTextByGuid(cGuid, OwnedBstr(QORJOB_W("one")).mText), S_OK);
    EXPECT_EQ(other->MoveTextByGuid(cOtherGuid, two), S_OK);
    EXPECT_TRUE(two.empty());
    EXPECT_EQ(TextOf(other, cOtherGuid), "\"two\"");
    EXPECT_EQ(other->CopyTextTable(mContext.Get()), S_OK);
    EXPECT_EQ(other->CopyTextTable(other.Get()), S_OK);
    EXPECT_EQ(TextOf(other, cGuid), "\"one\"");
}

TEST_F(ProcessContext, ResolvesTheNameOnceByTheSessionsFlags)
{
    mSession.mOnCall = [this] { ExpectLockFree(); };
    const std::tuple<LONG, HRESULT, HRESULT, const char*> rows[] = {
        {2, S_OK, S_OK, "\"nine\""},
        {3, S_OK, S_OK, "\"eight\""},
        {0, E_FAIL, S_OK, "\"-\""},
        {0, S_OK, E_FAIL, "\"-\""},
    };
    for (const auto& [flags, flagsCode, nameCode, name] : rows)
    {
        mContext = NewContext();
        mContext->put_ContextObjectA(&mSession);
        mSession.mFlags = flags;
        mSession.mFlagsCode = flagsCode;
        mSession.mNameCode = nameCode;
        EXPECT_EQ(ResolvedName(), name);
        mSession.mFlags ^= 1;
        EXPECT_EQ(ResolvedName(), name) << "kept";
    }
    mSession.mFlags = 0;
    mSession.mNameCode = S_OK;
    mSession.mpName9 = nullptr;
    for (IUnknown* session : {static_cast<IUnknown*>(&mSession), static_cast<IUnknown*>(nullptr)})
    {
        mContext = NewContext();
        mContext->put_ContextObjectA(session);
        EXPECT_EQ(ResolvedName(), "\"\"");
    }
}

TEST_F(ProcessContext, ResolvesTheObjectThroughItsSourceFirstAndThenItsInstance)
{
    FakeDefinition ofInstance;
    ofInstance.mObjectId = cOtherGuid;
    mInstance.mpObject = &ofInstance;
    EXPECT_EQ(ObjectID(), GUID_NULL);
    mContext->put_ContextObjectC(&mSource);
    EXPECT_EQ(ObjectID(), GUID_NULL) << "the source has none";
    mSource.mpObject = &mObjectD;
    EXPECT_EQ(ObjectID(), GUID_NULL) << "it is no definition";
    mSource.mpObject = &mDefinition;
    EXPECT_EQ(ObjectID(), GUID_NULL);
    mContext->put_ContextObjectB(&mInstance);
    EXPECT_EQ(ObjectID(), cOtherGuid);
    mDefinition.mObjectId = cGuid;
    EXPECT_EQ(ObjectID(), cGuid);
    EXPECT_EQ(mDefinition.mReferences + ofInstance.mReferences, 0u);
}

TEST_F(ProcessContext, PassesCallsOnToItsCollaborators)
{
    mContext->put_ContextObjectA(&mObjectD);
    EXPECT_EQ(mContext->CallContextObjectA(&mObjectD), E_NOINTERFACE);
    mContext->put_ContextObjectA(&mSession);
    mSession.mCallCode = S_FALSE;
    EXPECT_EQ(mContext->CallContextObjectA(&mObjectO), S_OK);
    EXPECT_EQ(mSession.mpArgument, &mObjectO);
    mSession.mCallCode = cRefused;
    EXPECT_EQ(mContext->CallContextObjectA(nullptr), cRefused);

    IUnknown* item = nullptr;
    EXPECT_EQ(mContext->get_ContextObjectDItem(&item), E_FAIL);
    mContext->SetRequestIn(1, nullptr, nullptr, &mObjectD, cGuid);
    EXPECT_EQ(mContext->get_ContextObjectDItem(&item), S_FALSE);
    EXPECT_EQ(PtrI<IUnknown>::Adopt(item).Get(), &mObjectD);
}

TEST_F(ProcessContext, KeepsNeitherLockNorReferenceWhenACollaboratorThrows)
{
    const auto fail = [] { throw std::runtime_error("a fault"); };
    mSession.mOnCall = mObjectO.mOnCall = mDefinition.mOnCall = fail;
    mObjectD.mOnCall = [] { throw QBase::Message("a fault"); };
    mSource.mpObject = &mDefinition;
    mContext->put_ContextObjectA(&mSession);
    mContext->put_ContextObjectC(&mSource);
    mContext->SetRequestIn(1, nullptr, nullptr, &mObjectD, cGuid);
    const OwnedBstr before(QORJOB_W("before"));
    BSTR name = before.mText;
    GUID id;
    IUnknown* item = nullptr;
    EXPECT_EQ(mContext->get_ResolvedName(&name), cSystemExceptionMet);
    EXPECT_EQ(name, nullptr);
    EXPECT_EQ(mContext->CallContextObjectA(nullptr), cSystemExceptionMet);
    EXPECT_EQ(mContext->put_ContextObjectO(&mObjectO), cSystemExceptionMet);
    EXPECT_EQ(mContext->ResolveObjectID(&id), cSystemExceptionMet);
    EXPECT_EQ(mContext->get_ContextObjectDItem(&item), cMessageExceptionMet);
    ExpectLockFree();
}

TEST_F(ProcessContext, LetsGoOfCollaboratorsWhoseReleaseThrows)
{
    for (bool* bThrows : {&mSession.mbReleaseThrows, &mDefinition.mbReleaseThrows, &mSource.mbReleaseThrows,
                          &mObjectO.mbReleaseThrows, &mObjectD.mbReleaseThrows, &mNewerO.mbReleaseThrows})
        *bThrows = true;
    mSource.mpObject = &mDefinition;
    mContext->put_ContextObjectA(&mSession);
    EXPECT_EQ(ResolvedName(), "\"nine\"");
    mContext->put_ContextObjectC(&mSource);
    EXPECT_EQ(ObjectID(), GUID_NULL);
    EXPECT_EQ(mContext->put_ContextObjectC(&mObjectD), cSystemExceptionMet);
    EXPECT_EQ(mContext->put_ContextObjectB(&mObjectD), S_OK);
    EXPECT_EQ(mContext->put_ContextObjectB(&mSession), cSystemExceptionMet);
    EXPECT_EQ(mRefreshes, 4);

    mNewerO.mGuid = cOtherGuid;
    mObjectO.mCode = cRefused;
    EXPECT_EQ(mContext->put_ContextObjectO(&mObjectO), cRefused);
    EXPECT_EQ(mContext->put_ContextObjectO(&mNewerO), cSystemExceptionMet);
    EXPECT_EQ(Get(&C::get_GuidF, GUID_NULL), cOtherGuid) << "that of the new object";
    mContext->SetRequestIn(1, QMessage::NewReadMessage(nullptr, 0, &mObjectO).Get(), nullptr, &mObjectD, cGuid);
    EXPECT_EQ(mContext->SetRequestIn(2, nullptr, nullptr, nullptr, cOtherGuid), cSystemExceptionMet);
    EXPECT_EQ(Get(&C::get_RequestID, GUID_NULL), cOtherGuid);
    ExpectLockFree();
}

TEST_F(ProcessContext, RefusesNullPointers)
{
    std::uint64_t length = 77;
    BYTE* buffer = nullptr;
    QBase::wstring text(QORJOB_W("x"));
    GUID guid = GUID_NULL;
    LONG value = 77;
    C& context = *mContext.Get();
    const std::pair<HRESULT, HRESULT> rows[] = {
        {context.get_ReplyMessage(nullptr), E_POINTER},
        {context.get_InMessageItem(nullptr), E_POINTER},
        {context.get_ContextObjectDItem(nullptr), E_POINTER},
        {context.get_ResolvedName(nullptr), E_POINTER},
        {context.InMessageQueryA(nullptr), E_POINTER},
        {context.InMessageQueryB(nullptr), E_POINTER},
        {context.ResolveObjectID(nullptr), E_POINTER},
        {context.CallContextObjectA(nullptr), E_POINTER}, // no object
        {context.CopyLogProperties(nullptr), E_POINTER},
        {context.GetLogMessageInJSON(nullptr), E_POINTER},
        {context.TakeBuffer(0, nullptr, &buffer), E_INVALIDARG},
        {context.TakeBuffer(0, &length, nullptr), E_INVALIDARG},
        {context.GetTextByGuidBstr(cGuid, nullptr), E_INVALIDARG},
        {context.SetGuidList(0, nullptr), E_INVALIDARG},
        {context.GetGuidList(0, nullptr), E_INVALIDARG},
        {context.GetGuidList(-1, &guid), E_UNEXPECTED},
        {context.SetTextByGuid(cGuid, nullptr), E_INVALIDARG},
        {context.CopyTextTable(nullptr), E_INVALIDARG},
        {context.SetNamedPair(nullptr, 1, 2), E_INVALIDARG},
        {context.GetNamedPair(nullptr, &value, &value), E_INVALIDARG},
        {context.SetLogProperty(nullptr, ""), E_INVALIDARG},
        {context.SetLogProperty("", nullptr), E_INVALIDARG},
        {context.GetNamedPair(QORJOB_W("absent"), &value, &value), S_FALSE},
        {context.SetNamedPair(QORJOB_W("a"), 1, 2), S_OK},
        {context.GetNamedPair(QORJOB_W("a"), nullptr, nullptr), S_OK}, // both are optional
        {context.GetTextByGuid(cGuid, text), S_OK},                    // absent: the text stays
        {context.Reserved1(), E_NOTIMPL},
        {context.Reserved2(), E_NOTIMPL},
    };
    for (std::size_t row = 0; row < std::size(rows); ++row)
        EXPECT_EQ(rows[row].first, rows[row].second) << row;
    EXPECT_EQ(length, 77u);
    EXPECT_EQ(value, 77);
    EXPECT_EQ(text, QORJOB_W("x"));
    EXPECT_EQ(context.TakeBuffer(0, &length, &buffer), S_FALSE);
    EXPECT_EQ(length, 0u) << "nothing was ever set";
}

TEST_F(ProcessContext, TakesNoReferenceToAnObjectThatItHolds)
{
    FakeHandle handle;
    for (int put = 0; put < 2; ++put)
    {
        mContext->put_ContextObjectS(&mObjectO);
        mContext->put_ContextObjectF(&mObjectD);
        mContext->put_HandleA(&handle);
    }
    EXPECT_EQ(mObjectO.mAddRefs, 1u);
    EXPECT_EQ(mObjectD.mAddRefs, 2u) << "a plain put";
    EXPECT_EQ(handle.mAddRefs, 1u);
    mContext->put_HandleB(&handle);
    mContext->put_HandleB(&handle);
    EXPECT_EQ(handle.mAddRefs, 2u);
    mContext = {};
}

TEST_F(ProcessContext, AnswersForItsInterfaceAndTheMarshalersOnly)
{
    for (const GUID* id : {&IID_IUnknown, &IID_ICKDXProcessContext, &IID_IMarshal})
    {
        const auto found = QueryFor<IUnknown>(mContext.Get(), *id);
        ASSERT_TRUE(found);
        EXPECT_EQ(QueryFor<IUnknown>(found.Get(), IID_IUnknown).Get(), mContext->GetInterface());
    }
    EXPECT_FALSE(QueryFor<IUnknown>(mContext.Get(), IID_ICKDXSession));
}

TEST(ProcessContextLife, LeavesNothingBehindAndLogsItsReferences)
{
    constexpr int cCategory = 11;
    const std::int64_t instances = Builtin::PerfReadings::GetInstanceCount(cCategory);
    Builtin::Faults::StartCountingBlocks();
    Builtin::EventTrace::Start();
    {
        const Context context = NewContext();
        EXPECT_EQ(Builtin::PerfReadings::GetInstanceCount(cCategory), instances + 1);
        context->put_TextB(QORJOB_W("a text that is longer than a string has room for in itself"));
        context->SetBuffer(8, static_cast<BYTE*>(QBase::HeapAllocate(8)));
    }
    const std::vector<std::string> events = Builtin::EventTrace::Stop();
    EXPECT_EQ(Builtin::Faults::StopCountingBlocks(), 0);
    EXPECT_EQ(Builtin::PerfReadings::GetInstanceCount(cCategory), instances);
    const auto count = [&](const char* iEvent) { return std::count(events.begin(), events.end(), iEvent); };
    EXPECT_GE(count("LogReference 1 4"), 1);
    EXPECT_EQ(count("LogReference 1 4"), count("LogReference 0 4"));
    EXPECT_EQ(count("QSynch::CreateCriticalSection 300"), 1);
    EXPECT_EQ(count("QSynch::CreateCriticalSection -3"), 1);
}

TEST_F(ProcessContext, TakesAllThatItKeepsOfTheGeneralHeap)
{
    const QBase::WCHAR* const text = QORJOB_W("a text that is longer than a string has room for in itself");
    const char* const narrow = "a text that is longer than a string has room for in itself";
    const OwnedBstr bstr(text);
    QBase::wstring moved(text);
    const Context other = NewContext();
    other->SetTextByGuid(cGuid, bstr.mText);
    mContext->put_ContextObjectA(&mSession);
    mSession.mpName9 = text;
    C& context = *mContext.Get();
    const std::function<HRESULT()> puts[] = {
        [&] { return context.put_TextB(text); },
        [&] { return context.put_TextC(text); },
        [&] { return context.put_BstrA(bstr.mText); },
        [&] { return context.put_BstrB(bstr.mText); },
        [&] { return context.SetTextByGuid(cGuid, bstr.mText); },
        [&] { return context.MoveTextByGuid(cOtherGuid, moved); },
        [&] { return context.CopyTextTable(other.Get()); },
        [&] { return context.SetNamedPair(text, 1, 2); },
        [&] { return context.SetGuidList(1, &cGuid); },
        [&] { return context.SetLogProperty(narrow, narrow); },
        [&] { return context.BeginThreadMessage(); },
    };
    // The context doesn't use the program's default memory resource.
    std::pmr::memory_resource* const usual = std::pmr::set_default_resource(std::pmr::null_memory_resource());
    for (std::size_t row = 0; row < std::size(puts); ++row)
    {
        Builtin::Faults::FailNth(EnumFault::Allocation, 1);
        EXPECT_EQ(puts[row](), cSystemExceptionMet) << row;
        Builtin::Faults::StartCountingBlocks();
        EXPECT_EQ(puts[row](), S_OK) << row;
        EXPECT_GE(Builtin::Faults::StopCountingBlocks(), 1) << row;
    }
    for (const auto put : {&C::put_BstrC, &C::put_BstrD, &C::put_BstrE})
    {
        Builtin::Faults::StartCountingBlocks();
        (context.*put)(bstr.mText);
        EXPECT_EQ(Builtin::Faults::StopCountingBlocks(), 1);
    }
    EXPECT_EQ(TextOf(mContext, cGuid), bstr.Text());
    EXPECT_EQ(ResolvedName(), bstr.Text());
#if !defined(_WIN32) // where COM's texts are of its own heap
    BSTR given = nullptr;
    for (auto get : {&C::get_TextB, &C::get_BstrA})
    {
        Builtin::Faults::FailNth(EnumFault::Allocation, 1);
        EXPECT_EQ((context.*get)(&given), E_OUTOFMEMORY);
    }
    for (const auto& [nth, code] : {std::pair(1, cSystemExceptionMet), {2, E_OUTOFMEMORY}})
    {
        Builtin::Faults::FailNth(EnumFault::Allocation, nth);
        EXPECT_EQ(context.GetTextByGuidBstr(cGuid, &given), code);
        Builtin::Faults::FailNth(EnumFault::Allocation, nth);
        EXPECT_EQ(context.get_ResolvedName(&given), code);
        EXPECT_EQ(given, nullptr);
    }
#endif
    std::pmr::set_default_resource(usual);
}

} // namespace
