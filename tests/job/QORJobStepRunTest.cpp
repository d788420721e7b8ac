// The profiles of steps that run.
#include "tests/support/JobTest.h"

using StepRun = JobTest;

namespace
{

/// What was asked of agents since the trace began.
Texts StopTraceOfAgents()
{
    Texts calls = Builtin::EventTrace::Stop();
    std::erase_if(calls, [](const std::string& iCall) { return iCall.find("Agent") == std::string::npos; });
    for (std::string& call : calls)
        call.resize(call.find(' '));
    return calls;
}

} // namespace

TEST_F(StepRun, ProfilesEachStepOnce)
{
    Builtin::PerfReadings::EnableProfiling(true);
    for (QBase::Buffer* buffer : {static_cast<QBase::Buffer*>(nullptr), NewBuffer()})
    {
        const JobPtr job = NewJob(RequestDocument, nullptr, buffer);
        Queue(*job.Get(), "3 4 5 2");
        Builtin::EventTrace::Start();
        job->SetStepStart(3, 1, nullptr);
        job->SetStepStart(3, 2, nullptr);
        job->SetStepFinish(3, 2, nullptr);
        job->SetStepStart(5, 1, nullptr); // never finished: the job's end frees its agent
        Builtin::Settings::FailThreadTimes();
        job->SetStepStart(4, 1, nullptr);
        job->SetStepFinish(4, 1, nullptr);
        Builtin::Settings::ReleaseThreadTimes();
        EXPECT_EQ(StopTraceOfAgents(), (Texts{"QPerfMon::CreateQORProfileAgent", "QPerfMon::StartProfileAgent",
                                              "QPerfMon::EndProfileAgent", "QPerfMon::CreateQORProfileAgent"}));
    }
    Builtin::PerfReadings::EnableProfiling(false);
}

TEST_F(StepRun, StaysUnprofiledWhenProfilingIsSwitchedOnMeanwhile)
{
    const JobPtr job = NewJobWith("3 4 5 3 2");
    Builtin::EventTrace::Start();
    for (int id : {3, 4})
        job->SetStepStart(id, 0, nullptr);
    Builtin::PerfReadings::EnableProfiling(true);
    for (int id : {3, 4, 5, 3})
    {
        job->SetStepStart(id, 1, nullptr);
        job->SetStepFinish(id, 1, nullptr);
    }
    Builtin::PerfReadings::EnableProfiling(false);
    const std::string create = "QPerfMon::CreateQORProfileAgent"; // once a step; 5 and the second 3 get one
    const std::string end = "QPerfMon::EndProfileAgent";
    EXPECT_EQ(StopTraceOfAgents(), (Texts{create, create, create, end, create, end}));
}
