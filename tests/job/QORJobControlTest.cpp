// What a client is told whose request is pending.
#include "base/ExceptionBoundary.h"
#include "context/CKDXProcessContext.h"
#include "record/QORChannelRequest.h"
#include "tests/support/JobTest.h"
#include "tests/support/Messages.h"

using Control = JobTest;

TEST_F(Control, LeavesARequestPendingWhoseContextThrows)
{
    FakeProcessContext context;
    const auto channel = QMessage::NewChannel([](ICKDXReadMessage*) { return S_OK; });
    QORChannelRequest request(channel.Get(), 1, 2);
    const JobPtr job = NewJob();
    job->SetProcessContext(&context);
    job->AddChannelRequest(&request);
    context.mOnCall = [](const std::string&) { throw QBase::Message("a fault"); };
    EXPECT_EQ(job->SetStatus(JobReplied, nullptr), cMessageExceptionMet);
    EXPECT_TRUE(request.get_Channel());
    context.mOnCall = nullptr;
    SetStatus(*job.Get(), JobReplied);
    EXPECT_FALSE(request.get_Channel());
    job->CompleteChannelRequest(&request);
}

TEST_F(Control, AnswersTheFirstPendingRequestOnce)
{
    for (const auto& [type, indicator] : {std::pair(2, 0), {2, 5}, {2, -1}, {1, -1}})
    {
        const bool bRefused = type == 2 && indicator == -1;
        Texts replies;
        const auto channel = QMessage::NewChannel([&](ICKDXReadMessage* iMessage) {
            const QBase::PtrI<ICKDXReadMessage> message(iMessage);
            std::unique_ptr<QORMessageUnpacker> entry;
            HRESULT result = S_OK;
            EXPECT_TRUE(message->get_ErrorCode(&result) == S_OK);
            EXPECT_EQ(result, bRefused ? static_cast<HRESULT>(0x80043018) : 0x40002);
            EXPECT_EQ(CodesIn(message), Codes{bRefused ? 0x80043018 : 0x43094});
            const auto stream = Given(message, &ICKDXReadMessage::get_BlockStream);
            EXPECT_EQ(QORMessageUnpacker::Create(stream.Get(), QORMessageUnpacker::cNoLanguage, entry), S_OK);
            replies.push_back(entry->Build());
            EXPECT_EQ(TakeLog(), Texts()) << "it is told when it is done";
            return S_OK;
        });
        QBase::PtrI<CKDXProcessContext> context;
        EXPECT_EQ(CreateProcessContext(context), S_OK);
        QORChannelRequest first(channel.Get(), 1, 2);
        QORChannelRequest second(channel.Get(), 3, 4);
        const JobPtr job = NewJob(type);
        job->SetProjectName(QORJOB_W("Climate"));
        SetStatus(*job.Get(), 9); // nothing is pending yet
        job->AddChannelRequest(&first);
        job->AddChannelRequest(&second);
        SetStatus(*job.Get(), 9); // no context yet
        EXPECT_TRUE(first.get_Channel());
        context->put_ShortA(static_cast<std::int16_t>(indicator));
        const auto in = QMessage::NewReadMessage(nullptr, 0);
        EXPECT_EQ(context->SetRequestIn(0, in.Get(), nullptr, nullptr, GUID_NULL), S_OK);
        job->SetProcessContext(context.Get());
        TakeLog();
        SetStatus(*job.Get(), 9);
        SetStatus(*job.Get(), 9);
        ASSERT_EQ(replies.size(), 1u) << "the first request has none left, the second isn't the first";
        EXPECT_EQ(replies[0].find("Climate") != std::string::npos, bRefused) << replies[0];
        EXPECT_FALSE(first.get_Channel());
        HRESULT code = E_FAIL;
        void* server = nullptr;
        Given(context, &ICKDXProcessContext::get_OutMessage)->QueryInterface(IID_CKDXServerMessage, &server);
        QBase::PtrI<CKDXServerMessage>::Adopt(static_cast<CKDXServerMessage*>(server))->get_ErrorCode(&code);
        EXPECT_EQ(code, S_OK) << "the message is as new";
        job->CompleteChannelRequest(&first);
        Given(context, &ICKDXProcessContext::get_OutMessage)->Close(); // takes no result
        SetStatus(*job.Get(), 9);
        EXPECT_EQ(replies.size(), 1u);
        job->CompleteChannelRequest(&second);
        job->AddChannelRequest(nullptr); // nobody waits for it
        job->AddChannelRequest(&second);
        SetStatus(*job.Get(), 9);
        EXPECT_EQ(replies.size(), 1u);
        job->CompleteChannelRequest(&second);
    }
}
