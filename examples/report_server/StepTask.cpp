#include "StepTask.h"

#include "Errors.h"
#include "JobCalls.h"
#include "StopSignal.h"
#include "Tasks.h"

#include <array>

namespace
{

template <class Task>
std::unique_ptr<StepTask> Make(JobRecord& ioRecord, Workplace& iWorkplace, const StepEntry& iStep)
{
    return std::make_unique<Task>(ioRecord, iWorkplace, iStep);
}

constexpr std::array cSteps = {
    StepEntry{StepSQLGeneration, EnumUnit::SqlGeneration, EnumStepKind::Work, Make<SqlTask>},
    StepEntry{StepQueryExecution, EnumUnit::QueryExecution, EnumStepKind::Work, Make<QueryTask>},
    StepEntry{StepElementBrowsing, EnumUnit::QueryExecution, EnumStepKind::Work, Make<ElementTask>},
    StepEntry{StepAnalyticalProcessing, EnumUnit::Analytics, EnumStepKind::Work, Make<AnalysisTask>},
    StepEntry{StepExecutingDocument, EnumUnit::SqlGeneration, EnumStepKind::Family, Make<ChildrenTask>},
    StepEntry{StepDocumentFormatting, EnumUnit::Analytics, EnumStepKind::Work, Make<DocumentTask>},
    StepEntry{StepSendingReportResult, EnumUnit::Delivery, EnumStepKind::Answer, Make<ResultTask>},
    StepEntry{StepSendingDocumentResult, EnumUnit::Delivery, EnumStepKind::Answer, Make<ResultTask>},
    StepEntry{StepSendingErrorMessage, EnumUnit::Delivery, EnumStepKind::Answer, Make<ErrorTask>},
    StepEntry{StepDelivery, EnumUnit::Delivery, EnumStepKind::Answer, Make<DeliveryTask>},
    // The job hands its closing step to one thread only, so it is run by the thread that got it.
    StepEntry{StepCloseJob, EnumUnit::Delivery, EnumStepKind::Close, Make<CloseTask>},
};

std::vector<QORJobProcessingStep> WorkOf(EnumRequestKind iKind)
{
    switch (iKind)
    {
    case EnumRequestKind::Report:
        return {StepSQLGeneration, StepQueryExecution, StepAnalyticalProcessing};
    case EnumRequestKind::Sql:
        return {StepSQLGeneration};
    case EnumRequestKind::Document:
        return {StepExecutingDocument, StepDocumentFormatting};
    default:
        return {StepElementBrowsing};
    }
}

QORJobProcessingStep AnswerOf(const Request& iRequest)
{
    if (!iRequest.mDestination.empty())
        return StepDelivery;
    return iRequest.mKind == EnumRequestKind::Document ? StepSendingDocumentResult : StepSendingReportResult;
}

} // namespace

StepTask::StepTask(JobRecord& ioRecord, Workplace& iWorkplace, const StepEntry& iStep)
    : QORJobTask(ioRecord.mpJob.Get()), mRecord(ioRecord), mWorkplace(iWorkplace), mStep(iStep)
{
}

HRESULT StepTask::Run()
{
    try
    {
        if (mStep.IsStoppable() && IsToldToStop())
            throw RequestError("it was told to stop");
        Work();
        return SetComplete();
    }
    catch (...)
    {
        mbStopped = mStep.IsStoppable() && IsToldToStop();
        SetAbort();
        throw; // the worker makes the job's error of it
    }
}

bool StepTask::IsToldToStop() const
{
    LONG told = 0;
    if (StopSignal::IsRaised())
        return true;
    return SUCCEEDED(mRecord.mpContext->get_LongB(&told)) && told == ICKDXProcessContext::cStop;
}

void NameTasks()
{
    for (const StepEntry& step : cSteps)
        Expect(QORJobTask::AddName(GetStepName(step.mStepId), step.mStepId), "AddName");
}

const StepEntry& FindStep(int iStepId)
{
    for (const StepEntry& step : cSteps)
        if (step.mStepId == iStepId)
            return step;
    throw JobCallError("no unit runs the step " + StepNameOf(iStepId));
}

std::vector<QORJobProcessingStep> StepsOf(const Request& iRequest)
{
    std::vector<QORJobProcessingStep> steps = WorkOf(iRequest.mKind);
    steps.push_back(AnswerOf(iRequest));
    steps.push_back(StepCloseJob);
    return steps;
}
