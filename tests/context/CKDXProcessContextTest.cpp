// The process context's operations with rules of their own, what it asks of its collaborators, and its life.
#include "context/CKDXProcessContext.h"

#include "platform/builtin/EventTrace.h"
#include "platform/builtin/Faults.h"
#include "platform/builtin/PerfReadings.h"
#include "platform/builtin/ThreadContextListener.h"
#include "tests/context/ContextFakes.h"
#include "tests/support/Fakes.h"
#include "tests/support/OperationPlace.h"

#include <algorithm>
#include <stdexcept>
#include <thread>

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
        ThreadContextListener::Set([this] {
            ++mRefreshes;
            ExpectLockFree();
        });
    }

    /// Whatever a test did, nobody is held when the context is gone.
    ~ProcessContext() override
    {
        ThreadContextListener::Set({});
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
    LONG LevelA() { return Get(&C::get_LevelA, LONG{-1}); }
    GUID GuidF() { return Get(&C::get_GuidF, GUID_NULL); }
    GUID ObjectID() { return Get(&C::ResolveObjectID, cGuid); }

    std::string ResolvedName()
    {
        Bstr name;
        EXPECT_EQ(mContext->get_ResolvedName(&name.mText), S_OK);
        return name.Text();
    }

    static std::string TextOf(const Context& iContext, const GUID& iGuid)
    {
        Bstr text;
        EXPECT_EQ(iContext->GetTextByGuidBstr(iGuid, &text.mText), S_OK);
        return text.Text();
    }

    /// Hangs, until ctest ends it, when a call left the lock behind.
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
    mContext->put_RequestCode(5);
    mContext->SetRequestOut(8, nullptr, nullptr, nullptr, cGuid);
    EXPECT_EQ(RequestCode(), 8);

    mContext->put_LevelA(126);
    EXPECT_EQ(LevelA(), 126);
    mContext->put_LevelA(127);
    EXPECT_EQ(LevelA(), 0) << "not set";

    mContext->put_FlagA(1);
    EXPECT_EQ(Get(&C::get_FlagA, VARIANT_BOOL{7}), VARIANT_FALSE);
    mContext->put_FlagA(VARIANT_TRUE);
    EXPECT_EQ(Get(&C::get_FlagA, VARIANT_BOOL{7}), VARIANT_TRUE);

    Bstr text(W("mine"));
    const BSTR mine = text.mText;
    EXPECT_EQ(mContext->get_TextB(&text.mText), S_OK);
    EXPECT_EQ(text.mText, mine) << "never put";
    mContext->put_TextB(W(""));
    Bstr empty;
    EXPECT_EQ(mContext->get_TextB(&empty.mText), S_OK);
    EXPECT_EQ(empty.Text(), "\"\"");
    BSTR none = mine;
    mContext->put_BstrA(empty.mText);
    EXPECT_EQ(Get(&C::get_BstrA, mine), nullptr);
    mContext->put_BstrE(empty.mText);
    EXPECT_EQ(mContext->get_BstrE(&none), E_POINTER);
    EXPECT_EQ(none, nullptr);

    for (auto put : {&C::put_LinkA, &C::put_LinkB})
    {
        mContext->put_LinkA(&mObjectD);
        mContext->put_LinkB(&mObjectO);
        (mContext.Get()->*put)(nullptr);
        EXPECT_EQ(mObjectD.mReferences + mObjectO.mReferences, 0u) << "clearing one clears both";
    }
}

TEST_F(ProcessContext, ReadsGuidFFromContextObjectO)
{
    mObjectO.mGuid = cGuid;
    EXPECT_EQ(mContext->put_ContextObjectO(&mObjectO), S_OK);
    mObjectO.mGuid = cOtherGuid;
    mObjectO.mCode = cRefused;
    EXPECT_EQ(mContext->put_ContextObjectO(&mObjectO), cRefused);
    EXPECT_EQ(mContext->put_ContextObjectO(nullptr), S_OK);
    EXPECT_EQ(GuidF(), cGuid);
}

TEST_F(ProcessContext, DetachesTheInstanceThatAnotherOneReplacesAndTellsTheRouter)
{
    mContext->put_ContextObjectB(&mInstance);
    EXPECT_TRUE(mCalls.empty());
    EXPECT_EQ(mContext->put_ContextObjectB(&mObjectD), S_OK);
    EXPECT_EQ(mCalls, std::vector<std::string>{"instance Reset 0"});
    EXPECT_EQ(mInstance.mReferences, 0u);
    mObjectD.mOnCall = [] { throw QBase::Message("a fault"); };
    EXPECT_EQ(mContext->put_ContextObjectB(&mInstance), cMessageExceptionMet);
    EXPECT_EQ(mInstance.mReferences, 1u);
    EXPECT_EQ(mRefreshes, 3);
    mContext->put_ContextObjectC(&mSource);
    mContext->put_ContextObjectC(nullptr);
    EXPECT_EQ(mRefreshes, 4);
}

TEST_F(ProcessContext, GivesItsBufferAwayOnce)
{
    std::uint64_t length = 77;
    BYTE* buffer = nullptr;
    EXPECT_EQ(mContext->TakeBuffer(0, nullptr, &buffer), E_INVALIDARG);
    EXPECT_EQ(mContext->TakeBuffer(0, &length, nullptr), E_INVALIDARG);
    Faults::StartCountingBlocks();
    auto* const bytes = static_cast<BYTE*>(QBase::HeapAllocate(8));
    mContext->SetBuffer(8, static_cast<BYTE*>(QBase::HeapAllocate(8)));
    mContext->SetBuffer(4, bytes);
    mContext->SetBuffer(8, bytes);
    EXPECT_EQ(mContext->TakeBuffer(1, &length, &buffer), S_OK);
    EXPECT_EQ(length, 77u) << "mode 1 leaves the length";
    EXPECT_EQ(buffer, bytes);
    EXPECT_EQ(mContext->TakeBuffer(1, &length, &buffer), S_FALSE);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(buffer, nullptr);
    mContext->SetBuffer(8, bytes);
    EXPECT_EQ(mContext->TakeBuffer(0, &length, &buffer), S_OK);
    EXPECT_EQ(length, 8u);
    QBase::HeapFree(bytes);
    EXPECT_EQ(Faults::StopCountingBlocks(), 0);
}

TEST_F(ProcessContext, KeepsListsAndTables)
{
    const GUID guids[] = {cGuid, cOtherGuid};
    GUID found[3] = {};
    EXPECT_EQ(mContext->SetGuidList(2, nullptr), E_INVALIDARG);
    EXPECT_EQ(mContext->SetGuidList(-1, guids), E_INVALIDARG);
    mContext->SetGuidList(2, guids);
    EXPECT_EQ(mContext->GetGuidList(2, nullptr), E_INVALIDARG);
    for (int count : {-1, 1, 3})
        EXPECT_EQ(mContext->GetGuidList(count, found), E_UNEXPECTED);
    EXPECT_EQ(found[0], GUID_NULL);
    EXPECT_EQ(mContext->GetGuidList(2, found), S_OK);
    EXPECT_EQ(found[1], cOtherGuid);

    LONG first = 0;
    LONG second = 0;
    mContext->SetNamedPair(W("a"), 1, 2);
    EXPECT_EQ(mContext->GetNamedPair(W("A"), &first, &second), S_FALSE);
    mContext->SetNamedPair(W("a"), 5, 6);
    EXPECT_EQ(mContext->GetNamedPair(W("a"), &first, nullptr), S_OK);
    EXPECT_EQ(mContext->GetNamedPair(W("a"), nullptr, &second), S_OK);
    EXPECT_EQ(first * 10 + second, 56);

    std::string json;
    std::map<std::string, std::string> properties{{"old", "gone"}};
    for (const char* value : {"1", "2"})
        mContext->SetLogProperty("b", value);
    EXPECT_EQ(mContext->GetLogMessageInJSON(&json), S_OK);
    EXPECT_EQ(json, R"({"b":"2"})");
    EXPECT_EQ(mContext->CopyLogProperties(&properties), S_OK);
    EXPECT_EQ(properties, (std::map<std::string, std::string>{{"b", "2"}}));
    mContext->ClearLogProperties();
    mContext->CopyLogProperties(&properties);
    EXPECT_TRUE(properties.empty());
}

TEST_F(ProcessContext, KeepsTextsByGuidAndCopiesThemWhole)
{
    QBase::wstring two(W("two"));
    const Context other = NewContext();
    EXPECT_EQ(mContext->SetTextByGuid(cGuid, nullptr), E_INVALIDARG);
    EXPECT_EQ(mContext->SetTextByGuid(cGuid, Bstr(W("")).mText), E_INVALIDARG);
    EXPECT_EQ(mContext->GetTextByGuidBstr(cGuid, nullptr), E_INVALIDARG);
    EXPECT_EQ(mContext->CopyTextTable(nullptr), E_INVALIDARG);
    EXPECT_EQ(TextOf(mContext, cGuid), "\"\"");
    EXPECT_EQ(mContext->SetTextByGuid(cGuid, Bstr(W("one")).mText), S_OK);
    EXPECT_EQ(other->MoveTextByGuid(cOtherGuid, two), S_OK);
    EXPECT_TRUE(two.empty());
    EXPECT_EQ(other->CopyTextTable(mContext.Get()), S_OK);
    EXPECT_EQ(other->CopyTextTable(other.Get()), S_OK);
    EXPECT_EQ(TextOf(other, cGuid), "\"one\"");
    two = W("stays");
    EXPECT_EQ(other->GetTextByGuid(cOtherGuid, two), S_OK);
    EXPECT_EQ(two, W("stays"));
}

TEST_F(ProcessContext, ResolvesTheNameOnceByTheSessionsFlags)
{
    EXPECT_EQ(ResolvedName(), "\"\"") << "no session yet";
    mSession.mOnCall = [this] { ExpectLockFree(); };
    const struct
    {
        LONG mFlags;
        HRESULT mFlagsCode;
        HRESULT mNameCode;
        GUID mInterfaceId;
        const char* mpName;
    } rows[] = {
        {2, S_OK, S_OK, IID_ICKDXSession, "\"nine\""},   {3, S_OK, S_OK, IID_ICKDXSession, "\"eight\""},
        {0, E_FAIL, S_OK, IID_ICKDXSession, "\"-\""},    {0, S_OK, E_FAIL, IID_ICKDXSession, "\"-\""},
        {0, S_OK, S_OK, IID_ICKDXObjectSource, "\"-\""},
    };
    for (const auto& row : rows)
    {
        mContext = NewContext();
        mContext->put_ContextObjectA(&mSession);
        mSession.mFlags = row.mFlags;
        mSession.mFlagsCode = row.mFlagsCode;
        mSession.mNameCode = row.mNameCode;
        mSession.mInterfaceId = row.mInterfaceId;
        EXPECT_EQ(ResolvedName(), row.mpName);
        mSession.mFlags ^= 1;
        EXPECT_EQ(ResolvedName(), row.mpName) << "kept";
    }
}

TEST_F(ProcessContext, ResolvesTheObjectThroughItsSourceFirstAndThenItsInstance)
{
    FakeDefinition ofInstance;
    ofInstance.mObjectId = cOtherGuid;
    mInstance.mpObject = &ofInstance;
    mSource.mpObject = &mDefinition;
    EXPECT_EQ(mContext->ResolveObjectID(nullptr), E_POINTER);
    EXPECT_EQ(ObjectID(), GUID_NULL);
    mContext->put_ContextObjectC(&mSource);
    EXPECT_EQ(ObjectID(), GUID_NULL);
    mContext->put_ContextObjectB(&mInstance);
    EXPECT_EQ(ObjectID(), cOtherGuid);
    mDefinition.mObjectId = cGuid;
    EXPECT_EQ(ObjectID(), cGuid);
    EXPECT_EQ(mDefinition.mReferences + ofInstance.mReferences, 0u);
}

TEST_F(ProcessContext, PassesCallsOnToItsCollaborators)
{
    EXPECT_EQ(mContext->CallContextObjectA(&mObjectD), E_POINTER);
    mContext->put_ContextObjectA(&mObjectD);
    EXPECT_EQ(mContext->CallContextObjectA(&mObjectD), E_NOINTERFACE);
    mContext->put_ContextObjectA(&mSession);
    mSession.mCallCode = S_FALSE;
    EXPECT_EQ(mContext->CallContextObjectA(&mObjectO), S_OK);
    EXPECT_EQ(mSession.mpArgument, &mObjectO);
    mSession.mCallCode = cRefused;
    EXPECT_EQ(mContext->CallContextObjectA(nullptr), cRefused);

    IUnknown* item = nullptr;
    EXPECT_EQ(mContext->get_ContextObjectDItem(nullptr), E_POINTER);
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
    Bstr name;
    GUID id;
    IUnknown* item = nullptr;
    EXPECT_EQ(mContext->get_ResolvedName(&name.mText), cSystemExceptionMet);
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
    EXPECT_EQ(mContext->CallContextObjectA(nullptr), S_OK);
    mContext->put_ContextObjectC(&mSource);
    EXPECT_EQ(ObjectID(), GUID_NULL);
    EXPECT_EQ(mContext->put_ContextObjectC(&mObjectD), cSystemExceptionMet);
    EXPECT_EQ(mContext->put_ContextObjectB(&mObjectD), S_OK);
    EXPECT_EQ(mContext->put_ContextObjectB(&mSession), cSystemExceptionMet);
    EXPECT_EQ(mRefreshes, 4);

    mNewerO.mGuid = cOtherGuid;
    mContext->put_ContextObjectO(&mObjectO);
    EXPECT_EQ(mContext->put_ContextObjectO(&mNewerO), cSystemExceptionMet);
    EXPECT_EQ(GuidF(), cOtherGuid) << "that of the new object";
    mContext->SetRequestIn(1, QMessage::NewReadMessage(nullptr, 0, &mObjectO).Get(), nullptr, &mObjectD, cGuid);
    EXPECT_EQ(mContext->SetRequestIn(2, nullptr, nullptr, nullptr, cOtherGuid), cSystemExceptionMet);
    EXPECT_EQ(Get(&C::get_RequestID, GUID_NULL), cOtherGuid);
    mContext->put_LinkA(&mObjectD);
    mContext->put_LinkB(&mObjectO);
    EXPECT_EQ(mContext->put_LinkA(nullptr), cSystemExceptionMet);
    ExpectLockFree();
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
    EXPECT_EQ(mContext->Reserved1(), E_NOTIMPL);
    EXPECT_EQ(mContext->Reserved2(), E_NOTIMPL);
    EXPECT_EQ(PlaceOf(&ICKDXProcessContext::get_RequestCode), 3u);
    EXPECT_EQ(PlaceOf(&ICKDXProcessContext::get_OutMessage), 50u);
    EXPECT_EQ(PlaceOf(&ICKDXProcessContext::put_ContextObjectU), 77u);
    EXPECT_EQ(PlaceOf(&ICKDXProcessContext::put_ShortB), 94u);
    EXPECT_EQ(PlaceOf(&ICKDXProcessContext::EndThreadMessage), 136u);
    EXPECT_EQ(PlaceOf(&C::get_GuidF) - PlaceOf(&C::GetInterface), 23u);
}

TEST(ProcessContextLife, LeavesNothingBehindAndLogsItsReferences)
{
    constexpr int cCategory = 11;
    const std::int64_t instances = PerfReadings::GetInstanceCount(cCategory);
    Faults::StartCountingBlocks();
    EventTrace::Start();
    {
        const Context context = NewContext();
        EXPECT_EQ(PerfReadings::GetInstanceCount(cCategory), instances + 1);
        context->put_TextB(W("a text that is longer than a string has room for in itself"));
        context->SetBuffer(8, static_cast<BYTE*>(QBase::HeapAllocate(8)));
    }
    const std::vector<std::string> events = EventTrace::Stop();
    EXPECT_EQ(Faults::StopCountingBlocks(), 0);
    EXPECT_EQ(PerfReadings::GetInstanceCount(cCategory), instances);
    const auto count = [&](const char* iEvent) { return std::count(events.begin(), events.end(), iEvent); };
    EXPECT_GE(count("LogReference 1 4"), 1);
    EXPECT_EQ(count("LogReference 1 4"), count("LogReference 0 4"));
    EXPECT_EQ(count("QSynch::CreateCriticalSection 300"), 1);
    EXPECT_EQ(count("QSynch::CreateCriticalSection -3"), 1);
}

TEST(ProcessContextLife, LeavesNothingBehindWhenItCantBeMade)
{
#if defined(_WIN32)
    constexpr int cBlocks = 3; // the context and its two locks
#else
    constexpr int cBlocks = 4; // its marshaler, too
#endif
    for (const auto& [fault, times] :
         {std::pair(Faults::EnumFault::Allocation, cBlocks), std::pair(Faults::EnumFault::LockCreation, 2)})
    {
        for (int nth = 1; nth <= times; ++nth)
        {
            Context failed;
            Faults::StartCountingBlocks();
            Faults::FailNth(fault, nth);
            EXPECT_EQ(CreateProcessContext(failed), E_OUTOFMEMORY) << nth;
            EXPECT_EQ(Faults::StopCountingBlocks(), 0);
        }
    }
}

} // namespace
