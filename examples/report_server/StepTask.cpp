#include "StepTask.h"

#include "Analysis.h"
#include "Answer.h"
#include "Errors.h"
#include "JobCalls.h"
#include "SqlGenerator.h"
#include "TextTable.h"

#include <array>
#include <exception>
#include <string>
#include <utility>

namespace
{

void GenerateSql(JobRecord& ioRecord, Workplace& iWorkplace)
{
    ioRecord.mReport = ParseReport(ioRecord.mRequest.mBody);
    ioRecord.mSql = GenerateReportSql(ioRecord.mReport, iWorkplace.mWarehouse);
}

void RunQuery(JobRecord& ioRecord, Workplace& iWorkplace)
{
    ioRecord.mRows = iWorkplace.mpConnection->Query(ioRecord.mSql);
}

void BrowseElements(JobRecord& ioRecord, Workplace& iWorkplace)
{
    ioRecord.mSql = GenerateElementSql(ParseElement(ioRecord.mRequest.mBody), iWorkplace.mWarehouse);
    RunQuery(ioRecord, iWorkplace);
}

void AnalyseRows(JobRecord& ioRecord, Workplace&)
{
    ioRecord.mRows = Analyse(ioRecord.mReport, std::move(ioRecord.mRows));
}

void Send(JobRecord& ioRecord)
{
    SendAnswer(*ioRecord.mpContext.Get(), *ioRecord.mpClient.Get());
    ioRecord.mbAnswered = true;
}

void SendResult(JobRecord& ioRecord, Workplace&)
{
    const bool bSql = ioRecord.mRequest.mKind == EnumRequestKind::Sql;
    PackResult(*ioRecord.mpContext.Get(), bSql ? ioRecord.mSql + "\n" : ToTextTable(ioRecord.mRows));
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
    ioRecord.mReport = {};
    ioRecord.mSql.clear();
    ioRecord.mRows = {};
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
        mRecord.mError = error.what();
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
