#include "base/KernelLog.h"
#include "context/ICKDXProcessContext.h"
#include "context/ICKDXReportInstance.h"
#include "job/QORJobRows.h"

namespace
{

/// The values that tell a report instance that its job was cancelled.
constexpr int cInstanceCancelled = 5;
constexpr int cInstanceJobValue = 7;

constexpr auto cCancelled = static_cast<HRESULT>(0x80043014);

constexpr auto cStoppedByCancellation = static_cast<HRESULT>(0x8004308D);
constexpr auto cQueryCancelled = static_cast<HRESULT>(0x80044637);

/// Error codes that stand for a cancellation: a job that failed with one of them becomes a cancelled one.
bool IsCancellation(HRESULT iCode) { return iCode == cStoppedByCancellation || iCode == cQueryCancelled; }

} // namespace

HRESULT QORJob::Cancel()
{
    LogLine(EnumKernelRouter::JobTrace, "[DEBUG TRACING]QORJob::Cancel: job %1 is cancel start", mId.Get());
    const HRESULT code = Boundary([&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        if (mStatus != JobCompleted && mStatus != JobCancelled && mStatus != JobStopped)
        {
            const HRESULT cancelled = CancelSteps();
            if (cancelled != S_OK)
                return cancelled;
        }
        TellContextToStop();
        return S_OK;
    });
    if (code == S_OK)
        LogLine(EnumKernelRouter::JobTrace, "[DEBUG TRACING]QORJob::Cancel: job %1 is cancel end", mId.Get());
    return code;
}

/// Everything that can fail comes first; then lists and status change together.
HRESULT QORJob::CancelSteps()
{
    HRESULT code = S_OK;
    if (mRequestType == RequestReport || mRequestType == RequestBatchChildReport)
    {
        TakeBackActiveCount();
        code = TellInstanceOfCancellation();
    }
    if (code == S_OK)
        code = mSteps.ReduceToClosing(IsClientWaiting() ? FindReportingStep(mpProcessContext.Get()) : StepNoMore);
    if (code != S_OK)
        return code;
    if (mStatus != JobStoppedWithError || IsCancellation(mErrorCode))
    {
        if (mErrorCode == S_OK)
            mErrorCode = cCancelled;
        mStatus = JobCancelled; // stored directly: no finish time and no counters come of it
    }
    mStatusTime = QDataType::DateTime::NowUTC();
    return S_OK;
}

HRESULT QORJob::TellInstanceOfCancellation()
{
    if (!mpProcessContext)
        return S_OK;
    IUnknown* instance = nullptr;
    HRESULT code = mpProcessContext->get_ContextObjectB(&instance);
    const auto object = QBase::PtrI<IUnknown>::Adopt(instance);
    if (FAILED(code))
        return code;
    const auto report = ReportInstanceOf(object.Get());
    if (!report)
        return S_OK;
    code = report->put_Status(cInstanceCancelled);
    if (SUCCEEDED(code))
        code = report->put_JobValue(cInstanceJobValue, mId);
    return FAILED(code) ? code : S_OK;
}

/// Whether a client waits for an answer: a batch has none, and a job that hasn't begun owes none.
bool QORJob::IsClientWaiting() const
{
    if (mRequestType == RequestBatchExecution)
        return false;
    switch (mStatus)
    {
    case JobWaiting:
    case JobStoppedWithError:
    case JobHeld7:
    case JobHeld8:
    case JobReplied:
    case JobHeld18:
    case JobHeld19:
        return true;
    default:
        return mbRunning;
    }
}

/// The step that tells the client of an error: delivery when the context has a delivery object, else sending.
int QORJob::FindReportingStep(ICKDXProcessContext* iContext)
{
    IUnknown* delivery = nullptr;
    if (iContext != nullptr)
        iContext->get_ContextObjectN(&delivery);
    return QBase::PtrI<IUnknown>::Adopt(delivery) ? StepDelivery : StepSendingErrorMessage;
}

/// Called under the lock on purpose: a step that polls the flag sees it no later than the new status.
void QORJob::TellContextToStop()
{
    if (mpProcessContext)
        mpProcessContext->put_LongB(ICKDXProcessContext::cStop);
}

void QORJob::PauseCurrentStep()
{
    LogLine(EnumKernelRouter::JobTrace, "[DEBUG TRACING]QORJob::PauseCurrentStep: job %1 is pausing start", mId.Get());
    if (mRequestType != RequestDocument)
        return;
    const HRESULT code = Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        if (!QORJOB::HasFailed(mStatus))
            mStatus = JobPausing;
        mStatusTime = QDataType::DateTime::NowUTC();
        TellContextToStop();
        return S_OK;
    });
    if (code == S_OK)
        LogLine(EnumKernelRouter::JobTrace, "[DEBUG TRACING]QORJob::PauseCurrentStep: job %1 is pausing end",
                mId.Get());
}

void QORJob::ResetStatusBeforeResumeExecution()
{
    SetStatus(JobExecuting, nullptr);
    SetRunning(false, nullptr);
    Boundary([&] {
        if (const auto context = GetValue(mpProcessContext))
            context->put_LongB(ICKDXProcessContext::cGoOn);
        return S_OK;
    });
}

HRESULT QORJob::StopRunningIfHang(int, DWORD, QORJobTask* iTask)
{
    return Boundary([&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        if (mpExecutingTask == nullptr || mpExecutingTask != iTask)
        {
            LogLine(EnumKernelRouter::Warning,
                    "QORJob::StopRunningIfHang: For jobid: %1 mExecutingTask == NULL (%2)? mExecutingTask == iJobTask "
                    "(%3)?",
                    mId.Get(), mpExecutingTask == nullptr, mpExecutingTask == iTask);
            return S_FALSE;
        }
        mpExecutingTask = nullptr;
        mbRunning = false;
        if (!mSteps.GetTodo().empty())
        {
            mbIAmDead = true;
            mDeadStepId = mCurrentStepForStatistics;
            // The step keeps its unit and thread, contrary to what the line says: dispatch recognises the lost step by
            // them.
            LogLine(EnumKernelRouter::Warning,
                    "QORJob::StopRunningIfHang: For jobid: %1, SetPUID to -1, SetThreadId to -1.", mId.Get());
        }
        return S_OK;
    });
}
