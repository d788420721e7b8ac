#include "Answer.h"
#include "Errors.h"
#include "JobCalls.h"
#include "Kernel.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

namespace
{

/// What a command can't do to a job, and why.
class Refusal : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace

void Kernel::Order(const Control& iControl)
{
    const std::lock_guard hold(mMutex);
    mOrders.push_back(iControl);
}

bool Kernel::Obey(const Control& iControl)
{
    const int stepOf = iControl.mStepOf;
    JobRecord* const record = Find(iControl.mJob);
    if (record == nullptr || Find(stepOf < cFirstChild ? stepOf : stepOf / cFirstChild) == nullptr)
        throw Refusal("there is no such job");
    if (iControl.mStep != 0)
    {
        Order(iControl);
        return false;
    }
    bool bDone = false;
    {
        const std::lock_guard hold(record->mMutex);
        bDone = ObeyOne(iControl, *record);
    }
    if (iControl.mKind == EnumControl::Cancel)
        CancelChildren(*record);
    return bDone;
}

void Kernel::ResumeAll()
{
    for (JobRecord& record : mRecords)
    {
        const std::lock_guard hold(record.mMutex);
        if (record.mRest == EnumRest::Paused)
            Resume(record);
    }
}

/// The orders that wait for this step: for the moment between its start and its run.
void Kernel::ObeyOrders(int iJob, int iStepId)
{
    for (Control order : TakeOrders(iJob, iStepId, false))
    {
        order.mStep = 0;
        try
        {
            Obey(order);
        }
        catch (const std::exception& error)
        {
            LogError(ToText(order) + ": " + error.what());
        }
    }
}

std::vector<Control> Kernel::TakeOrders(int iJob, int iStepId, bool ibResume)
{
    const auto isOther = [=](const Control& iOrder) {
        return iOrder.mStepOf != iJob || (iOrder.mStep != 0 && iOrder.mStep != iStepId) ||
               (iOrder.mKind == EnumControl::Resume) != ibResume;
    };
    const std::lock_guard hold(mMutex);
    const auto taken = std::stable_partition(mOrders.begin(), mOrders.end(), isOther);
    std::vector<Control> orders(taken, mOrders.end());
    mOrders.erase(taken, mOrders.end());
    return orders;
}

/// Null when there is none.
JobRecord* Kernel::Find(int iJob)
{
    JobRecord* record = nullptr;
    {
        const std::lock_guard hold(mMutex);
        const int request = iJob < cFirstChild ? iJob : iJob / cFirstChild;
        if (request < 1 || request > static_cast<int>(mRecords.size()))
            return nullptr;
        record = &mRecords[static_cast<std::size_t>(request) - 1];
    }
    if (record->mId == iJob)
        return record;
    const std::lock_guard hold(record->mMutex);
    for (JobRecord& child : record->mChildren)
        if (child.mId == iJob)
            return &child;
    return nullptr;
}

std::vector<QBase::PtrI<QORJob>> Kernel::GetLiveJobs()
{
    std::vector<JobRecord*> records;
    {
        const std::lock_guard hold(mMutex);
        for (JobRecord& record : mRecords)
            records.push_back(&record);
    }
    std::vector<QBase::PtrI<QORJob>> jobs;
    for (JobRecord* record : records)
    {
        std::vector<JobRecord*> family{record};
        {
            const std::lock_guard hold(record->mMutex);
            for (JobRecord& child : record->mChildren)
                family.push_back(&child);
        }
        for (JobRecord* member : family)
        {
            const std::lock_guard hold(member->mMutex);
            if (member->mpJob)
                jobs.push_back(member->mpJob);
        }
    }
    return jobs;
}

/// False when it is left for a step to come.
bool Kernel::ObeyOne(const Control& iControl, JobRecord& ioRecord)
{
    if (!ioRecord.mpJob || ioRecord.mbAnswered || QORJOB::HasEnded(StatusOf(*ioRecord.mpJob.Get())))
        throw Refusal("the job has ended, or is about to");
    switch (iControl.mKind)
    {
    case EnumControl::Cancel:
        Cancel(ioRecord);
        return true;
    case EnumControl::Pause:
        return Pause(iControl, ioRecord);
    case EnumControl::Resume:
        if (ioRecord.mRest != EnumRest::Paused)
            throw Refusal("the job isn't paused");
        Resume(ioRecord);
        return true;
    default:
        SetTimeout(iControl.mMilliseconds, ioRecord);
        return true;
    }
}

/// Leaves the job its running step, and the steps that tell the client and close.
void Kernel::Cancel(JobRecord& ioRecord)
{
    Expect(ioRecord.mpJob->Cancel(), "Cancel");
    PackCancelled(*ioRecord.mpContext.Get());
    ioRecord.mNotes.emplace_back("cancelled");
    if (ioRecord.mRest != EnumRest::Paused)
        return;
    ioRecord.mRest = EnumRest::None;
    EnterNext(ioRecord);
}

/// Only a running step can be paused: where there is none, the next one will be.
bool Kernel::Pause(const Control& iControl, JobRecord& ioRecord)
{
    if (ioRecord.mRequest.mKind != EnumRequestKind::Document)
        throw Refusal("only documents can be paused");
    if (ioRecord.mRest == EnumRest::Paused)
        throw Refusal("the job is paused");
    const bool bNow = ioRecord.mpRunning != nullptr && ioRecord.mpRunning->GetStep().IsStoppable();
    if (bNow)
        ioRecord.mpJob->PauseCurrentStep();
    else
        Order(iControl);
    return bNow;
}

/// The step that was paused is queued and looks started. It is renewed now, and not when the job is resumed: a
/// cancellation before that would leave it so.
void Kernel::RestPaused(const StepEntry& iStep, EnumUnit iUnit, JobRecord& ioRecord)
{
    Exit(iUnit, ioRecord); // first: the trace shows how far the step has come
    Expect(ioRecord.mpJob->RenewCurrentStep(), "RenewCurrentStep");
    ioRecord.mNotes.push_back("paused at " + std::to_string(iStep.mStepId));
    ioRecord.mRest = EnumRest::Paused;
    if (!TakeOrders(ioRecord.mId, iStep.mStepId, true).empty())
        Resume(ioRecord);
}

void Kernel::Resume(JobRecord& ioRecord)
{
    ioRecord.mpJob->ResetStatusBeforeResumeExecution();
    Expect(ioRecord.mpJob->SetRunning(true, nullptr), "SetRunning");
    ioRecord.mNotes.emplace_back("resumed");
    ioRecord.mRest = EnumRest::None;
    EnterNext(ioRecord);
}

/// The job counts its time from its creation.
void Kernel::SetTimeout(unsigned iMilliseconds, JobRecord& ioRecord)
{
    QDataType::DateTime creation(0.0);
    Expect(ioRecord.mpJob->GetJobCreationTime(&creation), "GetJobCreationTime");
    const auto age = static_cast<unsigned>((QDataType::DateTime::NowUTC() - creation).GetTotalMilliseconds());
    Expect(ioRecord.mpJob->SetTimeOutPeriodInMilliseconds(age + iMilliseconds), "SetTimeOutPeriodInMilliseconds");
    Watch(ioRecord);
}

/// The running step, if it may be given up.
void Kernel::Watch(JobRecord& ioRecord)
{
    QDataType::DateTime end(0.0);
    ioRecord.mDeadline = Moment::max();
    if (ioRecord.mpRunning == nullptr || ioRecord.mpRunning->GetStep().mKind != EnumStepKind::Work)
        return;
    Expect(ioRecord.mpJob->GetTimeOutTime(&end), "GetTimeOutTime");
    ioRecord.mDeadline = ioRecord.mStepEnd;
    if (end != QDataType::DateTime(0.0))
    {
        const auto left = (end - QDataType::DateTime::NowUTC()).GetTotalMilliseconds();
        ioRecord.mDeadline = std::min(ioRecord.mStepEnd, Moment::clock::now() + std::chrono::milliseconds(left));
    }
    mWatchdog.Watch(ioRecord, ioRecord.mDeadline);
}

/// The watchdog's alarm: the job goes on without the step and without the thread that runs it. That thread may come
/// back when it likes.
void Kernel::TakeAway(JobRecord& ioRecord)
{
    try
    {
        const std::lock_guard hold(ioRecord.mMutex);
        if (ioRecord.mpRunning == nullptr || Moment::clock::now() < ioRecord.mDeadline)
            return; // the step has just ended
        StepTask* const task = std::exchange(ioRecord.mpRunning, nullptr);
        const StepEntry& step = task->GetStep();
        QORJob& job = *ioRecord.mpJob.Get();
        CountOpen(+1); // the thread
        job.SetRunAwayStatus();
        if (job.StopRunningIfHang(0, 0, task) != S_OK)
            throw JobCallError("StopRunningIfHang found another task");
        Expect(ioRecord.mpContext->put_LongB(ICKDXProcessContext::cStop), "put_LongB");
        Exit(step.mUnit, ioRecord);
        ioRecord.mNotes.push_back("taken away at " + std::to_string(step.mStepId));
        const char* const reason = ioRecord.mDeadline == ioRecord.mStepEnd
                                       ? "it took longer than a step may take"
                                       : "it took longer than the job's time allows";
        if (StatusOf(job) != JobCancelled)
            Fail(step, std::make_exception_ptr(RequestError(reason)), ioRecord);
        Expect(job.SetRunning(true, nullptr), "SetRunning");
        EnterNext(ioRecord);
    }
    catch (const std::exception& error)
    {
        Abandon(ioRecord, error.what());
    }
}

/// For the thread of a step that was taken away.
void Kernel::ReturnLate(JobRecord& ioRecord)
{
    if (ioRecord.mpJob->NeedToPerisistMsgStatusForRunAway(RunAwayThread))
        LetGo(ioRecord);
    CountOpen(-1);
}
