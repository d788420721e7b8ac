// Jobs as monitors see them: snapshots, their limits, and what they show while the job runs.
#include "data/QORBinaryData.h"
#include "record/QORJobBrowsingInfo.h"
#include "record/QORJobInfo.h"
#include "record/QORJobInfoOld.h"
#include "tests/support/FullJob.h"

#include <cstring>
#include <memory_resource>
#include <new>
#include <utility>

namespace
{

using JobSnapshots = JobTest;

template <class... Parts>
std::string Words(const Parts&... iParts)
{
    std::ostringstream text;
    ((text << iParts << ' '), ...);
    return text.str();
}

std::string Show(const QBase::wstring& iText) { return "'" + QBase::WideCharToUTF8(iText) + "'"; }

std::string Show(const QDataType::DateTime& iTime) { return QBase::WideCharToUTF8(iTime.ToText()); }

std::string Show(const OldDateTime& iTime)
{
    char text[64];
    std::snprintf(text, sizeof(text), "%04d-%02d-%02d %02d:%02d:%02d.%03d", iTime.mYear, iTime.mMonth, iTime.mDay,
                  iTime.mHour, iTime.mMinute, iTime.mSecond, iTime.mMillisecond);
    return text;
}

std::string Show(const QORJobStep& iStep)
{
    return Words("step", Read(iStep, &QORJobStep::GetId), Show(Read(iStep, &QORJobStep::GetStartTime)),
                 Show(Read(iStep, &QORJobStep::GetFinishTime)), Read(iStep, &QORJobStep::GetTaskCPUTime),
                 Read(iStep, &QORJobStep::GetPUPriority), Read(iStep, &QORJobStep::GetPUId),
                 Read(iStep, &QORJobStep::GetThreadId));
}

std::string Show(const QORJobStepOld& iStep)
{
    return Words("step", iStep.mStepId, Show(iStep.mStartTime), Show(iStep.mFinishTime), iStep.mTaskCPUTime,
                 iStep.mPUPriority, iStep.mPUId, iStep.mThreadId);
}

std::string Show(const QORJobPUInfo& iVisit)
{
    return Words("unit", Read(iVisit, &QORJobPUInfo::GetId), Show(Read(iVisit, &QORJobPUInfo::GetEnterTime)),
                 Show(Read(iVisit, &QORJobPUInfo::GetStartTime)), Show(Read(iVisit, &QORJobPUInfo::GetExitTime)));
}

std::string Show(const QORJobPUInfoOld& iVisit)
{
    return Words("unit", iVisit.mPUId, Show(iVisit.mEnterTime), Show(iVisit.mStartTime), Show(iVisit.mExitTime));
}

std::string Show(const QORJobInfoData& iItem)
{
    return Words("item", Read(iItem, &QORJobInfoData::GetId), Read(iItem, &QORJobInfoData::GetSize),
                 *static_cast<const char*>(Read(iItem, &QORJobInfoData::GetData)));
}

/// Of both layouts.
template <class Info>
std::string ShowInfo(const Info& iInfo)
{
    std::string text =
        Words(iInfo.mJobId.Get(), "priority", iInfo.mPriority, "status", iInfo.mStatus, "source", iInfo.mSource, "type",
              iInfo.mType, "running", iInfo.mbRunning, "unit priority", iInfo.mPUPriority, Show(iInfo.mCreationTime),
              Show(iInfo.mStatusTime), Show(iInfo.mFinishTime));
    const auto add = [&](const auto& iRecords, int iCount) {
        text += std::to_string(iCount) + ": ";
        for (std::size_t index = 0; index < static_cast<std::size_t>(iCount); ++index)
            text += Show(iRecords[index]);
    };
    add(iInfo.mTodoSteps, iInfo.mTodoCount);
    add(iInfo.mFinishedSteps, iInfo.mFinishedCount);
    add(iInfo.mPUInfos, iInfo.mPUCount);
    add(iInfo.mData, iInfo.mDataCount);
    for (const int slot : iInfo.mDataSlots)
        text += std::to_string(slot) + " ";
    return text;
}

std::string Show(const QORJobBrowsingInfo2& iInfo)
{
    return Words(iInfo.mJobId.Get(), iInfo.mStatus, iInfo.mPriority, iInfo.mProjectId, Show(iInfo.mOwner),
                 Show(iInfo.mDescription), Show(iInfo.mProjectName), iInfo.mbSendNow, iInfo.mDeliveryType,
                 Show(iInfo.mSubscriptionOwner), Show(iInfo.mSubscriptionRecipient), Show(iInfo.mDestination),
                 QBase::ToString(iInfo.mProjectGuid), QBase::ToString(iInfo.mObjectGuid), Show(iInfo.mWholeDescription),
                 Show(iInfo.mUserLogin), iInfo.mbExecutingInWarehouse);
}

} // namespace

TEST_F(JobSnapshots, CutWhatIsTooLong)
{
    BytesItem small(1, 128);
    BytesItem large(3, 129);
    const JobPtr job = NewJob();
    EXPECT_EQ(job->SetJobData(&small), S_OK);
    EXPECT_EQ(job->SetJobData(&large), S_OK);
    for (const bool bFinished : {true, false})
    {
        Queue(*job.Get(), "- 1 - 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 -");
        while (bFinished && job->SetStepComplete(StepMDObjectRequest) == S_OK)
        {
        }
    }
    for (int unit = 1; unit < 20; ++unit)
        job->SetPUEnter(unit, nullptr, 0);
    QORJobInfo info;
    EXPECT_EQ(job->GetJobInfo(&info), S_OK);
    EXPECT_EQ(info.mTodoCount, 16);
    EXPECT_EQ(info.mFinishedCount, 16);
    EXPECT_EQ(info.mPUCount, 16);
    EXPECT_EQ(Read(info.mTodoSteps[15], &QORJobStep::GetId), 1);
    EXPECT_EQ(Read(info.mFinishedSteps[15], &QORJobStep::GetId), 1);
    EXPECT_EQ(Read(info.mPUInfos[0], &QORJobPUInfo::GetId), 19);
    EXPECT_EQ(Read(info.mPUInfos[15], &QORJobPUInfo::GetId), 4);
    EXPECT_EQ(Show(info.mData[0]), Words("item 1 128 b"));
    EXPECT_EQ(Read(info.mData[1], &QORJobInfoData::GetSize), 0u) << "its bytes don't fit";

    const QBase::wstring text(100, QORJOB_W('d'));
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
    const QBase::wstring text(100, QORJOB_W('d'));
    const JobPtr job = NewJob();
    job->SetSubscriptionOwner(text);
    job->SetSubscriptionRecipient(text);
    job->SetDestination(text);
    job->SetDescription(text);
    job->SetUserLogin(text);
    // What a program makes its default while snapshots live is nothing to them.
    std::pmr::memory_resource* const usual = std::pmr::set_default_resource(std::pmr::null_memory_resource());
    {
        Builtin::Faults::StopCountingBlocks();
        QORJobBrowsingInfo2 browsing;
        EXPECT_EQ(job->GetJobBrowsingInfo2(&browsing), S_OK);
        Builtin::Faults::StartCountingBlocks();
        const QORJobBrowsingInfo2 copy(browsing);
        QORJobBrowsingInfo2 assigned;
        assigned = copy;
        const QORJobBrowsingInfo2 moved(std::move(browsing));
        EXPECT_EQ(Builtin::Faults::StopCountingBlocks(), 2 * 5);
        EXPECT_EQ(assigned.mSubscriptionOwner + assigned.mUserLogin, text + text);
        EXPECT_EQ(moved.mDestination + moved.mSubscriptionRecipient, text + text);
        for (int nth = 1; nth <= 5; ++nth)
        {
            Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, nth);
            EXPECT_THROW(QORJobBrowsingInfo2{copy}, std::bad_alloc);
        }
    }
    std::pmr::set_default_resource(usual);
    Builtin::Faults::StartCountingBlocks();
}

TEST_F(JobSnapshots, ShowAllThereIsAndAreCopiedWhole)
{
    const FullJob full;
    QORJobInfo info;
    EXPECT_EQ(full.mJob->GetJobInfo(&info), S_OK);
    const auto stepText = [](int iNumber) {
        return Words("step", iNumber, At(2 * iNumber), At(2 * iNumber + 1), 4000 + iNumber, 3000 + iNumber,
                     2000 + iNumber, 1000 + iNumber);
    };
    const std::string shown =
        Words("4711 priority 22 status 8 source 24 type 26 running 1 unit priority 23", At(1), At(2), At(3)) +
        "2: " + stepText(13) + stepText(14) + "2: " + stepText(12) + stepText(11) +
        "3: " + Words("unit 35", At(107), At(108), cNever) + Words("unit 36", At(106), cNever, At(110)) +
        Words("unit 35", At(105), cNever, At(109)) + "2: item 0 8 i item 3 7 b 0 3 0 0 0 ";
    EXPECT_EQ(ShowInfo(info), shown);
    EXPECT_EQ(QBase::WideCharToUTF8(info.mTodoSteps[0].GetChapterKey()), "K13");
    QORJobInfo copy(info);
    EXPECT_EQ(ShowInfo(copy), shown);
    EXPECT_EQ(ShowInfo(copy = info), shown);
    EXPECT_EQ(ShowInfo(QORJobInfoOld(info)), shown);
    const QORJobInfo fresh;
    EXPECT_EQ(ShowInfo(fresh),
              Words("-1 priority 0 status 0 source 0 type 0 running 0 unit priority 0", cNever, cNever, cNever) +
                  "0: 0: 0: 0: 0 0 0 0 0 ");
    EXPECT_EQ(ShowInfo(QORJobInfoOld(fresh)), ShowInfo(fresh));
}

TEST_F(JobSnapshots, ConvertNoMoreToTheOlderLayoutThanCountsAndThanItHolds)
{
    QORJobInfo info;
    const std::unique_ptr<QORJobStep> step(FullJob::NewStep(5));
    info.mTodoSteps[1] = info.mFinishedSteps[1] = info.mFinishedSteps[0] = *step;
    info.mPUInfos[0] = info.mPUInfos[1] = QORJobPUInfo(9);
    info.mPUInfos[0].SetEnterTime();
    for (const auto& [count, shown, items] : {std::tuple(99, 16, 5), {-1, 0, 0}, {1, 1, 1}})
    {
        info.mTodoCount = info.mFinishedCount = info.mPUCount = info.mDataCount = count;
        const QORJobInfoOld held(info);
        EXPECT_TRUE(held.mTodoCount == shown && held.mFinishedCount == shown && held.mPUCount == shown) << count;
        EXPECT_EQ(held.mDataCount, items);
    }
    const QORJobInfoOld old(info); // of each list the first entry
    EXPECT_EQ(old.mTodoSteps[1].mStepId, 0);
    EXPECT_EQ(old.mFinishedSteps[1].mStepId, 0);
    EXPECT_EQ(old.mPUInfos[0].mThreadId, QBase::GetCurrentThreadID());
    EXPECT_EQ(old.mPUInfos[1].mPUId, -1);
    for (const auto& [time, week, dayOfWeek] :
         {std::tuple(old.mFinishedSteps[0].mStartTime, 12, 6), {OldDateTime(), -1, -1}})
        EXPECT_TRUE(time.mWeek == week && time.mDayOfWeek == dayOfWeek) << At(10);
}

TEST_F(JobSnapshots, ListAJobByTwoOperationsEachWithItsPart)
{
    const FullJob full;
    QORJobBrowsingInfo2 base;
    QORJobBrowsingInfo2 whole;
    EXPECT_EQ(full.mJob->GetJobBrowsingInfo(&base), S_OK);
    EXPECT_EQ(full.mJob->GetJobBrowsingInfo2(&whole), S_OK);
    const std::string cBase = "4711 8 22 27 'Owner' 'Description' 'ProjectName' ";
    const std::string cAdded =
        Words("1 30 'SubscriptionOwner' 'SubscriptionRecipient' 'Destination'", QBase::ToString(GuidOf(1)),
              QBase::ToString(GuidOf(5)), "'Description'", "'UserLogin' 1");
    const std::string none = QBase::ToString(GUID_NULL);
    EXPECT_EQ(Show(base), cBase + Words("0 0 '' '' ''", none, none, "'' '' 0"));
    EXPECT_EQ(Show(whole), "-1 0 0 0 '' '' '' " + cAdded);
    EXPECT_EQ(full.mJob->GetJobBrowsingInfo(&whole), S_OK);
    QORJobBrowsingInfo2 copy(whole);
    EXPECT_EQ(Show(copy), cBase + cAdded);
    EXPECT_EQ(Show(base = whole), cBase + cAdded);
    EXPECT_EQ(Show(QORJobBrowsingInfo2(std::move(copy))), cBase + cAdded);
    EXPECT_EQ(Show(copy = std::move(whole)), cBase + cAdded);
    const QORJobBrowsingInfo& read = base;
    EXPECT_EQ(Read(read, &QORJobBrowsingInfo::get_ID).Get(), cJobId);
    EXPECT_EQ(Read(read, &QORJobBrowsingInfo::get_Priority), 22);
    EXPECT_EQ(Read(read, &QORJobBrowsingInfo::get_Status), 8);
    for (const HRESULT code : {read.get_ID(nullptr), read.get_Priority(nullptr), read.get_Status(nullptr)})
        EXPECT_EQ(code, E_POINTER);
}
