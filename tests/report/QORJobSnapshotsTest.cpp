// Jobs as monitors see them: snapshots, their limits, and what they show while the job runs.
#include "data/QORBinaryData.h"
#include "report/QORJobBrowsingInfo.h"
#include "report/QORJobInfo.h"
#include "report/QORJobInfoOld.h"
#include "tests/support/FullJob.h"

#include <cstring>
#include <memory_resource>
#include <new>
#include <set>
#include <thread>
#include <utility>

namespace
{

using JobSnapshots = JobTest;

template <class Records>
std::string IdsOf(const Records& iRecords, int iCount)
{
    std::string ids;
    for (int index = 0; index < iCount; ++index)
        ids += std::to_string(Read(iRecords[static_cast<std::size_t>(index)], &Records::value_type::GetId)) + ' ';
    return ids;
}

std::string Show(const QDataType::DateTime& iTime) { return QBase::WideCharToUTF8(iTime.ToText()); }

std::string Show(const OldDateTime& iTime)
{
    char text[64];
    std::snprintf(text, sizeof(text), "%04d-%02d-%02d %02d:%02d:%02d.%03d", iTime.mYear, iTime.mMonth, iTime.mDay,
                  iTime.mHour, iTime.mMinute, iTime.mSecond, iTime.mMillisecond);
    return text;
}

/// As a step looks that FullJob::NewStep made. The chapter key isn't shown: the older layout has none.
std::string StepText(int iId, DWORD iThreadId, int iPUId, int iPriority, int iCPUTime, const std::string& iTimes)
{
    return std::to_string(iId) + " (thread " + std::to_string(iThreadId) + " unit " + std::to_string(iPUId) +
           " priority " + std::to_string(iPriority) + " CPU " + std::to_string(iCPUTime) + " " + iTimes + ") ";
}

std::string StepText(int iNumber)
{
    return StepText(iNumber, 1000 + static_cast<DWORD>(iNumber), 2000 + iNumber, 3000 + iNumber, 4000 + iNumber,
                    At(2 * iNumber) + " " + At(2 * iNumber + 1));
}

std::string Show(const QORJobStep& iStep)
{
    const int id = Read(iStep, &QORJobStep::GetId);
    EXPECT_EQ(QBase::WideCharToUTF8(iStep.GetChapterKey()), "K" + std::to_string(id));
    return StepText(id, Read(iStep, &QORJobStep::GetThreadId), Read(iStep, &QORJobStep::GetPUId),
                    Read(iStep, &QORJobStep::GetPUPriority), static_cast<int>(Read(iStep, &QORJobStep::GetTaskCPUTime)),
                    Show(Read(iStep, &QORJobStep::GetStartTime)) + " " + Show(Read(iStep, &QORJobStep::GetFinishTime)));
}

std::string Show(const QORJobStepOld& iStep)
{
    return StepText(iStep.mStepId, iStep.mThreadId, iStep.mPUId, iStep.mPUPriority,
                    static_cast<int>(iStep.mTaskCPUTime), Show(iStep.mStartTime) + " " + Show(iStep.mFinishTime));
}

std::string Show(const QORJobPUInfo& iVisit)
{
    return std::to_string(Read(iVisit, &QORJobPUInfo::GetId)) + " (" + Show(Read(iVisit, &QORJobPUInfo::GetEnterTime)) +
           " " + Show(Read(iVisit, &QORJobPUInfo::GetStartTime)) + " " +
           Show(Read(iVisit, &QORJobPUInfo::GetExitTime)) + ") ";
}

std::string Show(const QORJobPUInfoOld& iVisit)
{
    return std::to_string(iVisit.mPUId) + " (" + Show(iVisit.mEnterTime) + " " + Show(iVisit.mStartTime) + " " +
           Show(iVisit.mExitTime) + ") ";
}

/// Of both layouts.
template <class Info>
std::string ShowInfo(const Info& iInfo)
{
    std::ostringstream text;
    const auto showAll = [&](const char* iName, const auto& iRecords, int iCount) {
        text << "\n" << iName << ' ' << iCount << ": ";
        for (int index = 0; index < iCount; ++index)
            text << Show(iRecords[static_cast<std::size_t>(index)]);
    };
    text << iInfo.mJobId.Get() << " priority " << iInfo.mPriority << " status " << iInfo.mStatus << " source "
         << iInfo.mSource << " type " << iInfo.mType << " running " << iInfo.mbRunning << " unit priority "
         << iInfo.mPUPriority << '\n'
         << Show(iInfo.mCreationTime) << ", " << Show(iInfo.mStatusTime) << ", " << Show(iInfo.mFinishTime);
    showAll("to do", iInfo.mTodoSteps, iInfo.mTodoCount);
    showAll("finished", iInfo.mFinishedSteps, iInfo.mFinishedCount);
    showAll("visits", iInfo.mPUInfos, iInfo.mPUCount);
    text << "\nitems " << iInfo.mDataCount << ": ";
    for (std::size_t item = 0; item < static_cast<std::size_t>(iInfo.mDataCount); ++item)
        text << "slot " << iInfo.mDataSlots[item] << " id " << Read(iInfo.mData[item], &QORJobInfoData::GetId)
             << " size " << Read(iInfo.mData[item], &QORJobInfoData::GetSize) << " '"
             << *static_cast<const char*>(Read(iInfo.mData[item], &QORJobInfoData::GetData)) << "' ";
    return text.str();
}

std::string Show(const QORJobInfo& iInfo) { return ShowInfo(iInfo); }
std::string Show(const QORJobInfoOld& iInfo) { return ShowInfo(iInfo); }

std::string Show(const QORJobBrowsingInfo2& iInfo)
{
    const auto quoted = [](const QBase::wstring& iText) { return "'" + QBase::WideCharToUTF8(iText) + "' "; };
    std::ostringstream text;
    text << iInfo.mJobId.Get() << " priority " << iInfo.mPriority << " status " << iInfo.mStatus << " project "
         << iInfo.mProjectId << " " << quoted(iInfo.mOwner) << quoted(iInfo.mDescription) << quoted(iInfo.mProjectName)
         << "\nsend now " << iInfo.mbSendNow << " delivery " << iInfo.mDeliveryType << " "
         << quoted(iInfo.mSubscriptionOwner) << quoted(iInfo.mSubscriptionRecipient) << quoted(iInfo.mDestination)
         << QBase::ToString(iInfo.mProjectGuid) << " " << QBase::ToString(iInfo.mObjectGuid) << " "
         << quoted(iInfo.mWholeDescription) << quoted(iInfo.mUserLogin) << iInfo.mbExecutingInWarehouse;
    return text.str();
}

} // namespace

TEST_F(JobSnapshots, CutWhatIsTooLong)
{
    BytesItem small(1, 128);
    BytesItem large(3, 129);
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
    EXPECT_EQ(Read(info.mData[0], &QORJobInfoData::GetSize), 128u);
    EXPECT_EQ(Read(info.mData[1], &QORJobInfoData::GetSize), 0u) << "its bytes don't fit";

    const QBase::wstring text(100, W('d'));
    job->SetOwner(text);
    job->SetDescription(text);
    job->SetProjectName(text);
    QORJobBrowsingInfo browsing;
    EXPECT_EQ(job->GetJobBrowsingInfo(&browsing), S_OK);
    EXPECT_EQ(QBase::wstring(browsing.mOwner), text.substr(0, 31));
    EXPECT_EQ(QBase::wstring(browsing.mDescription), text.substr(0, 63));
    EXPECT_EQ(QBase::wstring(browsing.mProjectName), text.substr(0, 31));
}

TEST_F(JobSnapshots, KeepTheirTextsOnTheGeneralHeap)
{
    const QBase::wstring text(100, W('d'));
    const JobPtr job = NewJob();
    job->SetSubscriptionOwner(text);
    job->SetSubscriptionRecipient(text);
    job->SetDestination(text);
    job->SetDescription(text);
    job->SetUserLogin(text);
    // What a program makes its default while snapshots live is nothing to them.
    std::pmr::memory_resource* const usual = std::pmr::set_default_resource(std::pmr::null_memory_resource());
    {
        Faults::StopCountingBlocks();
        QORJobBrowsingInfo2 browsing;
        EXPECT_EQ(job->GetJobBrowsingInfo2(&browsing), S_OK);
        Faults::StartCountingBlocks();
        const QORJobBrowsingInfo2 copy(browsing);
        QORJobBrowsingInfo2 assigned;
        assigned = copy;
        const QORJobBrowsingInfo2 moved(std::move(browsing));
        EXPECT_EQ(Faults::StopCountingBlocks(), 2 * 5);
        EXPECT_EQ(assigned.mSubscriptionOwner + assigned.mUserLogin, text + text);
        EXPECT_EQ(moved.mDestination + moved.mSubscriptionRecipient, text + text);
        for (int nth = 1; nth <= 5; ++nth)
        {
            Faults::FailNth(Faults::EnumFault::Allocation, nth);
            EXPECT_THROW(QORJobBrowsingInfo2{copy}, std::bad_alloc);
        }
    }
    std::pmr::set_default_resource(usual);
    Faults::StartCountingBlocks();
}

TEST_F(JobSnapshots, ShowAllThereIsAndAreCopiedWhole)
{
    const FullJob full;
    QORJobInfo info;
    EXPECT_EQ(full.mJob->GetJobInfo(&info), S_OK);
    const std::string shown = "4711 priority 22 status 8 source 24 type 26 running 1 unit priority 23\n" + At(1) +
                              ", " + At(2) + ", " + At(3) + "\nto do 2: " + StepText(13) + StepText(14) +
                              "\nfinished 2: " + StepText(12) + StepText(11) + "\nvisits 2: 36 (" + At(108) + " " +
                              At(109) + " " + At(110) + ") 35 (" + At(105) + " " + At(106) + " " + At(107) +
                              ") \nitems 2: slot 0 id 0 size 8 'i' slot 3 id 3 size 7 'b' ";
    EXPECT_EQ(Show(info), shown);
    QORJobInfo copy(info);
    EXPECT_EQ(Show(copy), shown);
    QORJobInfo assigned;
    assigned = copy;
    EXPECT_EQ(Show(assigned), shown);
    EXPECT_EQ(Show(QORJobInfoOld(info)), shown);
    const QORJobInfo fresh;
    EXPECT_EQ(Show(fresh), "-1 priority 0 status 0 source 0 type 0 running 0 unit priority 0\n" + cNever + ", " +
                               cNever + ", " + cNever + "\nto do 0: \nfinished 0: \nvisits 0: \nitems 0: ");
    EXPECT_EQ(Show(QORJobInfoOld(fresh)), Show(fresh));
}

TEST_F(JobSnapshots, ConvertNoMoreToTheOlderLayoutThanCounts)
{
    QORJobInfo info;
    info.mTodoCount = info.mFinishedCount = info.mPUCount = 1;
    const std::unique_ptr<QORJobStep> step(FullJob::NewStep(5));
    info.mTodoSteps[0] = info.mTodoSteps[1] = info.mFinishedSteps[0] = info.mFinishedSteps[1] = *step;
    info.mPUInfos[0] = info.mPUInfos[1] = QORJobPUInfo(9);
    info.mPUInfos[0].SetEnterTime();
    const QORJobInfoOld old(info);
    EXPECT_EQ(old.mTodoSteps[0].mTaskCPUTime, 4005u);
    EXPECT_EQ(old.mTodoSteps[1].mStepId, 0);
    EXPECT_EQ(old.mFinishedSteps[1].mStepId, 0);
    EXPECT_EQ(old.mPUInfos[0].mThreadId, QBase::GetCurrentThreadID());
    EXPECT_EQ(old.mPUInfos[1].mPUId, -1);
    EXPECT_EQ(old.mTodoSteps[0].mStartTime.mWeek, 12) << At(10); // a Saturday
    EXPECT_EQ(old.mTodoSteps[0].mStartTime.mDayOfWeek, 6) << At(10);
    EXPECT_EQ(OldDateTime().mWeek, -1);
    EXPECT_EQ(OldDateTime().mDayOfWeek, -1);
}

TEST_F(JobSnapshots, ListAJobByTwoOperationsEachWithItsPart)
{
    const FullJob full;
    QORJobBrowsingInfo2 base;
    QORJobBrowsingInfo2 added;
    EXPECT_EQ(full.mJob->GetJobBrowsingInfo(&base), S_OK);
    EXPECT_EQ(full.mJob->GetJobBrowsingInfo2(&added), S_OK);
    const std::string cBase = "4711 priority 22 status 8 project 27 'owner' 'description' 'project' \n";
    const std::string cAdded =
        "send now 1 delivery 30 'subscription owner' 'recipient' 'destination' "
        "{12345678-9ABC-DEF0-0102-030405060701} {12345678-9ABC-DEF0-0102-030405060705} 'description' 'login' 1";
    EXPECT_EQ(Show(base), cBase + "send now 0 delivery 0 '' '' '' " + QBase::ToString(GUID_NULL) + " " +
                              QBase::ToString(GUID_NULL) + " '' '' 0");
    EXPECT_EQ(Show(added), "-1 priority 0 status 0 project 0 '' '' '' \n" + cAdded);
    EXPECT_EQ(full.mJob->GetJobBrowsingInfo(&added), S_OK);
    QORJobBrowsingInfo2 copy(added);
    EXPECT_EQ(Show(copy), cBase + cAdded);
    base = copy;
    EXPECT_EQ(Show(base), cBase + cAdded);
    const QORJobBrowsingInfo2 moved(std::move(copy));
    const QORJobBrowsingInfo& asBase = moved;
    EXPECT_EQ(Show(moved), cBase + cAdded);
    added = QORJobBrowsingInfo2();
    added = std::move(base);
    EXPECT_EQ(Show(added), cBase + cAdded);
    EXPECT_EQ(Read(asBase, &QORJobBrowsingInfo::get_ID).Get(), cJobId);
    EXPECT_EQ(Read(asBase, &QORJobBrowsingInfo::get_Priority), 22);
    EXPECT_EQ(Read(asBase, &QORJobBrowsingInfo::get_Status), 8);
    for (const HRESULT code : {moved.get_ID(nullptr), moved.get_Priority(nullptr), moved.get_Status(nullptr)})
        EXPECT_EQ(code, E_POINTER);
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
