// A job's whole life as a user of the shared library sees it: through its one header.
#include "platform/builtin/LogSinks.h"
#include "platform/builtin/PerfReadings.h"
#include "qorjob.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace
{

const QORJOB::Initializer cInitializer;

class Session final : public QorUserSession
{
public:
    unsigned AddRef() override { return ++mReferences; }
    unsigned Release() override { return --mReferences; }

    unsigned mReferences = 0;
};

class CountingTask final : public QORJobTask
{
public:
    CountingTask(QORJob* iJob, std::vector<int>& ioRuns, int iStepId)
        : QORJobTask(iJob), mRuns(ioRuns), mStepId(iStepId)
    {
    }

    HRESULT Run() override
    {
        mRuns.push_back(mStepId);
        return SetStatus(JobTaskStatusComplete, nullptr);
    }

private:
    std::vector<int>& mRuns;
    int mStepId;
};

/// What a worker of a unit does with a job until there is nothing left of it; gives the steps that it ran.
std::vector<int> Drive(QORJob& ioJob, int iUnit)
{
    std::vector<int> runs;
    ioJob.SetPUEnter(iUnit, W("unit"), 0);
    ioJob.SetPUStart(iUnit);
    ioJob.SetRunning(true, nullptr);
    int step = StepNoMore;
    while (ioJob.GetCurrentStepIdToRun(&step, nullptr) == S_OK && step != StepNoMore)
    {
        CountingTask task(&ioJob, runs, step);
        EXPECT_EQ(ioJob.SetStepStart(step, iUnit, &task), S_OK);
        EXPECT_EQ(task.Run(), S_OK);
        EXPECT_EQ(ioJob.SetStepFinish(step, iUnit, &task), S_OK);
    }
    ioJob.SetPUExit(iUnit, W("unit"));
    return runs;
}

} // namespace

TEST(Surface, TakesAJobThroughItsLife)
{
    Session session;
    std::vector<std::string> lines;
    const int sink = LogSinks::AddSink([&](const LogSinks::Line& iLine) { lines.push_back(iLine.mText); });
    LogSinks::Enable("Kernel", "Job Trace", true);

    QORJob* job = QORJob::NewJob(7, RequestReport, 5, &session, nullptr);
    EXPECT_EQ(job->AddRef(), 1u);
    job->SetProjectName(W("Sales"));
    for (const int id : {StepSQLGeneration, StepQueryExecution, StepSendingReportResult, StepCloseJob})
        EXPECT_EQ(job->AddStep(new QORJobStep(id), nullptr), S_OK);
    EXPECT_EQ(Drive(*job, 3),
              (std::vector<int>{StepSQLGeneration, StepQueryExecution, StepSendingReportResult, StepCloseJob}));
    QBase::wstring name;
    EXPECT_EQ(job->GetProjectName(name), S_OK);
    EXPECT_EQ(QBase::WideCharToUTF8(name), "Sales");
    EXPECT_EQ(job->Release(), 0u);

    LogSinks::Enable("Kernel", "Job Trace", false);
    LogSinks::RemoveSink(sink);
    EXPECT_EQ(session.mReferences, 0u);
    EXPECT_EQ(PerfReadings::GetLiveInstances(4), 0);
    EXPECT_EQ(lines.front(), "QORJob::QORJob Job:7 created.");
    EXPECT_EQ(lines.back(), "QORJob::QORJob Job:7 destructed.");
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "QORJob::SetStepFinish: Job:7 completed step:2."), 1);
}

TEST(Surface, KeepsAJobInItsUsersBuffer)
{
    QBase::Buffer* buffer = QBase::CreateBuffer(1 << 14, 2, 4096, true);
    for (int round = 0; round < 3; ++round)
    {
        QORJob* job = QORJob::NewJob(round, RequestDocument, 5, nullptr, buffer);
        job->AddRef();
        EXPECT_EQ(job->AddStep(new QORJobStep(StepExecutingDocument), nullptr), S_OK);
        EXPECT_EQ(job->AddStep(new QORJobStep(StepCloseJob), nullptr), S_OK);
        EXPECT_EQ(job->SetStatus(JobStopped, nullptr), S_OK);
        EXPECT_EQ(Drive(*job, 1), std::vector<int>{StepCloseJob});
        EXPECT_EQ(job->Release(), 0u);
    }
    buffer->Free();
    EXPECT_EQ(PerfReadings::GetLiveInstances(4), 0);
}

TEST(Surface, LetsUsersHoldRecordsAndValues)
{
    QORJobStep step(StepNoOp);
    QORJobPUInfo visit(4);
    unsigned size = 0;
    EXPECT_EQ(step.GetSaveObjSize(&size), 0u);
    EXPECT_EQ(size, 2 * QDataType::DateTime::GetSaveObjSize() + 94);
    EXPECT_EQ(visit.GetSaveObjSize(&size), 0u);
    EXPECT_EQ(size, 3 * QDataType::DateTime::GetSaveObjSize() + 4);
    EXPECT_EQ(QBase::WideCharToUTF8(GetStepName(StepCloseJob)), "Close job");
    EXPECT_EQ(QBase::WideCharToUTF8(QORJob::ConvertIDToName(RequestReport)), "Report request");
    EXPECT_EQ(QBase::ToString(IID_ICKDXReportInstance), "{73BA6E85-6A88-11D1-A77F-00A024D1C490}");

    int index = 0;
    EXPECT_EQ(QORJobTask::GetProfileIndex(41, &index), E_POINTER);
    EXPECT_EQ(index, -1);
    EXPECT_EQ(QORJobTask::GetProfileIndex(40, &index), S_OK);
    JobTaskStatus status = JobTaskStatusAborted;
    QORJobTask task(nullptr);
    EXPECT_EQ(task.Run(), S_OK);
    EXPECT_EQ(task.GetStatus(&status), S_OK);
    EXPECT_EQ(status, JobTaskStatusNone);
    EXPECT_EQ(task.GetStatus(nullptr), E_POINTER);
}
