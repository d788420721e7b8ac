#include "base/Categories.h"
#include "base/KernelLog.h"
#include "context/ICKDXProcessContext.h"
#include "context/ICKDXReportInstance.h"
#include "data/QORJobData.h"
#include "job/JobMemGovernor.h"
#include "job/KernelCounters.h"
#include "job/QORJobRows.h"
#include "platform/LogReference.h"
#include "platform/QPerfMon.h"
#include "platform/QorUserSession.h"
#include "record/QORChannelRequest.h"
#include "record/QORJobInfo.h"
#include "record/QORJobPUInfo.h"
#include "record/QORJobStep.h"

#include <utility>

namespace
{

/// Deletes the records and keeps their entries.
template <class Records>
void DeleteRecords(Records& ioRecords)
{
    for (auto& record : ioRecords)
        delete std::exchange(record, nullptr);
}

/// False for a time that isn't set, and for one of a clock that wasn't.
bool IsPlausible(const QDataType::DateTime& iTime)
{
    constexpr std::int64_t cDaysTo2001 = 36'892; // from the first day of DateTime
    return iTime.GetTicks() >= cDaysTo2001 * 24 * 60 * 60 * 10'000'000;
}

unsigned GetMilliseconds(const QORJobStep& iStep)
{
    QDataType::DateTime start;
    QDataType::DateTime finish;
    iStep.GetStartTime(&start);
    iStep.GetFinishTime(&finish);
    return IsPlausible(start) && IsPlausible(finish) ? static_cast<unsigned>((finish - start).GetTotalMilliseconds())
                                                     : 0;
}

} // namespace

/// Releases by name rather than by the pointer's destructor: an exception out of Release is logged and ends here.
template <class T>
void QORJob::ReleaseAndLog(QBase::PtrI<T>& ioObject)
{
    if (!ioObject)
        return;
    const auto release = [&] {
        ioObject.Detach()->Release();
        return S_OK;
    };
    Boundary(release, "Release");
}

unsigned QORJob::Release()
{
    LogReference(this, 0, ReferenceKindJob);
    const int count = mReferenceCount.Decrement();
    if (count != 0)
        return static_cast<unsigned>(count);

    const HRESULT code = PreDestruct();
    if (code != S_OK)
        LogLine(EnumKernelRouter::JobTrace,
                "QORJob::Release: PreDestruct to delete external job memory failed: jobid = %1, RC = %2.", mId.Get(),
                QLog::Format::Hex, code);
    if (mbExternalBuffer)
    {
        EndInBuffer();
    }
    else
    {
        this->~QORJob();
        QBase::HeapFree(this);
    }
    return 0;
}

/// Releases what the job holds of others. Always 0: whatever goes wrong, the job's memory is freed next.
HRESULT QORJob::PreDestruct()
{
    try
    {
        ReleaseCollaborators();
    }
    catch (const QBase::Message& message)
    {
        LogCoded(EnumKernelRouter::Error, cExceptionCaught, "QOR_EXCEPTION_CAUGHT", "QORJob::PreDestruct",
                 QORJOB_W("QORJob"), QORJOB_W("Pre-Destruct Job"), message.what());
    }
    catch (...)
    {
        LogCoded(EnumKernelRouter::Fatal, cSystemExceptionLogged, "QOR_JOB_SYSTEMEXCEPTION", "QORJob::PreDestruct",
                 QORJOB_W("Pre-Destruct Job"), mId.Get());
    }
    if (QORObjectInstanceCount* instances = QORObjectInstanceCount::GetObjectInstanceCount())
    {
        instances->DecreaseObjectInstanceCount(InstanceCategoryJob);
        instances->DeleteObjectInstance(InstanceCategoryJob, this);
    }
    MarkDead();
    return S_OK;
}

/// Without the lock, since no other reference exists any more; only ProfileJob's snapshot takes it.
void QORJob::ReleaseCollaborators() QORJOB_NO_THREAD_SAFETY_ANALYSIS
{
    LogLine(EnumKernelRouter::JobTrace, "QORJob::Destructing: Job:%1", mId.Get());
    if (mpMemGovernor != nullptr)
        mpMemGovernor->LogFinish(mId);
    mpMemGovernor.reset();
    ProfileJob();
    mpStepProfiles.reset();
    if (ChannelRequests* requests = mChannelRequests.Get())
    {
        DeleteRecords(requests->mChannels);
        DeleteRecords(requests->mFurther);
    }
    mSteps.DeleteSteps();
    DeleteRecords(mUnits);
    if (IsReportRequest())
        QPerfMon::GetPerformanceMonitor()->Add(CounterReportsOpen, -1);
    if (mpInMessage)
        mpInMessage.Detach()->Release();
    ReleaseContext();
    ReleaseData();
    mpExecutingTask = nullptr;
}

/// Books the time that the job's steps took: of the newest ones that a snapshot has room for, without the very newest,
/// which closes the job. The snapshot itself is for the items alone, which are asked for their bytes.
void QORJob::ProfileJob() const QORJOB_NO_THREAD_SAFETY_ANALYSIS
{
    unsigned milliseconds = 0; // 32 bits: readers of the profile know that the sum wraps
    int steps = 0;
    for (const QORJobStep* step : mSteps.GetFinished())
    {
        if (step == nullptr)
            continue;
        if (steps == QORJobInfo::cCapacity)
            break;
        if (steps > 0)
            milliseconds += GetMilliseconds(*step);
        ++steps;
    }
    if (HasData())
    {
        QORJobInfo info;
        GetJobInfo(&info);
    }
    QPerfMon::QORProfiler* profiler = QPerfMon::GetQORProfiler();
    profiler->AddElapsedTime(mProfileIndex, std::uint64_t{milliseconds} * 1000);
    profiler->AddCount(mProfileIndex, 1);
}

/// Releases by name rather than by the pointers' destructors: an exception out of Release reaches PreDestruct.
void QORJob::ReleaseContext() QORJOB_NO_THREAD_SAFETY_ANALYSIS
{
    if (!mpProcessContext)
        return;
    QBase::PtrI<IUnknown> object = InstanceObjectOf(*mpProcessContext.Get());
    if (auto instance = ReportInstanceOf(object.Get()))
    {
        instance->Reset(cInstanceDetached);
        instance.Detach()->Release();
    }
    mpProcessContext.Detach()->Release();
    if (object)
        object.Detach()->Release();
}

bool QORJob::HasData() const QORJOB_NO_THREAD_SAFETY_ANALYSIS
{
    for (const QORJobData* data : mData)
        if (data != nullptr)
            return true;
    return false;
}

/// Each slot is emptied before its item is released: an item whose release throws isn't released again.
void QORJob::ReleaseData() QORJOB_NO_THREAD_SAFETY_ANALYSIS
{
    for (QORJobData*& slot : mData)
        if (slot != nullptr)
            std::exchange(slot, nullptr)->Release();
}

void QORJob::MarkDead() QORJOB_NO_THREAD_SAFETY_ANALYSIS
{
    mbIAmDead = true;
    mDeadStepId = mCurrentStepForStatistics;
}

/// Releases what PreDestruct still held when an exception ended it. Items may live in the job's buffer: they go first.
void QORJob::ReleaseLeftovers() QORJOB_NO_THREAD_SAFETY_ANALYSIS
{
    ReleaseAndLog(mpProcessContext);
    const auto releaseData = [this] {
        ReleaseData();
        return S_OK;
    };
    while (HasData())
        Boundary(releaseData, "Release");
}

QORJob::~QORJob()
{
    ReleaseLeftovers();
    mpOwnedBuffer.reset();
    if (QORObjectInstanceCount* instances = QORObjectInstanceCount::GetObjectInstanceCount())
    {
        // PreDestruct has lowered the count already: a job on the heap is counted down twice, as its readers expect.
        instances->DecreaseObjectInstanceCount(InstanceCategoryJob);
        instances->DeleteObjectInstance(InstanceCategoryJob, this);
    }
    LogLine(EnumKernelRouter::JobTrace, "QORJob::QORJob Job:%1 destructed.", mId.Get());
    ReleaseAndLog(mpUserSession);
    ReleaseAndLog(mpInBoxMessage);
}

/// Destroys the buffer that the job lives in. The job's destructor isn't run: its memory is the buffer's.
void QORJob::EndInBuffer() QORJOB_NO_THREAD_SAFETY_ANALYSIS
{
    QBase::Buffer* buffer = mpLocalBuffer;
    ReleaseLeftovers();
    mpLock.reset();
    ReleaseAndLog(mpUserSession);
    ReleaseAndLog(mpInBoxMessage);
    buffer->Destroy();
}
