#include "StepTask.h"

#include "Analysis.h"
#include "Answer.h"
#include "Errors.h"
#include "JobCalls.h"
#include "JobItems.h"
#include "ReportDefinition.h"
#include "SqlGenerator.h"
#include "TextTable.h"

#include <array>
#include <exception>
#include <string>

namespace
{

void GenerateSql(JobRecord& ioRecord, Workplace& iWorkplace)
{
    const std::string sql = GenerateReportSql(ParseReport(ioRecord.mRequest.mBody), iWorkplace.mWarehouse);
    if (ioRecord.mRequest.mKind == EnumRequestKind::Sql)
        StoreResult(*ioRecord.mpJob.Get(), sql + "\n");
    else
        StoreSql(*ioRecord.mpJob.Get(), sql);
}

void RunQuery(JobRecord& ioRecord, Workplace& iWorkplace)
{
    QORJob& job = *ioRecord.mpJob.Get();
    StoreRows(job, iWorkplace.mpConnection->Query(ReadSql(job)));
}

void AnalyseRows(JobRecord& ioRecord, Workplace&)
{
    QORJob& job = *ioRecord.mpJob.Get();
    StoreResult(job, ToTextTable(Analyse(ParseReport(ioRecord.mRequest.mBody), ReadRows(job))));
}

void BrowseElements(JobRecord& ioRecord, Workplace& iWorkplace)
{
    const std::string sql = GenerateElementSql(ParseElement(ioRecord.mRequest.mBody), iWorkplace.mWarehouse);
    StoreResult(*ioRecord.mpJob.Get(), ToTextTable(iWorkplace.mpConnection->Query(sql)));
}

void Send(JobRecord& ioRecord)
{
    SendAnswer(*ioRecord.mpContext.Get(), *ioRecord.mpClient.Get());
    ioRecord.mbAnswered = true;
}

void SendResult(JobRecord& ioRecord, Workplace&)
{
    PackResult(*ioRecord.mpContext.Get(), ReadResult(*ioRecord.mpJob.Get()));
    Send(ioRecord);
}

/// The error was packed when it happened.
void SendError(JobRecord& ioRecord, Workplace&) { Send(ioRecord); }

/// The kernel says how the job ended; dispatch does so only for jobs without a closing step.
void Close(JobRecord& ioRecord, Workplace&)
{
    const int status = StatusOf(*ioRecord.mpJob.Get());
    if (status != JobStoppedWithError && status != JobStopped)
        Expect(ioRecord.mpJob->SetStatus(JobCompleted, nullptr), "SetStatus");
}

constexpr std::array cSteps = {
    StepEntry{StepSQLGeneration, EnumUnit::SqlGeneration, false, GenerateSql},
    StepEntry{StepQueryExecution, EnumUnit::QueryExecution, false, RunQuery},
    StepEntry{StepElementBrowsing, EnumUnit::QueryExecution, false, BrowseElements},
    StepEntry{StepAnalyticalProcessing, EnumUnit::Analytics, false, AnalyseRows},
    StepEntry{StepSendingReportResult, EnumUnit::Delivery, false, SendResult},
    StepEntry{StepSendingErrorMessage, EnumUnit::Delivery, false, SendError},
    // The job hands its closing step to one thread only, so it is run by the thread that got it.
    StepEntry{StepCloseJob, EnumUnit::Delivery, true, Close},
};

} // namespace

StepTask::StepTask(JobRecord& ioRecord, Workplace& iWorkplace, Work iWork)
    : QORJobTask(ioRecord.mpJob.Get()), mRecord(ioRecord), mWorkplace(iWorkplace), mpWork(iWork)
{
}

HRESULT StepTask::Run()
{
    try
    {
        mpWork(mRecord, mWorkplace);
        return SetStatus(JobTaskStatusComplete, nullptr);
    }
    catch (const std::exception& error)
    {
        mError = error.what();
        SetStatus(JobTaskStatusAborted, nullptr);
        return E_FAIL;
    }
}

const StepEntry& FindStep(int iStepId)
{
    for (const StepEntry& step : cSteps)
        if (step.mStepId == iStepId)
            return step;
    throw JobCallError("no unit runs the step " + StepNameOf(iStepId));
}

const std::vector<QORJobProcessingStep>& StepsOf(EnumRequestKind iKind)
{
    static const std::vector<QORJobProcessingStep> cReport = {
        StepSQLGeneration, StepQueryExecution, StepAnalyticalProcessing, StepSendingReportResult, StepCloseJob};
    static const std::vector<QORJobProcessingStep> cSql = {StepSQLGeneration, StepSendingReportResult, StepCloseJob};
    static const std::vector<QORJobProcessingStep> cElement = {StepElementBrowsing, StepSendingReportResult,
                                                               StepCloseJob};
    switch (iKind)
    {
    case EnumRequestKind::Report:
        return cReport;
    case EnumRequestKind::Sql:
        return cSql;
    default:
        return cElement;
    }
}
