#include "Kernel.h"

#include "Answer.h"
#include "Errors.h"
#include "JobCalls.h"
#include "Message.h"
#include "ReportInstance.h"
#include "StopSignal.h"

#include <exception>
#include <memory>

namespace
{

constexpr std::size_t cJobBufferBytes = 4096;

struct BufferDestroyer
{
    void operator()(QBase::Buffer* iBuffer) const { iBuffer->Destroy(); }
};

int RequestTypeOf(EnumRequestKind iKind)
{
    switch (iKind)
    {
    case EnumRequestKind::Report:
        return RequestReport;
    case EnumRequestKind::Sql:
        return RequestSQL;
    default:
        return RequestElement;
    }
}

/// The n-th request has the n-th id.
GUID IdOf(const JobRecord& iRecord)
{
    return {static_cast<DWORD>(iRecord.mId), 0x0B71, 0x4C57, {0x8E, 0x21, 0x5A, 0x90, 0x3D, 0xC4, 0x66, 0x1F}};
}

/// With the request's message, so that an answer can be written from here on.
QBase::PtrI<CKDXProcessContext> MakeContext(ICKDXReadMessage* iRequest, const JobRecord& iRecord)
{
    constexpr LONG cNotReadYet = -1;
    QBase::PtrI<CKDXProcessContext> context;
    Expect(CreateProcessContext(context), "CreateProcessContext");
    Expect(context->SetRequestIn(cNotReadYet, iRequest, nullptr, nullptr, IdOf(iRecord)), "SetRequestIn");
    return context;
}

/// What the job and its steps will ask the context for.
void DescribeContext(const JobRecord& iRecord, const UserSession& iSession)
{
    CKDXProcessContext& context = *iRecord.mpContext.Get();
    Expect(context.put_RequestCode(RequestTypeOf(iRecord.mRequest.mKind)), "put_RequestCode");
    Expect(context.put_ContextObjectA(iSession.GetObject()), "put_ContextObjectA");
    if (iRecord.mRequest.mKind != EnumRequestKind::Report)
        return;
    const QBase::PtrI<ReportInstance> instance = NewReportInstance(IdOf(iRecord), iRecord.mRequest.mBody);
    Expect(context.put_ContextObjectB(instance.Get()), "put_ContextObjectB");
}

std::string NameOf(const JobRecord& iRecord)
{
    return "job " + std::to_string(iRecord.mId) + " (" + ToText(iRecord.mRequest.mKind) + " for " +
           iRecord.mRequest.mUser + ")";
}

} // namespace

Kernel::Kernel(const Warehouse& iWarehouse, std::size_t iThreadsPerUnit) : mWarehouse(iWarehouse)
{
    for (std::size_t worker = 0; worker < iThreadsPerUnit; ++worker)
        mConnections.push_back(iWarehouse.Connect());
    for (const EnumUnit unit :
         {EnumUnit::SqlGeneration, EnumUnit::QueryExecution, EnumUnit::Analytics, EnumUnit::Delivery})
        UnitOf(unit).Start(iThreadsPerUnit,
                           [this, unit](JobRecord& ioRecord, std::size_t iWorker) { Drive(unit, iWorker, ioRecord); });
}

Kernel::~Kernel()
{
    WaitForAll();
    for (ProcessingUnit& unit : mUnits)
        unit.Stop();
}

void Kernel::Submit(ICKDXReadMessage* iRequest, QORChannel* iClient)
{
    JobRecord& record = mRecords.emplace_back();
    record.mId = static_cast<int>(mRecords.size());
    record.mpClient = QBase::PtrI<QORChannel>(iClient);
    {
        const std::lock_guard hold(mMutex);
        ++mOpenJobs;
    }
    try
    {
        record.mpContext = MakeContext(iRequest, record);
        record.mRequest = UnpackRequest(*iRequest);
        UserSession* const session = OpenSession(record.mRequest);
        DescribeContext(record, *session);
        MakeJob(session, record);
        DescribeJob(record);
        Enter(FindStep(StepsOf(record.mRequest.mKind).front()), record);
    }
    catch (const std::exception& error)
    {
        Abandon(record, error.what());
    }
}

void Kernel::WaitForAll()
{
    std::unique_lock hold(mMutex);
    mAllEnded.wait(hold, [this] { return mOpenJobs == 0; });
}

/// The one that is open, or a new one. It stays the kernel's.
UserSession* Kernel::OpenSession(const Request& iRequest)
{
    QBase::PtrI<UserSession>& session = mSessions[{iRequest.mUser, iRequest.mLocale}];
    if (!session)
        session = QBase::PtrI<UserSession>(new UserSession(iRequest.mUser, iRequest.mLocale));
    return session.Get();
}

/// Every other job lives in a buffer of its own, which goes with it in one piece; the others live on the heap.
void Kernel::MakeJob(UserSession* iSession, JobRecord& ioRecord)
{
    std::unique_ptr<QBase::Buffer, BufferDestroyer> buffer;
    if (ioRecord.mId % 2 == 0)
    {
        buffer.reset(QBase::CreateBuffer(0, 1, cJobBufferBytes, false));
        if (buffer == nullptr)
            throw JobCallError("no memory for the job's buffer");
    }
    try
    {
        ioRecord.mpJob = QBase::PtrI<QORJob>(QORJob::NewJob(ioRecord.mId, RequestTypeOf(ioRecord.mRequest.mKind),
                                                            ioRecord.mRequest.mPriority, iSession, buffer.get()));
    }
    catch (unsigned code)
    {
        Expect(static_cast<HRESULT>(code), "NewJob");
    }
    if (!ioRecord.mpJob)
        throw JobCallError("no memory for the job");
    buffer.release(); // the job's from here on
}

void Kernel::DescribeJob(const JobRecord& iRecord)
{
    QORJob& job = *iRecord.mpJob.Get();
    const Request& request = iRecord.mRequest;
    const QBase::wstring user = QBase::UTF8ToWideChar(request.mUser);
    Expect(job.SetProcessContext(iRecord.mpContext.Get()), "SetProcessContext");
    Expect(job.SetUser(user), "SetUser");
    Expect(job.SetOwner(user), "SetOwner");
    Expect(job.SetProjectName(QBase::UTF8ToWideChar(request.mProject)), "SetProjectName");
    Expect(job.SetDescription(QBase::UTF8ToWideChar(request.mBody)), "SetDescription");
    Expect(job.SetRequestId(request.mLine), "SetRequestId");
    for (const QORJobProcessingStep step : StepsOf(request.mKind))
        Expect(job.AddStep(new QORJobStep(step), nullptr), "AddStep");
    Expect(job.SetRunning(true, nullptr), "SetRunning");
}

ProcessingUnit& Kernel::UnitOf(EnumUnit iUnit) { return mUnits.at(static_cast<std::size_t>(iUnit) - 1); }

void Kernel::Drive(EnumUnit iUnit, std::size_t iWorker, JobRecord& ioRecord)
{
    try
    {
        Connection* connection = iUnit == EnumUnit::QueryExecution ? &mConnections.at(iWorker) : nullptr;
        Workplace workplace{mWarehouse, connection};
        if (RunSteps(iUnit, workplace, ioRecord))
            End(ioRecord);
    }
    catch (const std::exception& error)
    {
        Abandon(ioRecord, error.what());
    }
}

/// Runs what this unit can of the job. True when the job has closed; when it is false, the job is another thread's.
bool Kernel::RunSteps(EnumUnit iUnit, Workplace& iWorkplace, JobRecord& ioRecord)
{
    Start(iUnit, ioRecord);
    for (;;)
    {
        if (StopSignal::IsRaised())
            StopWork(ioRecord);
        int stepId = StepNoMore;
        Expect(ioRecord.mpJob->GetCurrentStepIdToRun(&stepId, nullptr), "GetCurrentStepIdToRun");
        if (stepId == StepNoMore)
        {
            Exit(iUnit, ioRecord);
            if (ioRecord.mStepsDone.empty() || ioRecord.mStepsDone.back() != StepCloseJob)
                throw JobCallError("no step to run, but the job wasn't closed");
            return true;
        }
        const StepEntry& step = FindStep(stepId);
        if (step.mUnit != iUnit && !step.mbAnywhere)
        {
            Exit(iUnit, ioRecord);
            Enter(step, ioRecord);
            return false;
        }
        RunStep(step, iUnit, iWorkplace, ioRecord);
    }
}

void Kernel::RunStep(const StepEntry& iStep, EnumUnit iUnit, Workplace& iWorkplace, JobRecord& ioRecord)
{
    QORJob& job = *ioRecord.mpJob.Get();
    const int unitId = static_cast<int>(iUnit);
    StepTask task(ioRecord, iWorkplace, iStep.mpWork);
    Expect(job.SetCurrentStepForStatistics(iStep.mStepId), "SetCurrentStepForStatistics");
    Expect(job.SetStepStart(iStep.mStepId, unitId, &task), "SetStepStart");
    const bool bFailed = FAILED(task.Run());
    if (bFailed)
        Fail(iStep, task.GetError(), ioRecord);
    Expect(job.SetStepFinish(iStep.mStepId, unitId, &task), "SetStepFinish");
    ioRecord.mStepsDone.push_back(iStep.mStepId);
    if (bFailed)
        RemoveWork(ioRecord);
}

/// Into the queue of the unit that runs the job's next step. Nothing may touch the record afterwards.
void Kernel::Enter(const StepEntry& iNextStep, JobRecord& ioRecord)
{
    QORJob& job = *ioRecord.mpJob.Get();
    int priority = 0;
    Expect(job.GetPUPriority(&priority), "GetPUPriority");
    Expect(job.SetCurrentStepForStatistics(iNextStep.mStepId), "SetCurrentStepForStatistics");
    Expect(job.SetPUEnter(static_cast<int>(iNextStep.mUnit), W(""), 0), "SetPUEnter");
    job.EnqueuePulse();
    ioRecord.mVisits.push_back({iNextStep.mUnit, UnitVisit::Moment::clock::now(), {}, {}});
    UnitOf(iNextStep.mUnit).Put(ioRecord, priority);
}

void Kernel::Start(EnumUnit iUnit, JobRecord& ioRecord)
{
    ioRecord.mpJob->DequeuePulse();
    Expect(ioRecord.mpJob->SetPUStart(static_cast<int>(iUnit)), "SetPUStart");
    ioRecord.mVisits.back().mStart = UnitVisit::Moment::clock::now();
}

void Kernel::Exit(EnumUnit iUnit, JobRecord& ioRecord)
{
    Expect(ioRecord.mpJob->SetPUExit(static_cast<int>(iUnit), W("")), "SetPUExit");
    ioRecord.mVisits.back().mExit = UnitVisit::Moment::clock::now();
}

/// The job's status leaves it the steps that tell of the error and close it; dispatch comes to them by itself.
void Kernel::Fail(const StepEntry& iStep, const std::string& iReason, JobRecord& ioRecord)
{
    const std::string step = StepNameOf(iStep.mStepId);
    LogError(NameOf(ioRecord) + ": " + step + " failed: " + iReason);
    PackError(*ioRecord.mpContext.Get(), ioRecord.mId, step, iReason);
    Expect(ioRecord.mpJob->SetStatus(JobStoppedWithError, nullptr), "SetStatus");
    if (iStep.mStepId != StepSendingErrorMessage && iStep.mStepId != StepCloseJob)
        Expect(ioRecord.mpJob->AddStepAfterThis(StepSendingErrorMessage, nullptr), "AddStepAfterThis");
}

/// After Ctrl-C. A job that only has to close, or to tell of its error, is left alone.
void Kernel::StopWork(JobRecord& ioRecord)
{
    int stepId = StepNoMore;
    Expect(ioRecord.mpJob->GetCurrentStepId(&stepId, nullptr), "GetCurrentStepId");
    if (stepId == StepNoMore || stepId == StepCloseJob || stepId == StepSendingErrorMessage)
        return;
    Expect(ioRecord.mpJob->SetStatus(JobStopped, nullptr), "SetStatus");
    RemoveWork(ioRecord);
}

/// Takes out what won't run any more, so that the closing step comes to the front and is finished there.
void Kernel::RemoveWork(JobRecord& ioRecord)
{
    for (const QORJobProcessingStep step : StepsOf(ioRecord.mRequest.mKind))
        if (step != StepCloseJob)
            Expect(ioRecord.mpJob->RemoveStep(step), "RemoveStep");
}

/// For a job that the library wouldn't drive any further.
void Kernel::Abandon(JobRecord& ioRecord, const std::string& iReason)
{
    LogError(NameOf(ioRecord) + " is abandoned: " + iReason);
    if (ioRecord.mpJob && FAILED(ioRecord.mpJob->SetStatus(JobStoppedWithError, nullptr)))
        LogError(NameOf(ioRecord) + " kept its status");
    try
    {
        if (ioRecord.mpContext && !ioRecord.mbAnswered)
            PackError(*ioRecord.mpContext.Get(), ioRecord.mId, "the kernel", iReason);
    }
    catch (const std::exception& error)
    {
        LogError(NameOf(ioRecord) + " has no error to send: " + error.what());
    }
    End(ioRecord);
}

/// The last reference goes, and with it the job. One that was stopped has given no answer: its client gets an empty
/// one, so that it doesn't wait for another.
void Kernel::End(JobRecord& ioRecord)
{
    try
    {
        if (ioRecord.mpContext && !ioRecord.mbAnswered)
            SendAnswer(*ioRecord.mpContext.Get(), *ioRecord.mpClient.Get());
    }
    catch (const std::exception& error)
    {
        LogError(NameOf(ioRecord) + " has sent no answer: " + error.what());
    }
    if (ioRecord.mpJob && FAILED(ioRecord.mpJob->GetStatus(&ioRecord.mFinalStatus)))
        LogError(NameOf(ioRecord) + " didn't tell its status");
    ioRecord.mpJob = {};
    ioRecord.mpContext = {};
    const std::lock_guard hold(mMutex);
    if (--mOpenJobs == 0)
        mAllEnded.notify_all();
}
