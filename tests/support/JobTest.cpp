#include "tests/support/JobTest.h"

#include "platform/builtin/PerfReadings.h"
#include "task/QORJobInitializer.h"

#include <iterator>
#include <sstream>

namespace
{

const QORJOB::Initializer cInitializer;

/// What stands between two parts of each line that has both.
Texts Between(const Texts& iLines, const std::string& iBefore, const std::string& iAfter)
{
    Texts found;
    for (const std::string& line : iLines)
    {
        const std::size_t start = line.find(iBefore);
        if (start == std::string::npos)
            continue;
        const std::string rest = line.substr(start + iBefore.size());
        found.push_back(rest.substr(0, rest.find(iAfter)));
    }
    return found;
}

} // namespace

JobTest::JobTest()
{
    PerfReadings::Reset();
    EXPECT_EQ(PerfReadings::GetLiveInstances(cJobCategory), 0);
    Faults::StartCountingBlocks();
}

JobTest::~JobTest()
{
    Faults::FailNth(Faults::EnumFault::Allocation, 0);
    Faults::FailNth(Faults::EnumFault::LockCreation, 0);
    Settings::ReleaseClock();
    Settings::ReleaseThreadTimes();
    EXPECT_EQ(Faults::StopCountingBlocks(), 0) << "blocks are left behind";
    EXPECT_EQ(PerfReadings::GetLiveInstances(cJobCategory), 0) << "jobs are left behind";
}

JobPtr JobTest::NewJob(int iRequestType, QorUserSession* iSession, QBase::Buffer* iBuffer)
{
    return JobPtr(QORJob::NewJob(cJobId, iRequestType, cJobPriority, iSession, iBuffer));
}

JobPtr JobTest::NewJobWith(const std::string& iTodo, int iStatus)
{
    JobPtr job = NewJob();
    Queue(*job.Get(), iTodo);
    SetStatus(*job.Get(), iStatus);
    mLog.Take();
    return job;
}

void JobTest::Queue(QORJob& ioJob, const std::string& iTodo)
{
    for (const std::string& text : Split(iTodo))
    {
        QORJobStep* step = text == "-" ? nullptr : new QORJobStep(std::stoi(text));
        const std::size_t mark = text.find_first_of("@!");
        if (mark != std::string::npos)
        {
            step->SetThreadId(text[mark] == '@' ? cSomeThread : 0);
            step->SetPUId(std::stoi(text.substr(mark + 1)));
        }
        EXPECT_EQ(ioJob.AddStepToRun(step, nullptr), S_OK);
    }
}

void JobTest::SetStatus(QORJob& ioJob, int iStatus)
{
    if (iStatus == 13)
        ioJob.SetStatus(8, nullptr); // from nowhere else
    EXPECT_EQ(ioJob.SetStatus(iStatus, nullptr), S_OK);
}

Texts JobTest::DrainTodo(QORJob& ioJob)
{
    mLog.Take();
    while (ioJob.SetStepComplete() == S_OK)
    {
    }
    return Between(mLog.Take(), "Job Trace: QORJob::SetStepComplete: Job:4711 completed step:", ".");
}

Texts JobTest::ReadFinished(QORJob& ioJob)
{
    int step = -1;
    SetStatus(ioJob, 7);
    mLog.Take();
    ioJob.GetCurrentStepIdToRun(&step, nullptr);
    return Between(mLog.Take(), "finished step: ", ",");
}

Texts Split(const std::string& iText)
{
    std::istringstream words(iText);
    return {std::istream_iterator<std::string>(words), {}};
}

QDataType::DateTime TimeOf(int iMilliseconds)
{
    return QDataType::DateTime(45000.0) + QDataType::TimeSpan(static_cast<unsigned>(iMilliseconds));
}

QDataType::DateTime StartTimeOf(const QORJobStep& iStep)
{
    QDataType::DateTime time(0.0);
    EXPECT_EQ(iStep.GetStartTime(&time), S_OK);
    return time;
}

QDataType::DateTime FinishTimeOf(const QORJobStep& iStep)
{
    QDataType::DateTime time(0.0);
    EXPECT_EQ(iStep.GetFinishTime(&time), S_OK);
    return time;
}
