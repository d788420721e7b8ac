// What the operations of a scene work on, and what can be seen of it afterwards.
#pragma once

#include "base/QORJobInitializer.h"
#include "context/CKDXProcessContext.h"
#include "data/QORNamedIdsList.h"
#include "job/QORJobTask.h"
#include "platform/builtin/LibraryUsers.h"
#include "tests/interleaving/Scheduler.h"
#include "tests/support/JobTest.h"
#include "tests/support/Messages.h"
#include "tests/support/OwnInitializerAway.h"

#include <optional>

inline constexpr int cUnit = 7;

struct Jobs : JobTest
{
    using JobTest::Queue;
};

template <class... Values>
std::string Say(Values... iValues)
{
    return ((std::to_string(iValues) + ' ') + ... + "");
}

/// A code, and the number that was asked for.
template <class Getter>
std::string Ask(Getter iGetter)
{
    int value = -2;
    const HRESULT code = iGetter(&value);
    return Say(code, value);
}

/// What the operations of a scene work on, made anew for each run.
struct World
{
    World()
    {
        Builtin::Settings::SetClock(Moment(1));
        Builtin::PerfReadings::Reset();
        mContext.mOnCall = mNextContext.mOnCall = Scheduler::Meet;
        mContext.mpInstance = &mInstance;
    }

    ~World() { QORJobTask::UnInitJobTaskNameIds(); }
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    void Make(int iRequestType, const std::string& iTodo, bool ibStarted = true)
    {
        mJob = JobPtr(QORJob::NewJob(cJobId, iRequestType, cJobPriority, nullptr, nullptr));
        mJob->SetProcessContext(mReal ? static_cast<ICKDXProcessContext*>(mReal.Get()) : &mContext);
        Jobs::Queue(*mJob.Get(), iTodo);
        Builtin::Settings::SetClock(Moment(2));
        if (ibStarted)
            mJob->SetPUStart(cUnit);
        mJob->SetRunning(true, nullptr);
    }

    /// The first step runs.
    void MakeRunning(int iRequestType, const std::string& iTodo)
    {
        Make(iRequestType, iTodo);
        mJob->SetStepStart(std::stoi(iTodo), cUnit, &mTask);
    }

    /// All that can be seen afterwards, in lines.
    Texts Show() const
    {
        Texts lines(mGiven.begin(), mGiven.end());
        for (const JobPtr* job : {&mJob, &mChild})
            if (*job)
                AddJob(*job->Get(), lines);
        for (const FakeProcessContext* context : {&mContext, &mNextContext})
        {
            Texts calls = context->mCalls; // those without the lock have no order
            std::sort(calls.begin(), calls.end());
            lines = Join(lines, calls);
            lines.push_back("references " + Say(context->mReferences.load()));
        }
        for (const auto& [id, value] : ReadCounters())
            lines.push_back("counter " + Say(id, value));
        if (mReal)
            for (const unsigned code : CodesIn(Given(mReal, &CKDXProcessContext::get_OutMessage)))
                lines.push_back("code " + Say(code));
        for (const QBase::WCHAR* name : {QORJOB_W("one"), QORJOB_W("two")})
        {
            lines.push_back("name " + Ask([&](int* oValue) { return mNames.NameToIndex(name, oValue); }) +
                            Ask([&](int* oValue) { return mNames.NameToId(name, oValue); }));
            lines.push_back("task " + Ask([&](int* oValue) { return QORJobTask::GetId(name, oValue); }));
        }
        for (const int task : {1, 2})
            lines.push_back("profile " + Ask([&](int* oValue) { return QORJobTask::GetProfileIndex(task, oValue); }));
        lines.push_back("live " + Say(Builtin::PerfReadings::GetLiveInstances(cJobCategory), mCount.load(),
                                      Builtin::LibraryUsers::GetLogUsers()));
        return lines;
    }

    static void AddJob(const QORJob& iJob, Texts& ioLines)
    {
        QBase::wstring dump;
        iJob.GetJobInfo(dump);
        std::istringstream stream(QBase::WideCharToUTF8(dump));
        for (std::string line; std::getline(stream, line);)
            ioLines.push_back(line);
        bool bDead = false;
        bool bExecuting = false;
        auto step = StepNoMore;
        iJob.GetIAmDead(&bDead, &step);
        iJob.IsExecuting(&bExecuting, nullptr, nullptr, nullptr, nullptr);
        ioLines.push_back("dead, at, executing " + Say(bDead, step, bExecuting));
    }

    std::optional<OwnInitializerAway> mAway;
    std::array<std::optional<QORJOB::Initializer>, 2> mInitializers;
    Texts mCalls;
    FakeReportInstance mInstance{mCalls};
    FakeProcessContext mContext;
    FakeProcessContext mNextContext;
    QBase::PtrI<CKDXProcessContext> mReal;
    QORJobTask mTask{nullptr};
    QORJobTask mNextTask{nullptr};
    QORNamedIdsList mNames;
    QORChannelRequest* mpRequest = nullptr; // the job's
    std::atomic<int> mCount = 0;            // of what may happen once only
    JobPtr mJob;
    JobPtr mSecond; // another reference to the same job, or none
    JobPtr mChild;
    std::array<std::string, Scheduler::cThreads> mGiven;
};
