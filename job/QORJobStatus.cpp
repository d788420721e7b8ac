#include "base/KernelLog.h"
#include "context/ICKDXProcessContext.h"
#include "job/KernelCounters.h"
#include "job/QORJobRows.h"
#include "platform/QLogRouter.h"
#include "platform/QMessage.h"
#include "platform/QPerfMon.h"
#include "record/QORChannelRequest.h"
#include "record/QORJobStep.h"

namespace
{

/// The codes of the answer to a pending channel request: of the packed text, and of the message.
constexpr unsigned cRequestFailed = 0x80043018;
constexpr unsigned cRequestDone = 0x43094;
constexpr HRESULT cRequestDoneResult = 0x40002;

constexpr std::int16_t cWantsErrorReply = -1; // the context's reply indicator

/// Sends the reply in the context's output message, which is empty again afterwards.
void Reply(ICKDXProcessContext& ioContext, QORChannel* iChannel, const QBase::wstring* iFailedProject)
{
    ICKDXWriteMessage* out = nullptr;
    ioContext.get_OutMessage(&out);
    const auto message = QBase::PtrI<ICKDXWriteMessage>::Adopt(out);
    if (!message)
        return;
    void* server = nullptr;
    if (FAILED(message->QueryInterface(IID_CKDXServerMessage, &server)))
        return;
    const auto reply = QBase::PtrI<CKDXServerMessage>::Adopt(static_cast<CKDXServerMessage*>(server));
    {
        QORMessagePacker packer(reply.Get(), QORJOB_W("Kernel"),
                                iFailedProject != nullptr ? cRequestFailed : cRequestDone);
        if (iFailedProject != nullptr)
            packer << iFailedProject->c_str();
    }
    const HRESULT result = iFailedProject != nullptr ? static_cast<HRESULT>(cRequestFailed) : cRequestDoneResult;
    if (SUCCEEDED(reply->SetResult(result)))
        reply->Send(iChannel); // fails when the client is gone: nobody is left to tell
    reply->Reset();
}

/// Null when there is none, or nobody waits for it.
QORChannelRequest* FirstOf(const QBase::list<QORChannelRequest*>& iRequests)
{
    return iRequests.empty() ? nullptr : iRequests.front();
}

} // namespace

HRESULT QORJob::SetStatus(int iStatus, int* oOld)
{
    return Boundary([&]() -> HRESULT {
        int old = JobReady;
        bool bRefused = false;
        {
            QSynch::CriticalSection::SmartLock lock(mpLock.get());
            old = mStatus;
            bRefused = iStatus == JobHeld13 && old != JobHeld8;
            if (!bRefused)
                StoreStatus(iStatus);
        }
        if (!bRefused)
        {
            if (iStatus == JobReplied)
                AnswerChannelRequest();
            if (iStatus == JobStoppedWithError && old != JobStoppedWithError)
                CountFailure();
            LogLine(EnumKernelRouter::JobTrace, "QORJob::SetStatus: Setting Job:%1 status to %2.", mId.Get(), iStatus);
        }
        if (oOld != nullptr)
            *oOld = old;
        return bRefused ? S_FALSE : S_OK;
    });
}

void QORJob::StoreStatus(int iStatus)
{
    mStatus = iStatus;
    mStatusTime = QDataType::DateTime::NowUTC();
    if (iStatus == JobCompleted || iStatus == JobStoppedWithError || iStatus == JobStopped)
    {
        if (IsReportRequest())
            TakeBackActiveCount();
        mFinishTime = QDataType::DateTime::NowUTC();
    }
}

/// Takes back, once, what the first start in a processing unit has counted.
void QORJob::TakeBackActiveCount()
{
    if (mActiveCount != 1)
        return;
    QPerfMon::GetPerformanceMonitor()->Add(CounterReportsExecuting, -1);
    --mActiveCount;
}

void QORJob::CountFailure() const
{
    if (mRequestType == RequestMetaData)
        QPerfMon::GetPerformanceMonitor()->Add(CounterMetaDataFailures, 1);
    else if (mRequestType == RequestElement)
        QPerfMon::GetPerformanceMonitor()->Add(CounterElementFailures, 1);
}

/// The request stays in the list without its channel, so that it is answered once only.
void QORJob::AnswerChannelRequest()
{
    QBase::PtrI<ICKDXProcessContext> context;
    QBase::PtrI<QORChannel> channel;
    QBase::wstring project;
    {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        const QORChannelRequest* const request = FirstOf(mChannelRequests.Read().mChannels);
        if (request == nullptr || !request->get_Channel() || !mpProcessContext)
            return;
        context = mpProcessContext;
        project = mOrigin.Read().mProjectName;
    }
    std::int16_t indicator = 0;
    context->get_ShortA(&indicator); // where it throws the request is still to be answered
    {
        // The request belongs to its owner, who may have taken it away.
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        QORChannelRequest* const request = FirstOf(mChannelRequests.Read().mChannels);
        if (request == nullptr)
            return;
        channel = request->get_Channel();
        request->set_Channel(nullptr);
    }
    if (!channel)
        return;
    const bool bFailed = indicator == cWantsErrorReply && mRequestType != RequestReport;
    Reply(*context.Get(), channel.Get(), bFailed ? &project : nullptr);
}

HRESULT QORJob::GetStatus(int* oStatus) const { return Get(mStatus, oStatus); }

HRESULT QORJob::IsCanceled(bool* obCanceled) const { return Is(JobCancelled, obCanceled); }

HRESULT QORJob::IsStopped(bool* obStopped) const { return Is(JobStopped, obStopped); }

HRESULT QORJob::Is(int iStatus, bool* obIs, const char* iOperation) const
{
    if (obIs == nullptr)
        return E_POINTER;
    return Boundary(
        [&] {
            QSynch::CriticalSection::SmartLock lock(mpLock.get());
            *obIs = mStatus == iStatus;
            return S_OK;
        },
        iOperation);
}

bool QORJob::IsStepPausing() const { return GetValue(mStatus) == JobPausing; }

HRESULT QORJob::SetRunning(bool ibRunning, bool* obWasRunning)
{
    const HRESULT code = Set(mbRunning, ibRunning, obWasRunning);
    if (code == S_OK)
        LogLine(EnumKernelRouter::JobTrace,
                ibRunning ? "QORJob::SetRunning: Job:%1 set to running."
                          : "QORJob::SetRunning: Job:%1 set to not running.",
                mId.Get());
    return code;
}

HRESULT QORJob::IsRunning(bool* obRunning) const { return Get(mbRunning, obRunning); }

HRESULT QORJob::IsExecuting(bool* obExecuting, int* oStepId, DWORD* oThreadId, int* oPUId, QORJobTask** oTask) const
{
    if (obExecuting == nullptr)
        return E_POINTER;
    return Boundary([&]() -> HRESULT {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        *obExecuting = mpExecutingTask != nullptr;
        if (oTask != nullptr)
            *oTask = mpExecutingTask;
        if (oStepId != nullptr)
            *oStepId = -1;
        if (oThreadId != nullptr)
            *oThreadId = static_cast<DWORD>(-1);
        if (oPUId != nullptr)
            *oPUId = -1;
        const bool bIdsWanted = oStepId != nullptr || oThreadId != nullptr || oPUId != nullptr;
        if (mpExecutingTask == nullptr || mSteps.GetTodo().empty() || !bIdsWanted)
            return S_OK;
        const QORJobStep* front = mSteps.GetCurrent();
        if (front == nullptr)
            return E_POINTER;
        if (oStepId != nullptr)
            front->GetId(oStepId);
        if (oThreadId != nullptr)
            front->GetThreadId(oThreadId);
        if (oPUId != nullptr)
            front->GetPUId(oPUId);
        return S_OK;
    });
}

HRESULT QORJob::SetIAmDead(bool ibDead, bool* obWasDead, QORJobProcessingStep iStepId)
{
    if (obWasDead == nullptr)
        return E_POINTER;
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        *obWasDead = mbIAmDead;
        mbIAmDead = ibDead;
        mDeadStepId = iStepId;
        return S_OK;
    });
}

HRESULT QORJob::GetIAmDead(bool* obDead, QORJobProcessingStep* oStepId) const
{
    if (obDead == nullptr || oStepId == nullptr)
        return E_POINTER;
    return Boundary([&] {
        QSynch::CriticalSection::SmartLock lock(mpLock.get());
        *obDead = mbIAmDead;
        *oStepId = static_cast<QORJobProcessingStep>(mDeadStepId);
        return S_OK;
    });
}

bool QORJob::IsQueryEngineServerAborted() const
{
    QSynch::CriticalSection::SmartLock lock(mpLock.get());
    return mbQueryResult && mSteps.HasFinished(StepQueryExecution);
}

HRESULT QORJob::GetJobCreationTime(QDataType::DateTime* oTime) const { return Get(mCreationTime, oTime); }

HRESULT QORJob::GetJobFinishTime(QDataType::DateTime* oTime) const { return Get(mFinishTime, oTime); }

HRESULT QORJob::SetJobFinishTime(QDataType::DateTime& iTime) { return Set(mFinishTime, iTime); }

HRESULT QORJob::GetTimeOutTime(QDataType::DateTime* oTime) const { return Get(mTimeOutTime, oTime); }

HRESULT QORJob::SetTimeOutPeriodInMilliseconds(unsigned iMilliseconds)
{
    return Set(mTimeOutTime, mCreationTime + QDataType::TimeSpan(iMilliseconds));
}
