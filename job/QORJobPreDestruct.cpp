#include "context/ICKDXProcessContext.h"
#include "context/ICKDXReportInstance.h"
#include "data/QORJobData.h"
#include "job/QORJobPUInfo.h"
#include "job/QORJobRows.h"
#include "job/QORJobStep.h"
#include "platform/QPerfMon.h"
#include "report/JobMemGovernor.h"
#include "report/QORChannelRequest.h"
#include "report/QORJobInfo.h"
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

/// Set, and no relic of a clock that was off.
bool IsOfOurTime(const QDataType::DateTime& iTime)
{
    return iTime != QDataType::DateTime(0.0) && iTime.GetYear() > 2000;
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
    if (mpMemGovernor != nullptr)
        mpMemGovernor->LogFinish(mId);
    mpMemGovernor.reset();
    ProfileJob();
    for (StepProfile& profile : mStepProfiles)
        QBase::HeapFree(std::exchange(profile.mpAgent, nullptr));
    mStepProfiles.clear();
    DeleteRecords(mChannelRequests);
    DeleteRecords(mFurtherRequests);
    DeleteRecords(mFinishedSteps);
    DeleteRecords(mTodoSteps);
    DeleteRecords(mUnits);
    if (IsReportRequest())
        QPerfMon::GetPerformanceMonitor()->Add(5, -1);
    if (mpInMessage)
        mpInMessage.Detach()->Release();
    LetContextGo();
    LetDataGo();
    mpExecutingTask = nullptr;
}

/// Books the time that the job's steps took.
void QORJob::ProfileJob() const
{
    QORJobInfo info;
    GetJobInfo(&info);
    unsigned milliseconds = 0; // 32 bits, as the sum has always been
    // The newest step, in front, closes the job: it isn't counted.
    for (int i = info.mFinishedCount - 1; i > 0; --i)
    {
        QDataType::DateTime start(0.0);
        QDataType::DateTime finish(0.0);
        const QORJobStep& step = info.mFinishedSteps[static_cast<std::size_t>(i)];
        step.GetStartTime(&start);
        step.GetFinishTime(&finish);
        if (IsOfOurTime(start) && IsOfOurTime(finish))
            milliseconds += static_cast<unsigned>((finish - start).GetTotalMilliseconds());
    }
    QPerfMon::QORProfiler* profiler = QPerfMon::GetQORProfiler();
    profiler->AddElapsedTime(mProfileIndex, std::uint64_t{milliseconds} * 1000);
    profiler->AddCount(mProfileIndex, 1);
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

/// A slot is empty before its item is released: one that throws isn't released again.
void QORJob::LetDataGo() NO_THREAD_SAFETY_ANALYSIS
{
    for (QORJobData*& slot : mData)
        if (QORJobData* data = std::exchange(slot, nullptr))
            data->Release();
}

void QORJob::MarkDead() NO_THREAD_SAFETY_ANALYSIS
{
    mbIAmDead = true;
    mDeadStepId = mCurrentStepForStatistics;
}
