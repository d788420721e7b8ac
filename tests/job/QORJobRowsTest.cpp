// The rules that the plain operations share: what a null pointer gives, and which of them take the job's lock.
#include "context/ICKDXProcessContext.h"
#include "data/QORJobData.h"
#include "report/QORChannelRequest.h"
#include "report/QORJobBrowsingInfo.h"
#include "report/QORJobError.h"
#include "report/QORJobInfo.h"
#include "task/QORJobTask.h"
#include "tests/support/JobTest.h"

#include <deque>
#include <functional>
#include <thread>
#include <tuple>
#include <type_traits>

namespace
{

using JobRows = JobTest;
using J = QORJob;
using Row = std::function<void(QORJob&)>;

/// Something to pass for a parameter: nothing of a counted object, room for what is given, zero for the rest.
template <class P>
class Argument
{
    using Parameter = std::remove_cvref_t<P>;
    using Pointee = std::remove_const_t<std::remove_pointer_t<Parameter>>;
    static constexpr bool cbCounted = std::is_pointer_v<Parameter> && std::is_polymorphic_v<Pointee>;
    using Held = std::conditional_t<cbCounted, Parameter, Pointee>;

    static Held Make()
    {
        if constexpr (std::is_default_constructible_v<Held>)
            return Held();
        else
            return Held(0);
    }

    Held mHeld = Make();

public:
    P Give()
    {
        if constexpr (std::is_pointer_v<Parameter> && !cbCounted)
            return &mHeld;
        else
            return mHeld;
    }
};

template <class Operation, class... Parameters>
Row MakeRow(Operation iOperation)
{
    return [iOperation](QORJob& ioJob) {
        std::tuple<Argument<Parameters>...> arguments;
        std::apply([&](auto&... ioArgument) { (ioJob.*iOperation)(ioArgument.Give()...); }, arguments);
    };
}

template <class Result, class... Parameters>
Row RowOf(Result (QORJob::*iOperation)(Parameters...))
{
    return MakeRow<decltype(iOperation), Parameters...>(iOperation);
}

template <class Result, class... Parameters>
Row RowOf(Result (QORJob::*iOperation)(Parameters...) const)
{
    return MakeRow<decltype(iOperation), Parameters...>(iOperation);
}

template <class... Operations>
std::vector<Row> RowsOf(Operations... iOperations)
{
    return {RowOf(iOperations)...};
}

template <class... Getters>
std::vector<HRESULT> GiveNull(QORJob& ioJob, Getters... iGetters)
{
    return {(ioJob.*iGetters)(nullptr)...};
}

using SetText = HRESULT (J::*)(const QBase::wstring&);
using SetRawText = HRESULT (J::*)(const WCHAR*);
using GetIdOf = HRESULT (J::*)(QSynch::AtomicLong*) const;

/// Each takes the lock for its whole run.
std::vector<Row> LockedRows()
{
    std::vector<Row> rows = RowsOf(
        &J::SetIsSendNowJob, &J::GetIsSendNowJob, &J::SetDeliveryType, &J::GetDeliveryType, &J::SetSubscriptionOwner,
        &J::GetSubscriptionOwner, &J::SetSubscriptionRecipient, &J::GetSubscriptionRecipient, &J::SetDestination,
        &J::GetDestination, &J::SetIsBatchJob, &J::IsBatchJob, &J::SetIsExecutingInWarehouse,
        &J::GetIsExecutingInWarehouse, &J::SetIsDocumentDataModelNull, &J::IsDocumentDataModelNull, &J::SetType,
        &J::SetSource, &J::SetProjectId, &J::GetProjectId, &J::SetProjectID, &J::GetProjectID,
        SetText{&J::SetProjectName}, SetRawText{&J::SetProjectName}, &J::GetProjectName, SetText{&J::SetOwner},
        SetRawText{&J::SetOwner}, &J::GetOwner, SetText{&J::SetUser}, SetRawText{&J::SetUser}, &J::GetUser,
        SetText{&J::SetUserLogin}, SetRawText{&J::SetUserLogin}, &J::GetUserLogin, &J::SetUserID, &J::GetUserID,
        &J::SetSessionID, &J::GetSessionID, &J::SetWarehouseID, &J::GetWarehouseID, SetText{&J::SetDescription},
        &J::GetDescription, static_cast<HRESULT (J::*)()>(&J::SetDescription), &J::SetUserSession, &J::GetUserSession,
        &J::SetProcessContext, &J::GetProcessContext, &J::SetTimeoutExtended, &J::GetTimeoutExtended,
        &J::GetMemGovernor);
    for (const Row& row :
         RowsOf(&J::SetStatus, &J::GetStatus, &J::IsCanceled, &J::IsStopped, &J::IsStepPausing, &J::SetRunning,
                &J::IsRunning, &J::IsExecuting, &J::SetIAmDead, &J::GetIAmDead, &J::IsQueryEngineServerAborted,
                &J::GetJobCreationTime, &J::GetJobFinishTime, &J::SetJobFinishTime, &J::GetTimeOutTime,
                &J::SetTimeOutPeriodInMilliseconds, static_cast<HRESULT (J::*)(QSynch::AtomicLong)>(&J::SetParentId),
                static_cast<HRESULT (J::*)(QSynch::AtomicLong, std::shared_ptr<JobMemGovernor>)>(&J::SetParentId),
                GetIdOf{&J::GetParentId}, static_cast<int (J::*)() const>(&J::GetParentId), &J::SetPreJobId,
                &J::GetPreJobId, &J::SetRunningChildCount, &J::GetRunningChildCount, &J::IncrementRunningChildCount,
                &J::DecrementRunningChildCount, &J::AddChild, &J::RemoveExecutingChild, &J::MarkChildComplete,
                &J::GetExecutingChildrenList, &J::GetFinishedChildrenList, &J::SetRunAwayStatus,
                &J::NeedToKeepMsgInJobForRunAway, &J::NeedToPerisistMsgStatusForRunAway, &J::SetPUEnter, &J::SetPUStart,
                &J::SetPUExit, &J::GetPUId, &J::SetPriority, &J::GetPriority, &J::SetPUPriority, &J::GetPUPriority,
                &J::GetWaitingTime, &J::GetJobData, &J::IsDataAvailable, &J::CreateJobDataObject))
        rows.push_back(row);
    for (const Row& row :
         RowsOf(static_cast<HRESULT (J::*)(QBase::wstring&) const>(&J::GetJobError), &J::UpdateJobError, &J::IsError,
                &J::GetErrCode, &J::SetComponentErrorCode, &J::GetComponentErrorCode, &J::GetComponentErrorCodeEx,
                &J::GetChannelRequest, &J::AddChannelRequest, &J::CompleteChannelRequest, &J::GetInMessage,
                &J::SetInMessage, &J::GetInBoxMsgPtr, &J::SetInBoxMsgPtr, &J::UpdateJobCloseCounters,
                static_cast<HRESULT (J::*)(QORJobInfo*) const>(&J::GetJobInfo),
                static_cast<void (J::*)(QBase::wstring&) const>(&J::GetJobInfo), &J::GetJobBrowsingInfo,
                &J::GetJobBrowsingInfo2))
        rows.push_back(row);
    rows.emplace_back([](QORJob& ioJob) {
        std::wostringstream stream;
        ioJob.WriteJobInfo(stream);
    });
    return rows;
}

std::vector<Row> UnlockedRows()
{
    return RowsOf(static_cast<QSynch::AtomicLong (J::*)()>(&J::GetId), GetIdOf{&J::GetId},
                  static_cast<int (J::*)() const>(&J::GetRequestType), &J::GetLocalDataBuffer, &J::GetType,
                  &J::GetSource, &J::SetRequestId, &J::GetRequestId, &J::SetStatsFlag, &J::GetStatsFlag,
                  &J::SetIfKeepRunWhenSessionTimeout, &J::IsKeepRunWhenSessionTimeout, &J::GetGovernorCancelFlag,
                  &J::SetCurrentStepForStatistics, &J::GetCurrentStepForStatistics, &J::EnqueuePulse, &J::DequeuePulse,
                  &J::GetOutMessage, &J::GetErrMessage, &J::ApplyGovernorOrNot, &J::SetGovernedControl,
                  &J::GetJobStringIDFromRequestType, &J::MarkJobTraceFlags, &J::GetSaveObjSizeNoLock,
                  &J::GetSaveObjSize, &J::SaveObj, &J::LoadObj);
}

} // namespace

TEST_F(JobRows, RefuseANullOutPointerOrIgnoreIt)
{
    const JobPtr counted = NewJobWith("3 2");
    QORJob& job = *counted.Get();
    bool bFlag = false;
    QORJobProcessingStep step{};
    const std::vector<HRESULT> refused = GiveNull(
        job, &J::GetIsSendNowJob, &J::GetDeliveryType, &J::GetIsExecutingInWarehouse, &J::GetType, &J::GetSource,
        &J::GetProjectId, &J::GetProjectID, SetRawText{&J::SetProjectName}, SetRawText{&J::SetOwner},
        SetRawText{&J::SetUser}, SetRawText{&J::SetUserLogin}, &J::GetUserSession, &J::GetProcessContext,
        &J::GetLocalDataBuffer, &J::GetStatus, &J::IsCanceled, &J::IsStopped, &J::IsRunning, &J::GetJobCreationTime,
        &J::GetJobFinishTime, &J::GetTimeOutTime, &J::GetRunningChildCount, &J::GetPUId, &J::GetPriority,
        &J::GetPUPriority, &J::GetWaitingTime, &J::GetWaitingTimeInternal,
        static_cast<HRESULT (J::*)(WCHAR**) const>(&J::GetJobError), &J::IsError, &J::GetErrCode,
        &J::GetComponentErrorCode, &J::GetComponentErrorCodeEx, &J::GetInMessage, &J::GetInBoxMsgPtr, &J::GetOutMessage,
        &J::GetErrMessage, static_cast<HRESULT (J::*)(QORJobInfo*) const>(&J::GetJobInfo), &J::GetJobBrowsingInfo,
        &J::GetJobBrowsingInfo2, &J::SetJobData);
    EXPECT_EQ(refused, std::vector<HRESULT>(refused.size(), E_POINTER));
    EXPECT_EQ(GiveNull(job, GetIdOf{&J::GetId}, &J::GetTimeoutExtended, GetIdOf{&J::GetParentId}, &J::GetPreJobId),
              std::vector<HRESULT>(4, S_OK));
    for (const HRESULT code :
         {job.IsExecuting(nullptr, nullptr, nullptr, nullptr, nullptr), job.SetIAmDead(true, nullptr, StepFindCube),
          job.GetIAmDead(nullptr, &step), job.GetIAmDead(&bFlag, nullptr), job.GetChannelRequest(nullptr, 0),
          job.GetJobData(0, nullptr), job.IsDataAvailable(0, nullptr)})
        EXPECT_EQ(code, E_POINTER);
    for (const HRESULT code :
         {job.SetType(1, nullptr), job.SetProjectId(1, nullptr), job.SetTimeoutExtended(true, nullptr),
          job.SetStatus(1, nullptr), job.SetRunning(true, nullptr), job.SetRunningChildCount(1, nullptr),
          job.IncrementRunningChildCount(nullptr), job.DecrementRunningChildCount(nullptr)})
        EXPECT_EQ(code, S_OK);
    unsigned size = 77;
    for (const ULONG code :
         {job.GetSaveObjSizeNoLock(nullptr), job.GetSaveObjSizeNoLock(&size), job.GetSaveObjSize(nullptr),
          job.GetSaveObjSize(&size), job.SaveObj(1, 0, nullptr, nullptr), job.SaveObj(1, 0, nullptr, &size),
          job.LoadObj(1, nullptr)})
        EXPECT_EQ(code, 0u);
    EXPECT_EQ(size, 77u);
}

TEST_F(JobRows, TakeTheLockOrDoWithoutIt)
{
    FakeProcessContext context;
    const JobPtr job = NewJobWith("3 2");
    job->SetProcessContext(&context);
    const std::vector<Row> locked = LockedRows();
    const std::vector<Row> unlocked = UnlockedRows();
    std::deque<std::atomic<bool>> done(locked.size());
    std::atomic<std::size_t> begun{0};
    std::atomic<std::size_t> passed{0};
    std::vector<std::thread> threads;
    {
        const auto hold = job->GetJobErrorBuilder(E_FAIL);
        for (std::size_t row = 0; row < locked.size(); ++row)
            threads.emplace_back([&, row] {
                ++begun;
                locked[row](*job.Get());
                done[row] = true;
            });
        threads.emplace_back([&] {
            for (const Row& row : unlocked)
            {
                row(*job.Get());
                ++passed;
            }
        });
        EXPECT_TRUE(WaitFor([&] { return passed == unlocked.size(); })) << passed << " waits";
        EXPECT_TRUE(WaitFor([&] { return begun == locked.size(); }));
        WaitFor([&] { return std::count(done.begin(), done.end(), true) != 0; }, std::chrono::milliseconds(100));
        for (std::size_t row = 0; row < locked.size(); ++row)
            EXPECT_FALSE(done[row]) << row;
    }
    for (std::thread& thread : threads)
        thread.join();
    context.mpGovernor.reset();
}
