// Tests of the process context's messages: those of the request, and those of the threads that work for it.
#include "platform/builtin/Faults.h"
#include "tests/context/ContextFakes.h"
#include "tests/support/Messages.h"
#include "tests/support/Threads.h"

#include <algorithm>

using QBase::PtrI;

namespace
{

class ProcessContextMessages : public testing::Test
{
protected:
    void GiveInput() { mContext->SetRequestIn(1, mInput.Get(), nullptr, nullptr, GUID_NULL); }
    PtrI<ICKDXWriteMessage> Out() { return Given(mContext, &CKDXProcessContext::get_OutMessage); }
    PtrI<ICKDXReadMessage> In() { return Given(mContext, &CKDXProcessContext::get_InMessage); }

    FakeObjectO mItem;
    PtrI<ICKDXReadMessage> mInput = QMessage::NewReadMessage(nullptr, 0, &mItem);
    PtrI<CKDXServerMessage> mOutput = QMessage::NewServerMessage(&mItem);
    Context mContext = NewContext();
};

TEST_F(ProcessContextMessages, AreMadeOfTheInputMessageWhenFirstAskedFor)
{
    IUnknown* item = &mItem;
    EXPECT_FALSE(Out());
    for (auto get : {&CKDXProcessContext::get_InMessageItem, &CKDXProcessContext::get_ReplyMessage})
        EXPECT_EQ((mContext.Get()->*get)(&item), E_FAIL);
    EXPECT_EQ(item, nullptr);
    GiveInput();
    const DWORD held = mItem.mReferences;
    for (auto get : {&CKDXProcessContext::get_InMessageItem, &CKDXProcessContext::get_ReplyMessage})
        EXPECT_EQ(Given(mContext, get).Get(), &mItem);
    EXPECT_EQ(mItem.mReferences, held + 1) << "the new reply holds one";
    EXPECT_EQ(Out().Get(), Out().Get());
}

TEST_F(ProcessContextMessages, OfTheRequestBeforeGo)
{
    const PtrI<CKDXServerMessage> reply = QMessage::NewServerMessage();
    mContext->SetRequestOut(1, mOutput.Get(), reply.Get(), &mItem, GUID_NULL);
    EXPECT_EQ(Out().Get(), reply.Get());
    EXPECT_FALSE(In());
    GiveInput();
    EXPECT_EQ(In().Get(), mInput.Get());
    EXPECT_NE(Out().Get(), reply.Get());
    mContext = {};
    EXPECT_EQ(mItem.mReferences, 2u) << "those of the test's own two messages";
}

TEST_F(ProcessContextMessages, AreAskedWhetherTheyAreEmptyAndWhoseTheyAre)
{
    EXPECT_EQ(mContext->IsInMessageEmpty(), 0) << "none at all";
    EXPECT_EQ(mContext->InMessageQueryB(&mItem), S_FALSE);
    GiveInput();
    EXPECT_EQ(mContext->IsInMessageEmpty(), 1);

    Pack(mOutput.Get(), 7);
    mContext->SetRequestOut(1, mOutput.Get(), nullptr, nullptr, GUID_NULL);
    EXPECT_EQ(mContext->ConvertOutToIn(), S_OK);
    const auto converted = In();
    EXPECT_EQ(mContext->ConvertOutToIn(), S_OK) << "nothing is out any more";
    EXPECT_EQ(In().Get(), converted.Get());
    EXPECT_EQ(mContext->IsInMessageEmpty(), 0);
    EXPECT_EQ(mContext->InMessageQueryA(mInput.Get()), S_OK) << "the same item";
    EXPECT_EQ(mContext->InMessageQueryB(Out().Get()), S_OK);
    EXPECT_EQ(CodesIn(Out()), Codes{7});
}

TEST_F(ProcessContextMessages, StayWhereTheyAreWithoutMemoryForTheNext)
{
    using Builtin::Faults::EnumFault;
    IUnknown* item = nullptr;
    GiveInput();
    Builtin::Faults::FailNth(EnumFault::Allocation, 1);
    EXPECT_EQ(mContext->get_ReplyMessage(&item), E_OUTOFMEMORY);
    mContext->SetRequestOut(1, mOutput.Get(), nullptr, nullptr, GUID_NULL);
    Builtin::Faults::FailNth(EnumFault::Allocation, 1);
    EXPECT_EQ(mContext->ConvertOutToIn(), E_OUTOFMEMORY);
    EXPECT_FALSE(In());
    EXPECT_EQ(mContext->ConvertOutToIn(), S_OK);
    EXPECT_TRUE(In());
}

TEST_F(ProcessContextMessages, TakeStatusEntriesUnderTheIdThatComesBack)
{
    EXPECT_EQ(mContext->AddStatusMessage(42, QORJOB_W("Kernel")), 42) << "no message";
    GiveInput();
    EXPECT_EQ(mContext->AddStatusMessage(E_FAIL, QORJOB_W("Kernel")), E_FAIL);
    EXPECT_EQ(CodesIn(Out()), Codes{static_cast<unsigned>(E_FAIL)});
    Out()->Close();
    EXPECT_EQ(mContext->AddStatusMessage(44, QORJOB_W("Kernel")), 44);
}

TEST_F(ProcessContextMessages, OfTwoThreadsMeetInTheReply)
{
    GiveInput();
    const PtrI<ICKDXWriteMessage> reply = Out();
    RunOnThreads(2, [&](int iIndex) {
        EXPECT_EQ(mContext->BeginThreadMessage(), S_OK);
        const PtrI<ICKDXWriteMessage> own = Out();
        EXPECT_NE(own.Get(), reply.Get());
        EXPECT_EQ(mContext->BeginThreadMessage(), S_OK);
        EXPECT_EQ(Out().Get(), own.Get()) << "the entry that is there stays";
        mContext->AddStatusMessage(100 + iIndex, QORJOB_W("Kernel"));
        EXPECT_EQ(CodesIn(own), Codes{100u + static_cast<unsigned>(iIndex)});
        mContext->EndThreadMessage(0);
        EXPECT_EQ(Out().Get(), reply.Get());
    });
    Codes codes = CodesIn(reply);
    std::sort(codes.begin(), codes.end());
    EXPECT_EQ(codes, (Codes{100, 101}));
}

TEST_F(ProcessContextMessages, OfOneThreadGoIntoAnothersWhenItIsNamed)
{
    GiveInput();
    mContext->BeginThreadMessage();
    const DWORD threadId = QBase::GetCurrentThreadID();
    RunOnThreads(1, [&](int) {
        mContext->BeginThreadMessage();
        mContext->AddStatusMessage(100, QORJOB_W("Kernel"));
        mContext->EndThreadMessage(threadId);
    });
    EXPECT_EQ(CodesIn(Out()), Codes{100});
}

TEST_F(ProcessContextMessages, OfAThreadEndQuietlyWhereOneIsMissing)
{
    mContext->EndThreadMessage(0); // never begun
    mContext->BeginThreadMessage();
    EXPECT_FALSE(Out()) << "of no input";
    mContext->EndThreadMessage(0);

    GiveInput();
    const PtrI<ICKDXWriteMessage> reply = Out();
    mContext->BeginThreadMessage();
    mContext->AddStatusMessage(100, QORJOB_W("Kernel"));
    reply->Close();
    mContext->EndThreadMessage(0); // the reply takes nothing any more
    EXPECT_EQ(CodesIn(reply), Codes());

    mContext->BeginThreadMessage();
    mContext->SetRequestIn(1, nullptr, nullptr, nullptr, GUID_NULL);
    mContext->EndThreadMessage(0); // no reply to go into
    EXPECT_FALSE(Out());
}

} // namespace
