// The messages that bind a job to its client, and the requests that it waits for.
#include "platform/QMessage.h"
#include "report/QORChannelRequest.h"
#include "tests/support/JobTest.h"

namespace
{

using ChannelRequests = JobTest;
using JobMessages = JobTest;

template <class Object>
unsigned ReferencesOf(const QBase::PtrI<Object>& iObject)
{
    iObject->AddRef();
    return iObject->Release();
}

template <class Message, class Getter>
QBase::PtrI<Message> Given(const JobPtr& iJob, Getter iGetter)
{
    Message* message = nullptr;
    EXPECT_EQ((iJob.Get()->*iGetter)(&message), S_OK);
    return QBase::PtrI<Message>::Adopt(message);
}

} // namespace

TEST_F(ChannelRequests, AreListedInOrderAndUnlinkedOneByOne)
{
    const auto first = QMessage::NewChannel({});
    const auto second = QMessage::NewChannel({});
    QORChannelRequest a(first.Get(), -5, 7);
    QORChannelRequest b(nullptr, 0, 2);
    QORChannelRequest* found = nullptr;
    for (const auto& channel : {first, second, second})
        a.set_Channel(channel.Get());
    EXPECT_EQ(a.get_Channel().Get(), second.Get());
    EXPECT_EQ(ReferencesOf(first) * 10 + ReferencesOf(second), 12u);
    EXPECT_EQ(a.get_Cookie() * 10 + a.get_UserData(), 65);

    const JobPtr job = NewJob();
    const auto listed = [&](int iCount) {
        std::string names;
        for (int index = 0; index < iCount && job->GetChannelRequest(&found, index) == S_OK; ++index)
            names += found == &a ? 'a' : found == &b ? 'b' : '-';
        return names;
    };
    EXPECT_EQ(job->CompleteChannelRequest(&a), E_UNEXPECTED);
    EXPECT_EQ(listed(2), "--");
    for (QORChannelRequest* request : {&a, &b, &a})
        EXPECT_EQ(job->AddChannelRequest(request), S_OK);
    EXPECT_EQ(listed(3), "aba");
    EXPECT_EQ(job->CompleteChannelRequest(&a), S_OK);
    EXPECT_EQ(listed(2), "ba") << "the first of the two entries is gone";
    for (QORChannelRequest* request : {&b, &a})
        EXPECT_EQ(job->CompleteChannelRequest(request), S_OK);
    EXPECT_EQ(ReferencesOf(second), 2u) << "the request is its owner's";
}

TEST_F(JobMessages, AreHeldOnceAndGivenWithAReference)
{
    const auto in = QMessage::NewReadMessage(nullptr, 0);
    const auto inBox = QMessage::NewServerMessage();
    const auto other = QMessage::NewServerMessage();
    const JobPtr job = NewJob();
    for (int time = 0; time < 2; ++time) // the same one again stays
    {
        EXPECT_EQ(job->SetInMessage(in.Get()), S_OK);
        EXPECT_EQ(job->SetInBoxMsgPtr(inBox.Get()), S_OK);
        EXPECT_EQ(Given<ICKDXReadMessage>(job, &QORJob::GetInMessage).Get(), in.Get());
        EXPECT_EQ(ReferencesOf(in) * 10 + ReferencesOf(inBox), 22u);
    }
    SetStatus(*job.Get(), JobCancelled);
    EXPECT_EQ(job->SetInBoxMsgPtr(other.Get()), S_FALSE);
    EXPECT_EQ(Given<CKDXServerMessage>(job, &QORJob::GetInBoxMsgPtr).Get(), inBox.Get());
    EXPECT_EQ(job->SetInBoxMsgPtr(nullptr), S_OK);
    EXPECT_EQ(job->SetInMessage(nullptr), S_OK);
    EXPECT_EQ(Given<CKDXServerMessage>(job, &QORJob::GetInBoxMsgPtr).Get(), nullptr);
    EXPECT_EQ(ReferencesOf(in) + ReferencesOf(inBox) + ReferencesOf(other), 3u);
}
