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

/// Throws when it is detached.
class StubbornInstance final : public FakeCollaborator<ICKDXReportInstance>
{
public:
    StubbornInstance() : FakeCollaborator(IID_ICKDXReportInstance) {}

    HRESULT Reset(int) override { throw QBase::Message("a fault"); }
    HRESULT get_ExecutionKind(int*) override { return E_NOTIMPL; }
    HRESULT put_Status(int) override { return E_NOTIMPL; }
    HRESULT put_JobValue(int, int) override { return E_NOTIMPL; }
    HRESULT get_Object(IUnknown**) override { return E_NOTIMPL; }
};

class ProcessContext : public testing::Test
{
protected:
    std::string ResolvedName()
    {
        Bstr name;
        EXPECT_EQ(mContext->get_ResolvedName(&name.mText), S_OK);
        return name.Text();
    }

    GUID ObjectID()
    {
        GUID id = cOtherGuid;
        EXPECT_EQ(mContext->ResolveObjectID(&id), S_OK);
        return id;
    }

    std::string TextOf(CKDXProcessContext& iContext, const GUID& iGuid)
    {
        Bstr text;
        EXPECT_EQ(iContext.GetTextByGuidBstr(iGuid, &text.mText), S_OK);
        return text.Text();
    }

    /// Hangs, until ctest ends it, when a call left the lock behind.
    void ExpectLockFree()
    {
        std::thread([this] { mContext->put_LongA(1); }).join();
    }

    std::vector<std::string> mCalls;
    FakeReportInstance mInstance{mCalls};
    FakeContextSession mSession;
    FakeDefinition mDefinition;
    FakeObjectSource mSource;
    FakeObjectO mObjectO;
    FakeObjectD mObjectD;
    Context mContext = NewContext();
};

TEST_F(ProcessContext, GivesTheRequestCodeOnlyOnceItWasPut)
{
    mContext->SetRequestIn(7, nullptr, nullptr, nullptr, cGuid);
    LONG code = 0;
    EXPECT_EQ(mContext->get_RequestCode(&code), S_OK);
    EXPECT_EQ(code, -1);
    mContext->put_RequestCode(5);
    mContext->SetRequestOut(8, nullptr, nullptr, nullptr, cGuid);
    mContext->get_RequestCode(&code);
    EXPECT_EQ(code, 8);
}

TEST_F(ProcessContext, LeavesTheCallersTextAloneUntilTextBIsPut)
{
    Bstr text(W("mine"));
    const BSTR mine = text.mText;
    EXPECT_EQ(mContext->get_TextB(&text.mText), S_OK);
    EXPECT_EQ(text.mText, mine);
    mContext->put_TextB(W(""));
    Bstr empty;
    EXPECT_EQ(mContext->get_TextB(&empty.mText), S_OK);
    EXPECT_EQ(empty.Text(), "\"\"");
}

TEST_F(ProcessContext, TakesTheLevel127AsNotSet)
{
    LONG level = -1;
    mContext->put_LevelA(126);
    mContext->get_LevelA(&level);
    EXPECT_EQ(level, 126);
    mContext->put_LevelA(127);
    mContext->get_LevelA(&level);
    EXPECT_EQ(level, 0);
}

TEST_F(ProcessContext, TakesOnlyMinusOneAsTrue)
{
    VARIANT_BOOL flag = 7;
    mContext->put_FlagA(1);
    mContext->get_FlagA(&flag);
    EXPECT_EQ(flag, VARIANT_FALSE);
    mContext->put_FlagA(VARIANT_TRUE);
    mContext->get_FlagA(&flag);
    EXPECT_EQ(flag, VARIANT_TRUE);
}

TEST_F(ProcessContext, KeepsNoEmptyText)
{
    const Bstr empty(W(""));
    Bstr text;
    mContext->put_BstrA(empty.mText);
    EXPECT_EQ(mContext->get_BstrA(&text.mText), S_OK);
    mContext->put_BstrE(empty.mText);
    EXPECT_EQ(mContext->get_BstrE(&text.mText), E_POINTER);
    EXPECT_EQ(text.mText, nullptr);
}

TEST_F(ProcessContext, ClearsBothLinksWhenOneIsCleared)
{
    for (auto put : {&CKDXProcessContext::put_LinkA, &CKDXProcessContext::put_LinkB})
    {
        mContext->put_LinkA(&mObjectD);
        mContext->put_LinkB(&mObjectO);
        (mContext.Get()->*put)(nullptr);
        EXPECT_EQ(mObjectD.mReferences + mObjectO.mReferences, 0u);
    }
}

TEST_F(ProcessContext, ReadsGuidFFromContextObjectO)
{
    GUID guid = GUID_NULL;
    mObjectO.mGuid = cGuid;
    EXPECT_EQ(mContext->put_ContextObjectO(&mObjectO), S_OK);
    mObjectO.mGuid = cOtherGuid;
    mObjectO.mCode = cRefused;
    EXPECT_EQ(mContext->put_ContextObjectO(&mObjectO), cRefused);
    EXPECT_EQ(mContext->put_ContextObjectO(nullptr), S_OK);
    EXPECT_EQ(mContext->get_GuidF(&guid), S_OK);
    EXPECT_EQ(guid, cGuid);
    EXPECT_EQ(mObjectO.mReferences, 0u);
}

TEST_F(ProcessContext, DetachesTheInstanceThatAnotherOneReplaces)
{
    int refreshes = 0;
    ThreadContextListener::Set([&refreshes] { ++refreshes; });
    mContext->put_ContextObjectB(&mInstance);
    EXPECT_TRUE(mCalls.empty());
    EXPECT_EQ(refreshes, 1);
    EXPECT_EQ(mContext->put_ContextObjectB(&mObjectD), S_OK);
    ThreadContextListener::Set({});
    ASSERT_EQ(mCalls.size(), 1u);
    EXPECT_NE(mCalls[0].find("Reset 0"), std::string::npos) << mCalls[0];
    EXPECT_EQ(mInstance.mReferences, 0u);
    EXPECT_EQ(refreshes, 2);
}

TEST_F(ProcessContext, ReplacesAnInstanceThatThrowsLikeAnyOther)
{
    int refreshes = 0;
    StubbornInstance stubborn;
    mContext->put_ContextObjectB(&stubborn);
    ThreadContextListener::Set([&refreshes] { ++refreshes; });
    EXPECT_EQ(mContext->put_ContextObjectB(&mInstance), cMessageExceptionMet);
    ThreadContextListener::Set({});
    EXPECT_EQ(refreshes, 1);
    EXPECT_EQ(stubborn.mReferences, 0u);
    EXPECT_EQ(mInstance.mReferences, 1u);
    ExpectLockFree();
}

TEST_F(ProcessContext, TellsTheRouterOfANewContextObjectC)
{
    int refreshes = 0;
    ThreadContextListener::Set([&] {
        ++refreshes;
        ExpectLockFree();
    });
    mContext->put_ContextObjectC(&mSource);
    mContext->put_ContextObjectC(nullptr);
    ThreadContextListener::Set({});
    EXPECT_EQ(refreshes, 1);
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

TEST_F(ProcessContext, GivesItsGuidListOnlyForTheRightCount)
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
}

TEST_F(ProcessContext, KeepsNamedPairs)
{
    LONG first = 0;
    LONG second = 0;
    EXPECT_EQ(mContext->GetNamedPair(W("a"), &first, &second), S_FALSE);
    mContext->SetNamedPair(W("a"), 1, 2);
    mContext->SetNamedPair(W("A"), 3, 4);
    mContext->SetNamedPair(W("a"), 5, 6);
    EXPECT_EQ(mContext->GetNamedPair(W("a"), &first, nullptr), S_OK);
    EXPECT_EQ(mContext->GetNamedPair(W("A"), nullptr, &second), S_OK);
    EXPECT_EQ(first, 5);
    EXPECT_EQ(second, 4);
}

TEST_F(ProcessContext, KeepsTextsByGuidAndCopiesThemWhole)
{
    const Bstr one(W("one"));
    QBase::wstring two(W("two"));
    const Context other = NewContext();
    EXPECT_EQ(mContext->SetTextByGuid(cGuid, nullptr), E_INVALIDARG);
    EXPECT_EQ(mContext->SetTextByGuid(cGuid, Bstr(W("")).mText), E_INVALIDARG);
    EXPECT_EQ(mContext->GetTextByGuidBstr(cGuid, nullptr), E_INVALIDARG);
    EXPECT_EQ(mContext->CopyTextTable(nullptr), E_INVALIDARG);
    EXPECT_EQ(TextOf(*mContext.Get(), cGuid), "\"\"");
    EXPECT_EQ(mContext->SetTextByGuid(cGuid, one.mText), S_OK);
    EXPECT_EQ(other->MoveTextByGuid(cOtherGuid, two), S_OK);
    EXPECT_TRUE(two.empty());
    EXPECT_EQ(other->CopyTextTable(mContext.Get()), S_OK);
    EXPECT_EQ(other->CopyTextTable(other.Get()), S_OK);
    EXPECT_EQ(TextOf(*other.Get(), cGuid), "\"one\"");
    EXPECT_EQ(TextOf(*other.Get(), cOtherGuid), "\"\"");
    two = W("stays");
    EXPECT_EQ(other->GetTextByGuid(cOtherGuid, two), S_OK);
    EXPECT_EQ(two, W("stays"));
}

TEST_F(ProcessContext, WritesItsLogPropertiesAsJson)
{
    std::string json;
    std::map<std::string, std::string> properties{{"old", "gone"}};
    mContext->SetLogProperty("b", "1");
    mContext->SetLogProperty("a", "\"x\"");
    mContext->SetLogProperty("b", "2");
    EXPECT_EQ(mContext->GetLogMessageInJSON(&json), S_OK);
    EXPECT_EQ(json.find("{\"a\""), 0u) << json;
    EXPECT_NE(json.find("\\\"x\\\""), std::string::npos) << json;
    EXPECT_EQ(mContext->CopyLogProperties(&properties), S_OK);
    EXPECT_EQ(properties, (std::map<std::string, std::string>{{"a", "\"x\""}, {"b", "2"}}));
    mContext->ClearLogProperties();
    mContext->CopyLogProperties(&properties);
    EXPECT_TRUE(properties.empty());
}

TEST_F(ProcessContext, ResolvesTheNameOnceByTheSessionsFlags)
{
    EXPECT_EQ(ResolvedName(), "\"\"") << "no session yet";
    mSession.mOnCall = [this] { ExpectLockFree(); };
    mContext->put_ContextObjectA(&mSession);
    EXPECT_EQ(ResolvedName(), "\"nine\"");
    mSession.mFlags = 3;
    EXPECT_EQ(ResolvedName(), "\"nine\"") << "kept";
    EXPECT_EQ(mSession.mNamesGiven, 1);
    mContext = NewContext();
    mContext->put_ContextObjectA(&mSession);
    EXPECT_EQ(ResolvedName(), "\"eight\"");
    EXPECT_EQ(mSession.mReferences, 1u);
}

TEST_F(ProcessContext, ResolvesADashWhenTheSessionTellsNoName)
{
    FakeContextSession noFlags;
    FakeContextSession noName;
    FakeContextSession noInterface;
    noFlags.mFlagsCode = E_FAIL;
    noName.mNameCode = E_FAIL;
    noInterface.mInterfaceId = GUID_NULL;
    for (FakeContextSession* session : {&noFlags, &noName, &noInterface})
    {
        const Context context = mContext = NewContext();
        context->put_ContextObjectA(session);
        EXPECT_EQ(ResolvedName(), "\"-\"");
        EXPECT_EQ(session->mReferences, 1u);
        mContext = NewContext();
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
    EXPECT_EQ(mSource.mReferences, 1u);
    EXPECT_EQ(mInstance.mReferences, 1u);
}

TEST_F(ProcessContext, PassesCallsOnToTheSession)
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
    EXPECT_EQ(mSession.mReferences, 1u);
}

TEST_F(ProcessContext, AsksContextObjectDForItsItem)
{
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
    mContext = {};
    EXPECT_EQ(mSession.mReferences + mObjectO.mReferences + mDefinition.mReferences + mSource.mReferences +
                  mObjectD.mReferences,
              0u);
}

TEST_F(ProcessContext, LetsGoOfCollaboratorsWhoseReleaseThrows)
{
    int refreshes = 0;
    FakeObjectO newer;
    newer.mGuid = cOtherGuid;
    for (bool* bThrows : {&mSession.mbReleaseThrows, &mDefinition.mbReleaseThrows, &mSource.mbReleaseThrows,
                          &mObjectO.mbReleaseThrows, &mObjectD.mbReleaseThrows, &newer.mbReleaseThrows})
        *bThrows = true;
    mSource.mpObject = &mDefinition;
    mContext->put_ContextObjectA(&mSession);
    EXPECT_EQ(ResolvedName(), "\"nine\"");
    EXPECT_EQ(mContext->CallContextObjectA(nullptr), S_OK);
    mContext->put_ContextObjectC(&mSource);
    EXPECT_EQ(ObjectID(), GUID_NULL);
    ThreadContextListener::Set([&refreshes] { ++refreshes; });
    EXPECT_EQ(mContext->put_ContextObjectC(&mObjectD), cSystemExceptionMet);
    EXPECT_EQ(mContext->put_ContextObjectB(&mObjectD), S_OK);
    EXPECT_EQ(mContext->put_ContextObjectB(&mSession), cSystemExceptionMet);
    ThreadContextListener::Set({});
    EXPECT_EQ(refreshes, 3);

    GUID guid = GUID_NULL;
    mContext->put_ContextObjectO(&mObjectO);
    EXPECT_EQ(mContext->put_ContextObjectO(&newer), cSystemExceptionMet);
    mContext->get_GuidF(&guid);
    EXPECT_EQ(guid, cOtherGuid) << "that of the new object";
    {
        const auto in =
            QMessage::NewReadMessage(nullptr, 0, &mObjectO); // the last reference to its item is a message's
        EXPECT_EQ(mContext->SetRequestIn(1, in.Get(), nullptr, &mObjectD, cGuid), S_OK);
    }
    EXPECT_EQ(mContext->SetRequestIn(2, nullptr, nullptr, nullptr, cOtherGuid), cSystemExceptionMet);
    mContext->get_RequestID(&guid);
    EXPECT_EQ(guid, cOtherGuid);
    mContext->put_LinkA(&mObjectD);
    mContext->put_LinkB(&mObjectO);
    EXPECT_EQ(mContext->put_LinkA(nullptr), cSystemExceptionMet);
    ExpectLockFree();
    mContext = {};
    for (const auto& references :
         {mSession.mReferences.load(), mDefinition.mReferences.load(), newer.mReferences.load(),
          mSource.mReferences.load(), mObjectO.mReferences.load(), mObjectD.mReferences.load()})
        EXPECT_EQ(references, 0u);
}

TEST_F(ProcessContext, AnswersForItsInterfaceAndTheMarshalersOnly)
{
    for (const GUID* id : {&IID_IUnknown, &IID_ICKDXProcessContext, &IID_IMarshal})
    {
        void* found = nullptr;
        ASSERT_EQ(mContext->QueryInterface(*id, &found), S_OK);
        const auto held = PtrI<IUnknown>::Adopt(static_cast<IUnknown*>(found));
        void* back = nullptr;
        ASSERT_EQ(held->QueryInterface(IID_IUnknown, &back), S_OK);
        EXPECT_EQ(PtrI<IUnknown>::Adopt(static_cast<IUnknown*>(back)).Get(), mContext->GetInterface());
    }
    void* none = this;
    EXPECT_EQ(mContext->QueryInterface(IID_ICKDXSession, &none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(mContext->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    EXPECT_EQ(mContext->Reserved1(), E_NOTIMPL);
    EXPECT_EQ(mContext->Reserved2(), E_NOTIMPL);
}

TEST_F(ProcessContext, HasItsOperationsAtTheirPlaces)
{
    EXPECT_EQ(PlaceOf(&ICKDXProcessContext::get_RequestCode), 3u);
    EXPECT_EQ(PlaceOf(&ICKDXProcessContext::get_OutMessage), 50u);
    EXPECT_EQ(PlaceOf(&ICKDXProcessContext::put_ContextObjectU), 77u);
    EXPECT_EQ(PlaceOf(&ICKDXProcessContext::put_ShortB), 94u);
    EXPECT_EQ(PlaceOf(&ICKDXProcessContext::EndThreadMessage), 136u);
    EXPECT_EQ(PlaceOf(&CKDXProcessContext::get_GuidF) - PlaceOf(&CKDXProcessContext::GetInterface), 23u);
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
    for (const auto fault : {Faults::EnumFault::Allocation, Faults::EnumFault::LockCreation})
    {
        for (int nth = 1; nth <= 2; ++nth)
        {
            Context context = NewContext();
            Faults::StartCountingBlocks();
            Faults::FailNth(fault, nth);
            Context failed;
            EXPECT_EQ(CreateProcessContext(failed), E_OUTOFMEMORY);
            Faults::FailNth(fault, 0);
            EXPECT_FALSE(failed);
            EXPECT_EQ(Faults::StopCountingBlocks(), 0);
        }
    }
}

} // namespace
