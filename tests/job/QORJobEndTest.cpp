// What a job settles as it ends, and what it leaves when a stranger throws meanwhile.
#include "data/QORBinaryData.h"
#include "job/JobMemGovernor.h"
#include "job/QORJobTask.h"
#include "platform/QMessage.h"
#include "record/QORChannelRequest.h"
#include "tests/support/DataTest.h"

using End = JobTest;

namespace
{

class Request final : public QORChannelRequest
{
public:
    explicit Request(Strangers& ioStrangers) : QORChannelRequest(nullptr, 0, 0), mStrangers(ioStrangers) {}
    ~Request() override { mStrangers.mCalls.push_back("request"); }

private:
    Strangers& mStrangers;
};

class Message final : public ICKDXReadMessage
{
public:
    explicit Message(Strangers& ioStrangers) : mStrangers(ioStrangers) {}

    HRESULT QORJOB_STDCALL QueryInterface(const GUID&, void**) override { return E_NOINTERFACE; }
    DWORD QORJOB_STDCALL AddRef() override { return ++mReferences; }
    DWORD QORJOB_STDCALL Release() override { return --mReferences, mStrangers.Note("message"), mReferences; }
    HRESULT QORJOB_STDCALL CopyTo(IUnknown*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_BlockStream(ICKDXReadBlockStream**) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL BelongsTo(IUnknown*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_Content(IUnknown**) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_Item(IUnknown**) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_ErrorCode(HRESULT*) override { return E_NOTIMPL; }

    DWORD mReferences = 0;

private:
    Strangers& mStrangers;
};

Builtin::PerfReadings::Profile JobProfile()
{
    for (const Builtin::PerfReadings::Profile& profile : Builtin::PerfReadings::GetProfiles())
        if (profile.mName == "Job Execution")
            return profile;
    return {};
}

} // namespace

TEST_F(End, BooksTheTimeOfAllStepsButTheNewest)
{
    // Finish times in milliseconds from a start at 0; of a step in another century, or without a time, none counts.
    const std::tuple<std::vector<int>, double, unsigned> cCases[] = {
        {{10, 10, 10}, 45000.0, 20},   {{10}, 45000.0, 0}, {{}, 45000.0, 0}, {{10, 10, 10}, 36891.0, 0},
        {{5, 7, 11, 13}, 36892.0, 23},
    };
    for (const auto& [times, day, booked] : cCases)
    {
        const Builtin::PerfReadings::Profile before = JobProfile();
        JobPtr job = NewJobWith("");
        for (const int time : times)
        {
            Queue(*job.Get(), "3");
            Builtin::Settings::SetClock(QDataType::DateTime(day));
            job->SetStepStart(3, 1, nullptr);
            Builtin::Settings::SetClock(QDataType::DateTime(day) + QDataType::TimeSpan(static_cast<unsigned>(time)));
            job->SetStepFinish(3, 1, nullptr);
        }
        job = {};
        EXPECT_EQ(JobProfile().mMicroseconds - before.mMicroseconds, booked * 1000u) << day;
        EXPECT_EQ(JobProfile().mCount - before.mCount, 1u);
    }
}

TEST_F(End, LeavesNothingBehindWhicheverStrangerThrows)
{
    const Texts cOrder = {"item 1 GetId",     "item 1 save", "item 4 GetId",   "item 4 save",
                          "request",          "request",     "message",        "get_ContextObjectB",
                          "instance Reset 0", "Release",     "item 1 Release", "item 4 Release"};
    const std::string error = "Error: 80043046 QOR_EXCEPTION_CAUGHT (QORJob::PreDestruct): QORJob, Pre-Destruct Job, "
                              "broken";
    const std::string fatal = "Fatal: 8004308F QOR_JOB_SYSTEMEXCEPTION (QORJob::PreDestruct): Pre-Destruct Job, 4711";
    for (std::size_t thrower = 0; thrower <= cOrder.size(); ++thrower)
        for (const bool bInBuffer : {false, true})
        {
            Strangers strangers;
            QORJobTask task(nullptr);
            FakeProcessContext context;
            FakeReportInstance instance(strangers.mCalls);
            Message message(strangers);
            FakeData one("item 1", 1, strangers);
            FakeData four("item 4", 4, strangers);
            context.mpInstance = &instance;
            FakeProcessContext last; // goes with the in-box message, behind all else
            JobPtr job = NewJob(RequestReport, nullptr, bInBuffer ? NewBuffer() : nullptr);
            job->SetProcessContext(&context);
            job->SetInMessage(&message);
            job->AddChannelRequest(new Request(strangers));
            job->AddChannelRequest(nullptr);
            job->AddChannelRequest(new Request(strangers));
            job->SetJobData(&one);
            job->SetJobData(&four);
            job->SetInBoxMsgPtr(QMessage::NewServerMessage(&last).Get());
            job->SetCurrentStepForStatistics(StepFindCube);
            job->SetStepStart(StepNoMore, 0, &task);
            const std::shared_ptr<JobMemGovernor> governor = job->GetMemGovernor();
            bool bExecuting = false;
            bool bDead = bInBuffer; // in a buffer nobody can ask any more
            QORJobProcessingStep deadStep = bInBuffer ? StepFindCube : StepNoMore;
            last.mOnCall = [&, ending = job.Get()](const std::string&) {
                if (bInBuffer)
                    return;
                ending->GetIAmDead(&bDead, &deadStep);
                ending->IsExecuting(&bExecuting, nullptr, nullptr, nullptr, nullptr);
            };
            strangers.mCalls.clear();
            TakeLog();
            context.mOnCall = [&](const std::string& iCall) { strangers.Note(iCall); };
            instance.mOnReset = [&] { strangers.Note("instance Reset 0"); };
            strangers.mThrowing = thrower < cOrder.size() ? cOrder[thrower] : "";
            strangers.mbMessage = !bInBuffer;
            Builtin::PerfReadings::Reset();
            EXPECT_EQ(job.Detach()->Release(), 0u);
            EXPECT_TRUE(bDead && (!bExecuting || thrower < cOrder.size()));
            EXPECT_EQ(governor.use_count(), 2) << "this one's and the context's";
            EXPECT_EQ(deadStep, StepFindCube);
            EXPECT_EQ(message.mReferences + one.mReferences + four.mReferences, 0u) << thrower;
            if (thrower == 7 || thrower == 9) // the context
            {
                EXPECT_EQ(TakeLog()[1], bInBuffer ? fatal : error) << thrower;
            }
            EXPECT_EQ(context.mReferences + instance.mReferences, 0u);
            EXPECT_EQ(Builtin::PerfReadings::GetCounter(5), -1);
            const std::size_t certain = std::min(thrower + 1, cOrder.size()); // what follows a throw is left open
            strangers.mCalls.resize(certain);
            EXPECT_EQ(strangers.mCalls, Texts(cOrder.begin(), cOrder.begin() + certain));
            context.mpGovernor.reset();
        }
}

TEST_F(End, OfAMessageThatThrowsIsToldByTheCallThatReplacesIt)
{
    Strangers strangers{{}, "message"};
    Message message(strangers);
    const JobPtr job = NewJob();
    EXPECT_EQ(job->SetInMessage(&message), S_OK);
    TakeLog();
    EXPECT_EQ(job->SetInMessage(nullptr), static_cast<HRESULT>(0x8004308C));
    EXPECT_EQ(TakeLog(), Texts{Caught("SetInMessage", nullptr)});
    EXPECT_EQ(message.mReferences, 0u);
}
