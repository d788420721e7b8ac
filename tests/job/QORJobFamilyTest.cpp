// The two parties that end a runaway task.
#include "tests/support/JobTest.h"

using Runaway = JobTest;

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
