// Who is called, and what is logged, while the job's lock is held, and what only after it.
#include "job/QORJobError.h"
#include "platform/QMessage.h"
#include "record/QORChannelRequest.h"
#include "tests/support/JobTest.h"
#include "tests/support/LockProbe.h"

#include <functional>

namespace
{

using JobLock = JobTest;

/// An operation on a document in status 1 with a context, whose steps are "4 39 2"; a call of the context or the begin
/// of a log line; and whether another thread could call the job then.
struct Case
{
    std::function<void(QORJob&)> mOperation;
    std::string mEvent;
    bool mbFree;
};

const Case cCases[] = {
    {[](QORJob& ioJob) { ioJob.SetStepStart(4, 1, nullptr); }, "put_LimitB", false},
    {[](QORJob& ioJob) { ioJob.SetStepStart(39, 1, nullptr); }, "put_BstrE", false},
    {[](QORJob& ioJob) { ioJob.SetStepFinish(39, 1, nullptr); }, "put_BstrE", false},
    {[](QORJob& ioJob) { ioJob.Cancel(); }, "get_ContextObjectN", false},
    {[](QORJob& ioJob) { ioJob.Cancel(); }, "put_LongB", false},
    {[](QORJob& ioJob) { ioJob.PauseCurrentStep(); }, "put_LongB", false},
    {[](QORJob& ioJob) { ioJob.ResetStatusBeforeResumeExecution(); }, "put_LongB", true},
    {[](QORJob& ioJob) { ioJob.GetJobErrorBuilder(E_FAIL); }, "get_ContextObjectN", true},
    {[](QORJob& ioJob) { ioJob.GetJobErrorBuilder(E_FAIL); }, "get_OutMessage", false},
    {[](QORJob& ioJob) { ioJob.SetStatus(JobReplied, nullptr); }, "get_ShortA", true},
    {[](QORJob& ioJob) { ioJob.SetStatus(JobReplied, nullptr); }, "get_OutMessage", true},
    {[](QORJob& ioJob) { ioJob.SetStepStart(4, 1, nullptr); }, "QORJob::SetStepStart: Job", true},
    {[](QORJob& ioJob) { ioJob.SetStepFinish(4, 1, nullptr); }, "QORJob::SetStepFinish: Job", true},
    {[](QORJob& ioJob) { ioJob.SetStepComplete(4); }, "QORJob::SetStepComplete: Job", false},
    {[](QORJob& ioJob) { ioJob.SetRunning(true, nullptr); }, "QORJob::SetRunning: Job", true},
    {[](QORJob& ioJob) { ioJob.SetStatus(JobWaiting, nullptr); }, "QORJob::SetStatus: Setting", true},
    {[](QORJob& ioJob) { ioJob.Cancel(); }, "[DEBUG TRACING]QORJob::Cancel: job 4711 is cancel start", true},
    {[](QORJob& ioJob) { ioJob.Cancel(); }, "[DEBUG TRACING]QORJob::Cancel: job 4711 is cancel end", true},
    {[](QORJob& ioJob) { ioJob.PauseCurrentStep(); },
     "[DEBUG TRACING]QORJob::PauseCurrentStep: job 4711 is pausing end", true},
    {[](QORJob& ioJob) { ioJob.AddChild(5); }, "[DEBUG TRACING]QORJob::AddChild", true},
};

} // namespace

TEST_F(JobLock, IsHeldWhileTheContextIsCalledWhereThatMattersAndElsewhereIsNot)
{
    for (const Case& each : cCases)
    {
        FakeProcessContext context;
        QORChannelRequest request(QMessage::NewChannel([](ICKDXReadMessage*) { return S_OK; }).Get(), 0, 0);
        const JobPtr job = NewJobWith("4 39 2", 1);
        job->SetProcessContext(&context);
        job->SetRunning(true, nullptr); // somebody waits for the end
        job->AddChannelRequest(&request);
        LockProbe probe;
        int seen = 0;
        const auto look = [&](const std::string& iEvent) {
            if (!iEvent.starts_with(each.mEvent))
                return;
            ++seen;
            EXPECT_EQ(probe.IsFree(*job.Get(), std::chrono::milliseconds(each.mbFree ? 10'000 : 20)), each.mbFree)
                << each.mEvent;
        };
        context.mOnCall = look;
        const int sink = Builtin::LogSinks::AddSink([&](const Builtin::LogSinks::Line& iLine) { look(iLine.mText); });
        each.mOperation(*job.Get());
        Builtin::LogSinks::RemoveSink(sink);
        context.mOnCall = nullptr;
        EXPECT_EQ(seen, 1) << each.mEvent;
        job->CompleteChannelRequest(&request);
    }
}
