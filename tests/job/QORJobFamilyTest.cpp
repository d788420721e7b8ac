// Parents, children, jobs that ran before, and the two parties that end a runaway task.
#include "job/JobMemGovernor.h"
#include "tests/support/JobTest.h"

using Family = JobTest;
using Runaway = JobTest;

namespace
{

std::vector<int> Ids(const QORJob& iJob, HRESULT (QORJob::*iGetter)(QBase::list<QSynch::AtomicLong>&) const)
{
    QBase::list<QSynch::AtomicLong> ids{1, 2};
    EXPECT_EQ((iJob.*iGetter)(ids), S_OK);
    return {ids.begin(), ids.end()};
}

} // namespace

TEST_F(Family, SharesTheGovernorOfItsParent)
{
    FakeProcessContext context;
    const JobPtr parent = NewJob();
    const JobPtr child = NewJob(RequestReport);
    EXPECT_EQ(child->GetParentId(), -1);
    child->SetProcessContext(&context);
    EXPECT_EQ(child->SetParentId(14, parent->GetMemGovernor()), S_OK);
    EXPECT_EQ(child->GetParentId(), 14);
    EXPECT_EQ(child->GetMemGovernor(), parent->GetMemGovernor());
    EXPECT_EQ(context.mpGovernor, parent->GetMemGovernor());
    context.mpGovernor.reset();
}

TEST_F(Family, MovesChildrenFromExecutingToFinished)
{
    const JobPtr job = NewJob();
    for (const int child : {3, 5, 4, 3, 5})
        EXPECT_EQ(job->AddChild(child), S_OK);
    TakeLog();
    EXPECT_EQ(job->AddChild(6), S_OK);
    EXPECT_EQ(job->RemoveExecutingChild(6), S_OK);
    EXPECT_EQ(job->RemoveExecutingChild(5), S_OK) << "both of them";
    EXPECT_EQ(job->MarkChildComplete(3), S_OK) << "both of them, as one";
    EXPECT_EQ(job->MarkChildComplete(9), S_OK) << "without having been added";
    const std::string trace = "Job Trace: [DEBUG TRACING]QORJob::";
    EXPECT_EQ(TakeLog(), (Texts{trace + "AddChild: child job 6 is added into document job 4711",
                                trace + "RemoveExecutingChild: child job 6 is removed from document job 4711",
                                trace + "RemoveExecutingChild: child job 5 is removed from document job 4711",
                                trace + "MarkChildComplete: child job 3 of document job 4711 is completed",
                                trace + "MarkChildComplete: child job 9 of document job 4711 is completed"}));
    EXPECT_EQ(Ids(*job.Get(), &QORJob::GetExecutingChildrenList), std::vector<int>{4});
    EXPECT_EQ(Ids(*job.Get(), &QORJob::GetFinishedChildrenList), (std::vector<int>{3, 9}));
    for (int status = 0; status < 8; ++status)
    {
        SetStatus(*job.Get(), status);
        EXPECT_EQ(job->AddChild(100 + status), status >= 3 && status <= 6 ? E_FAIL : S_OK);
    }
    EXPECT_EQ(Ids(*job.Get(), &QORJob::GetExecutingChildrenList), (std::vector<int>{4, 100, 101, 102, 107}));
}

TEST_F(Family, CountsRunningChildrenWithoutABound)
{
    const JobPtr job = NewJob();
    int count = 7;
    EXPECT_EQ(job->DecrementRunningChildCount(&count), S_OK);
    EXPECT_EQ(count, -1);
    EXPECT_EQ(job->SetRunningChildCount(5, &count), S_OK);
    EXPECT_EQ(count, -1);
    EXPECT_EQ(job->IncrementRunningChildCount(&count), S_OK);
    EXPECT_EQ(count, 6);
}

TEST_F(Runaway, TellsTheSecondPartyOnly)
{
    // Calls as letters: D declares, T is the thread, C the clean-up, X a stranger; the answers of those that ask.
    const std::tuple<const char*, const char*, int> cCases[] = {
        {"DCT", "01", 0}, {"DTC", "01", 0},   {"TDC", "01", 0}, {"CDT", "00", 0}, {"DTT", "00", 1},
        {"DCC", "00", 1}, {"DCTT", "011", 0}, {"DD", "", 1},    {"X", "0", 0},    {"DXTC", "001", 0},
    };
    for (const auto& [calls, answers, errors] : cCases)
    {
        const JobPtr job = NewJob();
        std::string given;
        TakeLog();
        for (const char call : std::string(calls))
        {
            const int caller = call == 'T' ? RunAwayThread : call == 'C' ? RunAwayCleanUp : 3;
            if (call == 'D')
                job->SetRunAwayStatus();
            else
                given += job->NeedToPerisistMsgStatusForRunAway(static_cast<EnumRunAwayCaller>(caller)) ? '1' : '0';
        }
        EXPECT_EQ(given, answers) << calls;
        const Texts lines = TakeLog();
        EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                                [](const std::string& iLine) { return iLine.rfind("Error: ", 0) == 0; }),
                  errors)
            << calls;
        EXPECT_EQ(job->NeedToKeepMsgInJobForRunAway(), std::string(calls) != "X");
    }
}

TEST_F(Runaway, LogsWhatItDidNotExpect)
{
    const JobPtr job = NewJob();
    TakeLog();
    job->SetCurrentStepForStatistics(4);
    EXPECT_FALSE(job->NeedToKeepMsgInJobForRunAway());
    job->NeedToPerisistMsgStatusForRunAway(RunAwayThread);
    job->SetRunAwayStatus();
    job->NeedToPerisistMsgStatusForRunAway(RunAwayThread);
    EXPECT_EQ(
        TakeLog(),
        (Texts{"Info: QORJob::SetRunAwayStatus: A cancelled runaway thread (job task) for Job (4711)  at step (4) "
               "returns even BEFORE setting it as runaway.",
               "Error: QORJob::NeedToPerisistMsgStatusForRunAway: unexpected called from EnumRunAwayCaller (1) "
               "for Job (4711) in runaway status (3)."}));
    const JobPtr other = NewJob();
    other->SetRunAwayStatus();
    TakeLog();
    other->SetCurrentStepForStatistics(5);
    other->SetRunAwayStatus();
    EXPECT_EQ(TakeLog(), Texts{"Error: QORJob::SetRunAwayStatus: unexpected called - try to set Job (4711) aready in "
                               "runaway status (1) to be runaway at step (5)."});
}
