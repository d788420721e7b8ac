// Jobs as monitors see them: snapshots, their limits, and what they show while the job runs.
#include "data/QORBinaryData.h"
#include "report/QORJobBrowsingInfo.h"
#include "report/QORJobInfo.h"
#include "report/QORJobInfoOld.h"
#include "tests/support/JobTest.h"

#include <cstring>
#include <set>
#include <thread>

namespace
{

using JobSnapshots = JobTest;

/// Stays its owner's: it never goes with the job.
struct Item final : QORBinaryData
{
    Item(int iId, unsigned iBytes) : QORBinaryData(iId, std::memset(QBase::HeapAllocate(iBytes), 'b', iBytes), iBytes)
    {
        AddRef();
    }
};

template <class Records>
std::string IdsOf(const Records& iRecords, int iCount)
{
    std::string ids;
    for (int index = 0; index < iCount; ++index)
        ids += std::to_string(Read(iRecords[static_cast<std::size_t>(index)], &Records::value_type::GetId)) + ' ';
    return ids;
}

} // namespace

TEST_F(JobSnapshots, CutWhatIsTooLong)
{
    Item small(1, 128);
    Item large(3, 129);
    const JobPtr job = NewJob();
    EXPECT_EQ(job->SetJobData(&small), S_OK);
    EXPECT_EQ(job->SetJobData(&large), S_OK);
    Queue(*job.Get(), "1 - 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 -");
    for (int step = 0; step < 20; ++step)
        job->SetStepComplete(StepMDObjectRequest);
    Queue(*job.Get(), "- 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21");
    for (int unit = 1; unit < 20; ++unit)
        job->SetPUEnter(unit, nullptr, 0);
    QORJobInfo info;
    EXPECT_EQ(job->GetJobInfo(&info), S_OK);
    EXPECT_EQ(IdsOf(info.mTodoSteps, info.mTodoCount), "3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 ");
    EXPECT_EQ(IdsOf(info.mFinishedSteps, info.mFinishedCount), "1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 ");
    EXPECT_EQ(IdsOf(info.mPUInfos, info.mPUCount), "19 18 17 16 15 14 13 12 11 10 9 8 7 6 5 4 ");
    EXPECT_EQ(IdsOf(info.mData, info.mDataCount), "1 3 ");
    EXPECT_EQ(info.mDataSlots[0] * 10 + info.mDataSlots[1], 13);
    EXPECT_EQ(Read(info.mData[0], &QORJobInfoData::GetSize), 128u);
    EXPECT_EQ(Read(info.mData[1], &QORJobInfoData::GetSize), 0u) << "its bytes don't fit";
    EXPECT_EQ(*static_cast<const char*>(Read(info.mData[0], &QORJobInfoData::GetData)), 'b');

    const QBase::wstring text(100, W('d'));
    job->SetOwner(text);
    job->SetDescription(text);
    QORJobBrowsingInfo2 browsing;
    EXPECT_EQ(job->GetJobBrowsingInfo2(&browsing), S_OK);
    EXPECT_EQ(browsing.mJobId.Get(), -1) << "the base is the other operation's";
    EXPECT_EQ(browsing.mWholeDescription, text);
    EXPECT_EQ(job->GetJobBrowsingInfo(&browsing), S_OK);
    EXPECT_EQ(QBase::wstring(browsing.mOwner), text.substr(0, 31));
    EXPECT_EQ(QBase::wstring(browsing.mDescription), text.substr(0, 63));
}

TEST_F(JobSnapshots, AreCopiedWithTheCPUTimesAndConvertedToTheOlderLayout)
{
    QORJobInfo info;
    info.mStatusTime = TimeOf(1078);
    info.mTodoCount = 2;
    info.mPUCount = 1;
    info.mTodoSteps[1] = info.mTodoSteps[2] = QORJobStep(5);
    Settings::SetThreadTimes(30, 12);
    info.mTodoSteps[1].SetTaskCPUTime({}, {});
    info.mPUInfos[0] = QORJobPUInfo(9);
    info.mPUInfos[0].SetEnterTime();
    QORJobInfo copy(info);
    EXPECT_EQ(Read(copy.mTodoSteps[1], &QORJobStep::GetTaskCPUTime), 42.0);
    const QORJobInfoOld old(copy);
    EXPECT_EQ(old.mCreationTime.mYear * 10000 + old.mCreationTime.mMonth * 100 + old.mCreationTime.mDay, 18991230);
    EXPECT_EQ(old.mCreationTime.mDayOfWeek - OldDateTime().mDayOfWeek, 7) << "Saturday, and none";
    EXPECT_EQ(old.mStatusTime.mSecond * 1000 + old.mStatusTime.mMillisecond, 1078);
    EXPECT_EQ(old.mTodoSteps[1].mTaskCPUTime, 42u);
    EXPECT_EQ(old.mTodoSteps[2].mStepId, 0) << "past the count";
    EXPECT_EQ(old.mPUInfos[0].mPUId - old.mPUInfos[1].mPUId, 10);
}

TEST_F(JobSnapshots, NeverHaveAStepTwiceOrNoneOfIt)
{
    constexpr int cSteps = 14;
    LogSinks::Enable("Kernel", "*", false);
    for (int round = 0; round < 50; ++round)
    {
        const JobPtr job = NewJob(RequestReport);
        for (int step = 1; step <= cSteps; ++step)
            job->AddStepToRun(new QORJobStep(StepCloseJob + step), nullptr);
        std::atomic<bool> bOver{false};
        std::thread worker([&] {
            for (int step = 1; step <= cSteps; ++step)
            {
                job->SetStepStart(StepCloseJob + step, step, nullptr);
                job->SetDescription(QBase::wstring(static_cast<std::size_t>(step), W('d')));
                job->SetStepFinish(StepCloseJob + step, step, nullptr);
            }
            bOver = true;
        });
        while (!bOver)
        {
            QORJobInfo info;
            QORJobBrowsingInfo2 browsing;
            QBase::wstring dump;
            EXPECT_EQ(job->GetJobInfo(&info) + job->GetJobBrowsingInfo2(&browsing), S_OK);
            job->GetJobInfo(dump);
            const Texts ids =
                Split(IdsOf(info.mTodoSteps, info.mTodoCount) + IdsOf(info.mFinishedSteps, info.mFinishedCount));
            EXPECT_EQ(std::set<std::string>(ids.begin(), ids.end()).size(), std::size_t{cSteps});
            EXPECT_EQ(ids.size(), std::size_t{cSteps});
        }
        worker.join();
    }
}

TEST_F(JobSnapshots, CountNoMoreInTheOlderLayoutThanItHolds)
{
    for (const auto& [count, shown, items] : {std::tuple(99, 16, 5), {-1, 0, 0}})
    {
        QORJobInfo info;
        info.mTodoCount = info.mFinishedCount = info.mPUCount = info.mDataCount = count;
        const QORJobInfoOld old(info);
        EXPECT_EQ(old.mTodoCount, shown);
        EXPECT_EQ(old.mFinishedCount, shown);
        EXPECT_EQ(old.mPUCount, shown);
        EXPECT_EQ(old.mDataCount, items);
    }
}
