#include "job/QORJob.h"

#include "base/Categories.h"
#include "base/KernelLog.h"
#include "job/KernelCounters.h"
#include "platform/LogReference.h"
#include "platform/QPerfMon.h"

#include <ctime>
#include <new>

QORJob* QORJob::NewJob(QSynch::AtomicLong iId, int iRequestType, int iPriority, QorUserSession* iSession,
                       QBase::Buffer* iBuffer)
{
    std::unique_ptr<void, QBase::HeapDeleter> heapPlace;
    void* place = nullptr;
    if (iBuffer != nullptr)
    {
        place = iBuffer->TryAllocate(sizeof(QORJob), alignof(QORJob));
    }
    else
    {
        heapPlace.reset(QBase::HeapAllocate(sizeof(QORJob)));
        place = heapPlace.get();
    }
    if (place == nullptr)
        return nullptr;
    QORJob* job = ::new (place) QORJob(iId, iRequestType, iPriority, iSession, iBuffer);
    heapPlace.release();
    return job;
}

QORJob::QORJob(QSynch::AtomicLong iId, int iRequestType, int iPriority, QorUserSession* iSession,
               QBase::Buffer* iBuffer)
    : QORJobState(iId, iRequestType, iPriority, iSession, iBuffer)
{
    if (mbExternalBuffer)
        mpLocalBuffer->Register();
    mCreationSeconds = std::time(nullptr);
    CountCreation();
    LogCreation();
    if (QORObjectInstanceCount* instances = QORObjectInstanceCount::GetObjectInstanceCount())
    {
        instances->IncreaseObjectInstanceCount(InstanceCategoryJob);
        instances->CreateObjectInstance(InstanceCategoryJob, this);
    }
    mCreationTime = QDataType::DateTime::NowUTC();
    LogLine(EnumKernelRouter::JobTrace, "QORJob::QORJob Job:%1 created.", mId.Get());
    if (IsReportRequest())
        QPerfMon::GetPerformanceMonitor()->Add(CounterReportsCreated, 1);
    else if (mRequestType == RequestDocument)
        QPerfMon::GetPerformanceMonitor()->Add(CounterDocumentsCreated, 1);
}

void QORJob::CountCreation() const
{
    QPerfMon::PerformanceMonitor* monitor = QPerfMon::GetPerformanceMonitor();
    switch (mRequestType)
    {
    case RequestMetaData:
        monitor->Add(CounterMetaDataRequests, 1);
        monitor->Add(CounterJobsCreated, 1);
        break;
    case RequestReport:
    case RequestBatchChildReport:
    case RequestDatamartReport:
        monitor->Add(CounterJobsCreated, 1);
        monitor->Add(CounterReportsOpen, 1);
        break;
    case RequestElement:
        monitor->Add(CounterJobsCreated, 1);
        monitor->Add(CounterElementRequests, 1);
        break;
    case RequestDocument:
    case RequestBatchExecution:
        monitor->Add(CounterJobsCreated, 1);
        break;
    default:
        break;
    }
}

void QORJob::LogCreation() const
{
    if (KernelLog::EnabledRouter(EnumKernelRouter::ScopeTrace) == nullptr)
        return;
    // A report's line is written twice on purpose: log readers count on the pair.
    const int lines = IsReportRequest() ? 2 : 1;
    for (int line = 0; line < lines; ++line)
        LogLine(EnumKernelRouter::ScopeTrace, "QORJob::Created: Job:%1, Job Type:%2", mId.Get(),
                ConvertIDToName(mRequestType));
}

unsigned QORJob::AddRef()
{
    LogReference(this, 1, ReferenceKindJob);
    return static_cast<unsigned>(mReferenceCount.Increment());
}

QSynch::AtomicLong QORJob::GetId() { return mId; }

HRESULT QORJob::GetId(QSynch::AtomicLong* oId) const
{
    if (oId != nullptr)
        *oId = mId;
    return S_OK;
}

int QORJob::GetRequestType() const { return mRequestType; }

HRESULT QORJob::GetRequestType(int* oRequestType) const
{
    *oRequestType = mRequestType;
    return S_OK;
}

bool QORJob::IsReportRequest() const
{
    return mRequestType == RequestReport || mRequestType == RequestBatchChildReport ||
           mRequestType == RequestDatamartReport;
}

HRESULT QORJob::GetLocalDataBuffer(const QBase::Buffer** oBuffer) const
{
    if (oBuffer == nullptr)
        return E_POINTER;
    *oBuffer = mpLocalBuffer;
    return S_OK;
}

const QBase::WCHAR* QORJob::ConvertIDToName(int iRequestType)
{
    static constexpr std::array<const QBase::WCHAR*, 11> cNames = {
        QORJOB_W("Meta data request"),
        QORJOB_W("Report request"),
        QORJOB_W("Document request"),
        QORJOB_W("Request element"),
        QORJOB_W("Request SQL"),
        QORJOB_W("Batch child report request"),
        QORJOB_W("Batch execution request"),
        QORJOB_W("Datamart report request"),
        QORJOB_W("Plazabox job request"),
        QORJOB_W("Import .vtx job request"),
        QORJOB_W("External Notification job request"),
    };
    const auto index = static_cast<unsigned>(iRequestType);
    return index < cNames.size() ? cNames[index] : QORJOB_W("Unknown job type");
}
