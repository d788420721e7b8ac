// What a job settles as it ends, and what it leaves when a stranger throws meanwhile.
#include "data/QORBinaryData.h"
#include "platform/QMessage.h"
#include "record/QORChannelRequest.h"
#include "tests/support/JobTest.h"

using End = JobTest;

namespace
{

/// Counts what is left of strangers, and throws from the one call that it is told of.
struct Strangers
{
    std::string mThrowing;
    bool mbMessage = false;
    int mAlive = 0;
    Texts mCalls;

    DWORD Leave(const std::string& iCall)
    {
        --mAlive;
        Note(iCall);
        return 0;
    }

    void Note(const std::string& iCall)
    {
        if (mCalls.empty() || mCalls.back() != iCall) // an item may be asked for its size more than once
            mCalls.push_back(iCall);
        if (iCall != mThrowing)
            return;
        mThrowing.clear();
        if (mbMessage)
            throw QBase::Message("no such instance");
        throw 1;
    }
};

class Request final : public QORChannelRequest
{
public:
    explicit Request(Strangers& ioStrangers) : QORChannelRequest(nullptr, 0, 0), mStrangers(ioStrangers)
    {
        ++mStrangers.mAlive;
    }
    ~Request() override
    {
        --mStrangers.mAlive;
        mStrangers.mCalls.push_back("request");
    }

private:
    Strangers& mStrangers;
};

class Item final : public QORBinaryData
{
public:
    Item(int iId, Strangers& ioStrangers) : QORBinaryData(iId, nullptr, 0), mId(iId), mStrangers(ioStrangers) {}

    HRESULT GetSaveObjSize(unsigned, unsigned* oSize) const override
    {
        mStrangers.Note("save item " + std::to_string(mId));
        *oSize = 0;
        return S_OK;
    }

    DWORD AddRef() override { return static_cast<DWORD>(++mStrangers.mAlive); }
    DWORD Release() override { return mStrangers.Leave("item " + std::to_string(mId)); }

private:
    int mId;
    Strangers& mStrangers;
};

class Message final : public ICKDXReadMessage
{
public:
    explicit Message(Strangers& ioStrangers) : mStrangers(ioStrangers) {}

    HRESULT QORJOB_STDCALL QueryInterface(const GUID&, void**) override { return E_NOINTERFACE; }
    DWORD QORJOB_STDCALL AddRef() override { return static_cast<DWORD>(++mStrangers.mAlive); }
    DWORD QORJOB_STDCALL Release() override { return mStrangers.Leave("message"); }
    HRESULT QORJOB_STDCALL CopyTo(IUnknown*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_BlockStream(ICKDXReadBlockStream**) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL BelongsTo(IUnknown*) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_Content(IUnknown**) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_Item(IUnknown**) override { return E_NOTIMPL; }
    HRESULT QORJOB_STDCALL get_ErrorCode(HRESULT*) override { return E_NOTIMPL; }

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
    const Texts cOrder = {"save item 1",        "save item 4",      "request", "request", "message",
                          "get_ContextObjectB", "instance Reset 0", "Release", "item 1",  "item 4"};
    const std::string error = "Error: 80043046 QOR_EXCEPTION_CAUGHT (QORJob::PreDestruct): QORJob, Pre-Destruct Job, "
                              "no such instance";
    const std::string fatal = "Fatal: 8004308F QOR_JOB_SYSTEMEXCEPTION (QORJob::PreDestruct): Pre-Destruct Job, 4711";
    for (std::size_t thrower = 0; thrower <= cOrder.size(); ++thrower)
        for (const bool bInBuffer : {false, true})
        {
            Strangers strangers;
            FakeProcessContext context;
            FakeReportInstance instance(strangers.mCalls);
            Message message(strangers);
            Item one(1, strangers);
            Item four(4, strangers);
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
            bool bDead = bInBuffer; // in a buffer nobody can ask any more
            QORJobProcessingStep deadStep = bInBuffer ? StepFindCube : StepNoMore;
            last.mOnCall = [&, ending = job.Get()](const std::string&) {
                if (!bInBuffer)
                    ending->GetIAmDead(&bDead, &deadStep);
            };
            strangers.mCalls.clear();
            TakeLog();
            context.mOnCall = [&](const std::string& iCall) { strangers.Note(iCall); };
            instance.mOnReset = [&] { strangers.Note("instance Reset 0"); };
            strangers.mThrowing = thrower < cOrder.size() ? cOrder[thrower] : "";
            strangers.mbMessage = !bInBuffer;
            Builtin::PerfReadings::Reset();
            EXPECT_EQ(job.Detach()->Release(), 0u);
            EXPECT_TRUE(bDead);
            EXPECT_EQ(deadStep, StepFindCube);
            EXPECT_EQ(strangers.mAlive, 0) << thrower;
            if (thrower == 5 || thrower == 7) // the context
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
