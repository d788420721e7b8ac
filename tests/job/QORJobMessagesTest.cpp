// The messages that bind a job to its client, and the requests that it waits for.
#include "platform/QMessage.h"
#include "record/QORChannelRequest.h"
#include "tests/support/JobTest.h"
#include "tests/support/LockProbe.h"

namespace
{

using ChannelRequests = JobTest;
using JobMessages = JobTest;

class FakeChannel final : public QORChannel
{
public:
    unsigned AddRef() override { return mCalls.push_back("AddRef"), 1; }
    unsigned Release() override { return mCalls.push_back(mpRequest->get_Channel() ? "Release late" : "Release"), 1; }
    HRESULT Send(ICKDXReadMessage*) override { return E_NOTIMPL; }
    void Close() override {}

    const QORChannelRequest* mpRequest = nullptr;
    Texts mCalls;
};

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

TEST_F(ChannelRequests, HoldOneReferenceToTheirChannel)
{
    FakeChannel first;
    FakeChannel second;
    QORChannelRequest request(nullptr, -5, 7);
    const QORChannelRequest none(nullptr, -5, 7);
    first.mpRequest = second.mpRequest = &request;
    request.set_Channel(&first);
    request.set_Channel(&first);
    EXPECT_EQ(first.mCalls, Texts{"AddRef"});
    request.set_Channel(&second);
    EXPECT_EQ(first.mCalls, (Texts{"AddRef", "Release"})) << "when the request has none";
    request.set_Channel(nullptr);
    EXPECT_EQ(second.mCalls, (Texts{"AddRef", "Release"}));
    first.mpRequest = second.mpRequest = &none;
    {
        const QORChannelRequest other(&first, 0, 0);
        EXPECT_EQ(other.get_Channel().Get(), &first);
    }
    EXPECT_EQ(first.mCalls, (Texts{"AddRef", "Release", "AddRef", "AddRef", "Release", "Release"}));

    request.set_UserData(8);
    EXPECT_EQ(request.get_Cookie(), 7);
    request.set_Cookie(9);
    EXPECT_EQ(request.get_UserData(), 8);
    EXPECT_EQ(request.get_Cookie(), 9);
    EXPECT_EQ(none.get_UserData(), -5);
}

TEST_F(ChannelRequests, AreListedInOrderAndUnlinkedOneByOne)
{
    QORChannelRequest a(nullptr, 0, 1);
    QORChannelRequest b(nullptr, 0, 2);
    QORChannelRequest* found = nullptr;
    const JobPtr job = NewJob();
    const auto listed = [&](int iCount) {
        std::string names;
        for (int index = 0; index < iCount && job->GetChannelRequest(&found, index) == S_OK; ++index)
            names += found == &a ? 'a' : found == &b ? 'b' : '-';
        return names;
    };
    EXPECT_EQ(job->CompleteChannelRequest(&a), E_UNEXPECTED);
    EXPECT_EQ(listed(2), "--");
    EXPECT_EQ(job->AddChannelRequest(&b), S_OK);
    EXPECT_EQ(job->CompleteChannelRequest(&a), E_INVALIDARG);
    for (QORChannelRequest* request : {&a, &b})
        EXPECT_EQ(job->AddChannelRequest(request), S_OK);
    EXPECT_EQ(listed(3), "bab");
    EXPECT_EQ(job->GetChannelRequest(&found, -1), S_OK);
    EXPECT_EQ(found, &b);
    EXPECT_EQ(job->CompleteChannelRequest(&b), S_OK);
    EXPECT_EQ(listed(2), "ab") << "the first of the two entries is gone";
    for (QORChannelRequest* request : {&b, &a}) // they are their owner's
        EXPECT_EQ(job->CompleteChannelRequest(request), S_OK);
    EXPECT_EQ(job->CompleteChannelRequest(&a), E_UNEXPECTED);
}

TEST_F(JobMessages, AreHeldOnceAndGivenWithAReference)
{
    const auto in = QMessage::NewReadMessage(nullptr, 0);
    const auto inBox = QMessage::NewServerMessage();
    const JobPtr job = NewJob();
    for (int time = 0; time < 2; ++time) // the same one again stays
    {
        EXPECT_EQ(job->SetInMessage(in.Get()), S_OK);
        EXPECT_EQ(job->SetInBoxMsgPtr(inBox.Get()), S_OK);
        EXPECT_EQ(Given<ICKDXReadMessage>(job, &QORJob::GetInMessage).Get(), in.Get());
        EXPECT_EQ(Given<CKDXServerMessage>(job, &QORJob::GetInBoxMsgPtr).Get(), inBox.Get());
        EXPECT_EQ(ReferencesOf(in), 2u);
        EXPECT_EQ(ReferencesOf(inBox), 2u);
    }
    EXPECT_EQ(job->SetInMessage(nullptr), S_OK);
    EXPECT_EQ(Given<ICKDXReadMessage>(job, &QORJob::GetInMessage).Get(), nullptr);
    EXPECT_EQ(ReferencesOf(in), 1u);
    for (int status = 0; status <= 7; ++status)
    {
        const bool bRefused = status == JobStoppedWithError || status == JobCancelled;
        const auto other = QMessage::NewServerMessage();
        EXPECT_EQ(job->SetInBoxMsgPtr(nullptr), S_OK) << status;
        EXPECT_EQ(Given<CKDXServerMessage>(job, &QORJob::GetInBoxMsgPtr).Get(), nullptr);
        SetStatus(*job.Get(), JobReady);
        EXPECT_EQ(job->SetInBoxMsgPtr(inBox.Get()), S_OK);
        SetStatus(*job.Get(), status);
        EXPECT_EQ(job->SetInBoxMsgPtr(other.Get()), bRefused ? S_FALSE : S_OK) << status;
        EXPECT_EQ(Given<CKDXServerMessage>(job, &QORJob::GetInBoxMsgPtr).Get(), bRefused ? inBox.Get() : other.Get());
    }
}

TEST_F(JobMessages, GoWithoutTheLock)
{
    FakeProcessContext item; // goes with its message
    const JobPtr job = NewJob();
    LockProbe probe;
    std::vector<bool> free;
    item.mOnCall = [&](const std::string&) { free.push_back(probe.IsFree(*job.Get())); };
    EXPECT_EQ(job->SetInMessage(QMessage::NewReadMessage(nullptr, 0, &item).Get()), S_OK);
    EXPECT_EQ(job->SetInMessage(nullptr), S_OK);
    EXPECT_EQ(job->SetInBoxMsgPtr(QMessage::NewServerMessage(&item).Get()), S_OK);
    EXPECT_EQ(job->SetInBoxMsgPtr(nullptr), S_OK);
    EXPECT_EQ(free, (std::vector<bool>{true, true}));
}
