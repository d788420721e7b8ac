// The messages of a request, and those of the threads that work for it.
#include "platform/QLogRouter.h"
#include "tests/context/ContextFakes.h"
#include "tests/support/Threads.h"

#include <algorithm>
#include <memory>
#include <vector>

using QBase::PtrI;

namespace
{

class ProcessContextMessages : public testing::Test
{
protected:
    void GiveInput() { mContext->SetRequestIn(1, mInput.Get(), nullptr, nullptr, GUID_NULL); }

    PtrI<ICKDXWriteMessage> Out()
    {
        ICKDXWriteMessage* message = nullptr;
        EXPECT_EQ(mContext->get_OutMessage(&message), S_OK);
        return PtrI<ICKDXWriteMessage>::Adopt(message);
    }

    PtrI<ICKDXReadMessage> In()
    {
        ICKDXReadMessage* message = nullptr;
        EXPECT_EQ(mContext->get_InMessage(&message), S_OK);
        return PtrI<ICKDXReadMessage>::Adopt(message);
    }

    /// The codes of the entries, in order.
    static std::vector<unsigned> CodesIn(ICKDXWriteMessage* iMessage)
    {
        ICKDXReadBlockStream* stream = nullptr;
        EXPECT_EQ(iMessage->get_BlockStream(&stream), S_OK);
        const auto held = PtrI<ICKDXReadBlockStream>::Adopt(stream);
        std::vector<unsigned> codes;
        std::unique_ptr<QORMessageUnpacker> entry;
        do
        {
            EXPECT_EQ(QORMessageUnpacker::Create(stream, QORMessageUnpacker::cNoLanguage, entry), S_OK);
            if (entry && !entry->IsMessageEmpty())
                codes.push_back(entry->GetMessageId());
        } while (entry && !entry->IsLastMessageInStream());
        std::sort(codes.begin(), codes.end());
        return codes;
    }

    FakeObjectO mItem;
    PtrI<ICKDXReadMessage> mInput = QMessage::NewReadMessage(nullptr, 0, &mItem);
    PtrI<CKDXServerMessage> mOutput = QMessage::NewServerMessage(&mItem);
    Context mContext = NewContext();
};

TEST_F(ProcessContextMessages, AreMadeOfTheInputMessageWhenFirstAskedFor)
{
    EXPECT_EQ(mContext->get_OutMessage(nullptr), E_POINTER);
    EXPECT_FALSE(Out());
    GiveInput();
    const PtrI<ICKDXWriteMessage> reply = Out();
    ASSERT_TRUE(reply);
    EXPECT_EQ(Out().Get(), reply.Get());
    IUnknown* item = nullptr;
    EXPECT_EQ(reply->get_Item(&item), S_OK);
    EXPECT_EQ(PtrI<IUnknown>::Adopt(item).Get(), &mItem);
}

TEST_F(ProcessContextMessages, GiveTheItemOfTheReply)
{
    IUnknown* item = &mItem;
    EXPECT_EQ(mContext->get_ReplyMessage(nullptr), E_POINTER);
    EXPECT_EQ(mContext->get_ReplyMessage(&item), E_FAIL);
    EXPECT_EQ(item, nullptr);
    EXPECT_EQ(mContext->get_InMessageItem(nullptr), E_POINTER);
    EXPECT_EQ(mContext->get_InMessageItem(&item), E_FAIL);
    GiveInput();
    const ULONG held = mItem.mReferences;
    for (auto get : {&CKDXProcessContext::get_InMessageItem, &CKDXProcessContext::get_ReplyMessage})
    {
        EXPECT_EQ((mContext.Get()->*get)(&item), S_OK);
        EXPECT_EQ(PtrI<IUnknown>::Adopt(item).Get(), &mItem);
    }
    EXPECT_EQ(mItem.mReferences, held + 1) << "the new reply holds one";
}

TEST_F(ProcessContextMessages, OfTheRequestBeforeGo)
{
    const PtrI<CKDXServerMessage> reply = QMessage::NewServerMessage();
    const GUID id = {1, 2, 3, {4}};
    mContext->SetRequestOut(1, mOutput.Get(), reply.Get(), &mItem, id);
    EXPECT_EQ(Out().Get(), reply.Get());
    EXPECT_FALSE(In());
    GUID found = GUID_NULL;
    mContext->get_RequestID(&found);
    EXPECT_EQ(found, id);
    GiveInput();
    EXPECT_EQ(In().Get(), mInput.Get());
    EXPECT_NE(Out().Get(), reply.Get());
    EXPECT_EQ(mContext->ConvertOutToIn(), S_OK);
    EXPECT_EQ(In().Get(), mInput.Get()) << "no output message any more";
    mContext = {};
    EXPECT_EQ(mItem.mReferences, 2u) << "those of the test's own two messages";
}

TEST_F(ProcessContextMessages, TurnFromOutputIntoInput)
{
    {
        const QORMessagePacker packer(mOutput.Get(), W("Kernel"), 7);
    }
    mContext->SetRequestOut(1, mOutput.Get(), nullptr, nullptr, GUID_NULL);
    EXPECT_EQ(mContext->ConvertOutToIn(), S_OK);
    EXPECT_TRUE(In());
    EXPECT_EQ(mContext->IsInMessageEmpty(), 0);
    EXPECT_EQ(mContext->InMessageQueryA(mInput.Get()), S_OK) << "the same item";
    EXPECT_EQ(mContext->InMessageQueryB(Out().Get()), S_OK);
    EXPECT_EQ(CodesIn(Out().Get()), std::vector<unsigned>{7});
}

TEST_F(ProcessContextMessages, TellWhetherTheInputIsEmpty)
{
    EXPECT_EQ(mContext->IsInMessageEmpty(), 0) << "none at all";
    EXPECT_EQ(mContext->InMessageQueryA(nullptr), E_POINTER);
    EXPECT_EQ(mContext->InMessageQueryA(&mItem), S_FALSE);
    EXPECT_EQ(mContext->InMessageQueryB(nullptr), E_POINTER);
    EXPECT_EQ(mContext->InMessageQueryB(&mItem), S_FALSE);
    GiveInput();
    EXPECT_EQ(mContext->IsInMessageEmpty(), 1);
    EXPECT_EQ(mContext->InMessageQueryA(&mItem), E_NOINTERFACE);
    EXPECT_EQ(mContext->InMessageQueryB(&mItem), E_NOINTERFACE);
}

TEST_F(ProcessContextMessages, TakeStatusEntriesUnderTheIdThatComesBack)
{
    EXPECT_EQ(mContext->AddStatusMessage(42, W("Kernel")), 42);
    GiveInput();
    EXPECT_EQ(mContext->AddStatusMessage(E_FAIL, W("Kernel")), E_FAIL);
    EXPECT_EQ(mContext->AddStatusMessage(43, nullptr), 43);
    EXPECT_EQ(CodesIn(Out().Get()), (std::vector<unsigned>{43, static_cast<unsigned>(E_FAIL)}));
    Out()->Close();
    EXPECT_EQ(mContext->AddStatusMessage(44, W("Kernel")), 44);
}

TEST_F(ProcessContextMessages, OfTwoThreadsMeetInTheReply)
{
    GiveInput();
    const PtrI<ICKDXWriteMessage> reply = Out();
    PtrI<ICKDXWriteMessage> own[2];
    RunOnThreads(2, [&](int iIndex) {
        EXPECT_EQ(mContext->BeginThreadMessage(), S_OK);
        own[iIndex] = Out();
        EXPECT_EQ(mContext->BeginThreadMessage(), S_OK);
        EXPECT_EQ(Out().Get(), own[iIndex].Get()) << "the entry that is there stays";
        mContext->AddStatusMessage(100 + iIndex, W("Kernel"));
        EXPECT_EQ(CodesIn(own[iIndex].Get()), std::vector<unsigned>{100u + static_cast<unsigned>(iIndex)});
        mContext->EndThreadMessage(0);
        EXPECT_EQ(Out().Get(), reply.Get());
    });
    EXPECT_NE(own[0].Get(), own[1].Get());
    EXPECT_NE(own[0].Get(), reply.Get());
    EXPECT_EQ(CodesIn(reply.Get()), (std::vector<unsigned>{100, 101}));
}

TEST_F(ProcessContextMessages, OfOneThreadGoIntoAnothersWhenItIsNamed)
{
    GiveInput();
    mContext->BeginThreadMessage();
    const DWORD threadId = QBase::GetCurrentThreadID();
    RunOnThreads(1, [&](int) {
        mContext->BeginThreadMessage();
        mContext->AddStatusMessage(100, W("Kernel"));
        mContext->EndThreadMessage(threadId);
    });
    EXPECT_EQ(CodesIn(Out().Get()), std::vector<unsigned>{100});
    Out()->Close();
    mContext->AddStatusMessage(101, W("Kernel"));
    mContext->EndThreadMessage(0);
    EXPECT_EQ(CodesIn(Out().Get()), std::vector<unsigned>{100});
}

TEST_F(ProcessContextMessages, OfAThreadAreNoneWithoutAnInput)
{
    const PtrI<CKDXServerMessage> reply = QMessage::NewServerMessage();
    mContext->SetRequestOut(1, mOutput.Get(), reply.Get(), nullptr, GUID_NULL);
    EXPECT_EQ(mContext->BeginThreadMessage(), S_OK);
    EXPECT_FALSE(Out());
    EXPECT_EQ(mContext->AddStatusMessage(42, W("Kernel")), 42);
    mContext->EndThreadMessage(0);
    EXPECT_EQ(Out().Get(), reply.Get());
    mContext->EndThreadMessage(0);
    EXPECT_TRUE(CodesIn(reply.Get()).empty());
}

} // namespace
