// The messages that bind a job to its client, and the requests that it waits for.
#include "platform/QMessage.h"
#include "report/QORChannelRequest.h"
#include "tests/support/JobTest.h"

namespace
{

using ChannelRequests = JobTest;
using JobMessages = JobTest;

class FakeChannel final : public QORChannel
{
public:
    unsigned AddRef() override { return ++mReferences; }
    unsigned Release() override { return --mReferences; }
    HRESULT Send(ICKDXReadMessage*) override { return S_OK; }
    void Close() override {}

    unsigned mReferences = 0;
};

template <class Message>
unsigned ReferencesOf(const QBase::PtrI<Message>& iMessage)
{
    iMessage->AddRef();
    return iMessage->Release();
}

/// What the getter gives, its reference released again.
template <class Message, class Job, class Getter>
Message* Given(Job& iJob, Getter iGetter)
{
    Message* message = nullptr;
    EXPECT_EQ((iJob.*iGetter)(&message), S_OK);
    return QBase::PtrI<Message>::Adopt(message).Get();
}

} // namespace

TEST_F(ChannelRequests, HoldTheirChannelOnce)
{
    FakeChannel first;
    FakeChannel second;
    {
        QORChannelRequest request(&first, -5, 7);
        EXPECT_EQ(request.get_UserData(), -5);
        EXPECT_EQ(request.get_Cookie(), 7);
        EXPECT_EQ(request.get_Channel().Get(), &first);
        EXPECT_EQ(first.mReferences, 1u);
        request.set_Channel(&first);
        EXPECT_EQ(first.mReferences, 1u);
        request.set_Channel(&second);
        EXPECT_EQ(first.mReferences, 0u);
        EXPECT_EQ(second.mReferences, 1u);
        request.set_Channel(nullptr);
        EXPECT_FALSE(request.get_Channel());
        EXPECT_EQ(second.mReferences, 0u);
        request.set_Channel(&first);
    }
    EXPECT_EQ(first.mReferences, 0u);
}

TEST_F(ChannelRequests, AreListedInOrderAndUnlinkedOneByOne)
{
    FakeChannel channel;
    QORChannelRequest a(&channel, 0, 1);
    QORChannelRequest b(nullptr, 0, 2);
    QORChannelRequest stranger(nullptr, 0, 3);
    const JobPtr job = NewJob();
    QORChannelRequest* found = &a;
    const auto listed = [&] {
        std::string names;
        for (int index = 0; index < 3; ++index)
        {
            EXPECT_EQ(job->GetChannelRequest(&found, index), S_OK);
            names += found == &a ? 'a' : found == &b ? 'b' : '-';
        }
        return names;
    };
    EXPECT_EQ(job->GetChannelRequest(nullptr, 0), E_POINTER);
    EXPECT_EQ(job->CompleteChannelRequest(&a), E_UNEXPECTED);
    EXPECT_EQ(listed(), "---");
    for (QORChannelRequest* request : {&a, &b, &a})
        EXPECT_EQ(job->AddChannelRequest(request), S_OK);
    EXPECT_EQ(listed(), "aba");
    EXPECT_EQ(job->GetChannelRequest(&found, -1), S_OK);
    EXPECT_EQ(found, &a);
    EXPECT_EQ(job->CompleteChannelRequest(&stranger), E_INVALIDARG);
    EXPECT_EQ(job->CompleteChannelRequest(&a), S_OK);
    EXPECT_EQ(job->AddChannelRequest(&b), S_OK);
    EXPECT_EQ(listed(), "bab") << "the first of the two entries is gone";
    for (QORChannelRequest* request : {&b, &b, &a})
        EXPECT_EQ(job->CompleteChannelRequest(request), S_OK);
    EXPECT_EQ(job->CompleteChannelRequest(&a), E_UNEXPECTED);
    EXPECT_EQ(channel.mReferences, 1u) << "the request is its owner's";
}

TEST_F(JobMessages, AreHeldOnceAndGivenWithAReference)
{
    const auto in = QMessage::NewReadMessage(nullptr, 0);
    const auto inBox = QMessage::NewServerMessage();
    const JobPtr job = NewJob();
    EXPECT_EQ(job->GetInMessage(nullptr), E_POINTER);
    EXPECT_EQ(job->GetInBoxMsgPtr(nullptr), E_POINTER);
    for (int time = 0; time < 2; ++time) // the same one again stays
    {
        EXPECT_EQ(job->SetInMessage(in.Get()), S_OK);
        EXPECT_EQ(job->SetInBoxMsgPtr(inBox.Get()), S_OK);
        EXPECT_EQ(Given<ICKDXReadMessage>(*job.Get(), &QORJob::GetInMessage), in.Get());
        EXPECT_EQ(Given<CKDXServerMessage>(*job.Get(), &QORJob::GetInBoxMsgPtr), inBox.Get());
        EXPECT_EQ(ReferencesOf(in), 2u);
        EXPECT_EQ(ReferencesOf(inBox), 2u);
    }
    const auto other = QMessage::NewServerMessage();
    for (const int status : {JobStoppedWithError, JobCancelled})
    {
        SetStatus(*job.Get(), status);
        EXPECT_EQ(job->SetInBoxMsgPtr(other.Get()), S_FALSE);
        EXPECT_EQ(Given<CKDXServerMessage>(*job.Get(), &QORJob::GetInBoxMsgPtr), inBox.Get());
    }
    EXPECT_EQ(ReferencesOf(other), 1u);
    EXPECT_EQ(job->SetInBoxMsgPtr(nullptr), S_OK);
    EXPECT_EQ(job->SetInMessage(nullptr), S_OK);
    EXPECT_EQ(Given<CKDXServerMessage>(*job.Get(), &QORJob::GetInBoxMsgPtr), nullptr);
    EXPECT_EQ(ReferencesOf(in), 1u);
    EXPECT_EQ(ReferencesOf(inBox), 1u);
}

TEST_F(JobMessages, OfTheAnswerAreTheContexts)
{
    FakeProcessContext context;
    const JobPtr job = NewJob();
    for (const auto getter : {&QORJob::GetOutMessage, &QORJob::GetErrMessage})
    {
        auto* message = reinterpret_cast<ICKDXWriteMessage*>(this);
        EXPECT_EQ((job.Get()->*getter)(nullptr), E_POINTER);
        job->SetProcessContext(nullptr);
        EXPECT_EQ((job.Get()->*getter)(&message), S_OK);
        EXPECT_EQ(message, nullptr);
        job->SetProcessContext(&context);
        context.mCalls.clear();
        EXPECT_EQ((job.Get()->*getter)(&message), E_NOTIMPL) << "what the context says";
        EXPECT_EQ(context.mCalls, Texts{"get_OutMessage"});
        context.mOnCall = [](const std::string&) { throw QBase::Message("gone"); };
        EXPECT_EQ((job.Get()->*getter)(&message), HRESULT(0x8004308B));
        context.mOnCall = nullptr;
    }
}
