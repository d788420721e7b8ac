// The rules that the plain operations share: what a null pointer gives, and which of them take the job's lock.
#include "context/ICKDXProcessContext.h"
#include "data/QORJobData.h"
#include "job/QORJobError.h"
#include "job/QORJobTask.h"
#include "record/QORChannelRequest.h"
#include "record/QORJobBrowsingInfo.h"
#include "record/QORJobInfo.h"
#include "tests/support/Attributes.h"

#include <deque>
#include <thread>
#include <tuple>

namespace
{

using JobRows = JobTest;

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
    static constexpr bool cbGiven = std::is_pointer_v<Parameter> && !cbCounted;

    P Give()
    {
        if constexpr (cbGiven)
            return &mHeld;
        else
            return mHeld;
    }
};

/// An operation as it is called with arguments, and with null where it has nothing but an out-pointer.
struct Call
{
    std::function<void(QORJob&)> mRun;
    std::function<HRESULT(QORJob&)> mGiveNull;
};

template <class... Parameters, class Operation>
Call MakeCall(Operation iOperation)
{
    Call call;
    call.mRun = [iOperation](QORJob& ioJob) {
        std::tuple<Argument<Parameters>...> arguments;
        std::apply([&](auto&... ioArgument) { (ioJob.*iOperation)(ioArgument.Give()...); }, arguments);
    };
    if constexpr ((sizeof...(Parameters) == 1) && (Argument<Parameters>::cbGiven && ...))
        call.mGiveNull = [iOperation](QORJob& ioJob) { return static_cast<HRESULT>((ioJob.*iOperation)(nullptr)); };
    return call;
}

template <class Result, class... Parameters>
Call CallOf(Result (QORJob::*iOperation)(Parameters...))
{
    return MakeCall<Parameters...>(iOperation);
}

template <class Result, class... Parameters>
Call CallOf(Result (QORJob::*iOperation)(Parameters...) const)
{
    return MakeCall<Parameters...>(iOperation);
}

template <class... Operations>
std::vector<Call> CallsOf(Operations... iOperations)
{
    return {CallOf(iOperations)...};
}

using J = QORJob;

/// Beside the setters and getters of attributes.
std::vector<Call> LockedCalls()
{
    std::vector<Call> calls = CallsOf(
        static_cast<HRESULT (J::*)()>(&J::SetDescription), &J::SetUserSession, &J::GetUserSession,
        &J::SetProcessContext, &J::GetProcessContext, &J::GetMemGovernor, &J::IsCanceled, &J::IsStopped,
        &J::IsStepPausing, &J::IsExecuting, &J::IsQueryEngineServerAborted, &J::GetJobCreationTime,
        static_cast<HRESULT (J::*)(QSynch::AtomicLong, std::shared_ptr<JobMemGovernor>)>(&J::SetParentId),
        static_cast<int (J::*)() const>(&J::GetParentId), &J::AddChild, &J::RemoveExecutingChild, &J::MarkChildComplete,
        &J::GetExecutingChildrenList, &J::GetFinishedChildrenList, &J::SetRunAwayStatus,
        &J::NeedToKeepMsgInJobForRunAway, &J::NeedToPerisistMsgStatusForRunAway, &J::SetPUEnter, &J::SetPUStart,
        &J::SetPUExit, &J::GetPUId, &J::GetWaitingTime, &J::GetJobData, &J::IsDataAvailable, &J::CreateJobDataObject,
        static_cast<HRESULT (J::*)(QBase::wstring&) const>(&J::GetJobError), &J::UpdateJobError, &J::IsError,
        &J::GetErrCode, &J::GetComponentErrorCodeEx, &J::GetChannelRequest, &J::AddChannelRequest,
        &J::CompleteChannelRequest, &J::GetInMessage, &J::SetInMessage, &J::GetInBoxMsgPtr, &J::SetInBoxMsgPtr,
        &J::UpdateJobCloseCounters, static_cast<HRESULT (J::*)(QORJobInfo*) const>(&J::GetJobInfo),
        static_cast<void (J::*)(QBase::wstring&) const>(&J::GetJobInfo), &J::GetJobBrowsingInfo,
        &J::GetJobBrowsingInfo2);
    const auto add = [&](std::function<void(QORJob&)> iRun) { calls.push_back({std::move(iRun), {}}); };
    add([](J& ioJob) { EXPECT_EQ(ioJob.IncrementRunningChildCount(nullptr), S_OK); });
    add([](J& ioJob) { EXPECT_EQ(ioJob.DecrementRunningChildCount(nullptr), S_OK); });
    add([](J& ioJob) {
        std::wostringstream stream;
        ioJob.WriteJobInfo(stream);
    });
    return calls;
}

std::vector<Call> UnlockedCalls()
{
    return CallsOf(static_cast<QSynch::AtomicLong (J::*)()>(&J::GetId),
                   static_cast<int (J::*)() const>(&J::GetRequestType), &J::GetLocalDataBuffer,
                   &J::GetGovernorCancelFlag, &J::EnqueuePulse, &J::DequeuePulse, &J::GetOutMessage, &J::GetErrMessage,
                   &J::GetJobStringIDFromRequestType, &J::MarkJobTraceFlags, &J::SaveObj, &J::LoadObj);
}

} // namespace

TEST_F(JobRows, RefuseANullOutPointerOrIgnoreIt)
{
    const JobPtr counted = NewJobWith("3 2");
    QORJob& job = *counted.Get();
    for (const Attribute& attribute : cAttributes)
        EXPECT_EQ(attribute.mReadIntoNull ? attribute.mReadIntoNull(job) : attribute.mNullCode, attribute.mNullCode)
            << attribute.mName;
    for (const std::vector<Call>& calls : {LockedCalls(), UnlockedCalls()})
        for (const Call& call : calls)
            EXPECT_EQ(call.mGiveNull ? call.mGiveNull(job) : E_POINTER, E_POINTER) << &call - calls.data();
    for (const HRESULT code :
         {job.IsExecuting(nullptr, nullptr, nullptr, nullptr, nullptr), job.GetChannelRequest(nullptr, 0),
          job.GetJobData(0, nullptr), job.IsDataAvailable(0, nullptr), job.GetCurrentStepId(nullptr, nullptr),
          job.GetCurrentStepIdToRun(nullptr, nullptr), job.SetJobData(nullptr), job.GetWaitingTimeInternal(nullptr),
          job.GetJobError(static_cast<QBase::WCHAR**>(nullptr))})
        EXPECT_EQ(code, E_POINTER);
    for (const HRESULT code :
         {job.GetId(nullptr), job.SetType(1, nullptr), job.SetProjectId(1, nullptr), job.SetStatus(1, nullptr)})
        EXPECT_EQ(code, S_OK);
    unsigned size = 77;
    for (const DWORD code : {job.GetSaveObjSizeNoLock(&size), job.GetSaveObjSize(&size),
                             job.SaveObj(1, 0, nullptr, &size), job.LoadObj(1, nullptr)})
        EXPECT_EQ(code, 0u);
    EXPECT_EQ(size, 77u) << "a job is never saved as a whole";
}

TEST_F(JobRows, TakeTheLockOrDoWithoutIt)
{
    FakeProcessContext context;
    const JobPtr job = NewJobWith("3 2");
    job->SetProcessContext(&context);
    std::vector<Call> locked = LockedCalls();
    std::vector<Call> unlocked = UnlockedCalls();
    for (const Attribute& attribute : cAttributes)
    {
        if (attribute.mRawSetter)
            locked.push_back({[&](QORJob& ioJob) { attribute.mRawSetter(ioJob, QORJOB_W("text")); }, {}});
        (attribute.mbGetterLocks ? locked : unlocked).push_back({attribute.mGetter, {}});
        (attribute.mbSetterLocks ? locked : unlocked)
            .push_back({[&](QORJob& ioJob) {
                            std::string old;
                            attribute.mSetter(ioJob, old);
                        },
                        {}});
    }
    std::deque<std::atomic<bool>> done(locked.size());
    std::atomic<std::size_t> begun{0};
    std::atomic<std::size_t> passed{0};
    std::vector<std::thread> threads;
    {
        const auto hold = job->GetJobErrorBuilder(E_FAIL);
        for (std::size_t row = 0; row < locked.size(); ++row)
            threads.emplace_back([&, row] {
                ++begun;
                locked[row].mRun(*job.Get());
                done[row] = true;
            });
        threads.emplace_back([&] {
            for (const Call& call : unlocked)
            {
                call.mRun(*job.Get());
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
