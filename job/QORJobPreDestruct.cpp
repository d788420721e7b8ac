#include "context/ICKDXProcessContext.h"
#include "context/ICKDXReportInstance.h"
#include "job/QORJobPUInfo.h"
#include "job/QORJobRows.h"
#include "job/QORJobStep.h"
#include "platform/QPerfMon.h"
#include "report/JobMemGovernor.h"
#include "task/KernelLog.h"

namespace
{

constexpr int cInstanceCategory = 4;

template <class Record>
void DeleteRecords(QBase::list<Record*>& ioRecords)
{
    for (Record*& record : ioRecords)
    {
        delete record;
        record = nullptr;
    }
}

} // namespace

/// Settles what points outside the job's own members. Always 0: whatever goes wrong, the job's memory goes next.
HRESULT QORJob::PreDestruct()
{
    try
    {
        LetOutsideGo();
    }
    catch (const QBase::Message& message)
    {
        LogCoded(EnumKernelRouter::Error, cExceptionCaught, "QOR_EXCEPTION_CAUGHT", "QORJob::PreDestruct", W("QORJob"),
                 W("Pre-Destruct Job"), message.what());
    }
    catch (...)
    {
        LogCoded(EnumKernelRouter::Fatal, cSystemExceptionLogged, "QOR_JOB_SYSTEMEXCEPTION", "QORJob::PreDestruct",
                 W("Pre-Destruct Job"), mId.Get());
    }
    if (QORObjectInstanceCount* instances = QORObjectInstanceCount::GetObjectInstanceCount())
    {
        instances->DecreaseObjectInstanceCount(cInstanceCategory);
        instances->DeleteObjectInstance(cInstanceCategory, this);
    }
    MarkDead();
    return S_OK;
}

/// Without the lock: no other reference exists any more.
void QORJob::LetOutsideGo() NO_THREAD_SAFETY_ANALYSIS
{
    LogLine(EnumKernelRouter::JobTrace, "QORJob::Destructing: Job:%1", mId.Get());
    mpMemGovernor.reset();
    for (StepProfile& profile : mStepProfiles)
        QBase::HeapFree(std::exchange(profile.mpAgent, nullptr));
    mStepProfiles.clear();
    DeleteRecords(mFinishedSteps);
    DeleteRecords(mTodoSteps);
    DeleteRecords(mUnits);
    if (IsReportRequest())
        QPerfMon::GetPerformanceMonitor()->Add(5, -1);
    LetContextGo();
    mpExecutingTask = nullptr;
}

/// Released by name, not by the pointers' destructors: what a stranger's Release throws is caught like all else.
void QORJob::LetContextGo() NO_THREAD_SAFETY_ANALYSIS
{
    if (!mpProcessContext)
        return;
    QBase::PtrI<IUnknown> object = InstanceObjectOf(*mpProcessContext.Get());
    if (auto instance = ReportInstanceOf(object.Get()))
    {
        instance->Reset(0);
        instance.Detach()->Release();
    }
    mpProcessContext.Detach()->Release();
    if (object)
        object.Detach()->Release();
}

void QORJob::MarkDead() NO_THREAD_SAFETY_ANALYSIS
{
    mbIAmDead = true;
    mDeadStepId = mCurrentStepForStatistics;
}
