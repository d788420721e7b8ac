#include "StepTask.h"

#include "Analysis.h"
#include "Answer.h"
#include "Errors.h"
#include "JobCalls.h"
#include "JobItems.h"
#include "Kernel.h"
#include "ReportDefinition.h"
#include "SqlGenerator.h"
#include "TextTable.h"

#include <array>
#include <cstddef>
#include <exception>
#include <mutex>
#include <string>

namespace
{

/// A job that is cancelled, paused or given up says so in its process context.
bool IsToldToStop(const JobRecord& iRecord)
{
    constexpr LONG cStop = 1;
    LONG told = 0;
    return SUCCEEDED(iRecord.mpContext->get_LongB(&told)) && told == cStop;
}

Rows Query(const std::string& iSql, JobRecord& ioRecord, Workplace& iWorkplace)
{
    return iWorkplace.mpConnection->Query(iSql, [&ioRecord] { return IsToldToStop(ioRecord); });
}

void GenerateSql(JobRecord& ioRecord, Workplace& iWorkplace)
{
    const std::string sql = GenerateReportSql(ParseReport(ioRecord.mRequest.mBody), iWorkplace.mWarehouse);
    const std::lock_guard hold(ioRecord.mMutex); // the item takes memory where a command might do so, too
    if (ioRecord.mRequest.mKind == EnumRequestKind::Sql)
        StoreResult(*ioRecord.mpJob.Get(), sql + "\n");
    else
        StoreSql(*ioRecord.mpJob.Get(), sql);
}

void RunQuery(JobRecord& ioRecord, Workplace& iWorkplace)
{
    QORJob& job = *ioRecord.mpJob.Get();
    StoreRows(job, Query(ReadSql(job), ioRecord, iWorkplace));
}

void AnalyseRows(JobRecord& ioRecord, Workplace&)
{
    QORJob& job = *ioRecord.mpJob.Get();
    StoreResult(job, ToTextTable(Analyse(ParseReport(ioRecord.mRequest.mBody), ReadRows(job))));
}

void BrowseElements(JobRecord& ioRecord, Workplace& iWorkplace)
{
    const std::string sql = GenerateElementSql(ParseElement(ioRecord.mRequest.mBody), iWorkplace.mWarehouse);
    StoreResult(*ioRecord.mpJob.Get(), ToTextTable(Query(sql, ioRecord, iWorkplace)));
}

void ExecuteDocument(JobRecord& ioRecord, Workplace& iWorkplace) { iWorkplace.mKernel.StartChildren(ioRecord); }

/// The children have all ended.
void FormatDocument(JobRecord& ioRecord, Workplace&)
{
    const std::vector<std::string> reports = ReportsOf(ioRecord.mRequest.mBody);
    std::string text;
    const std::lock_guard hold(ioRecord.mMutex);
    for (std::size_t i = 0; i < reports.size(); ++i)
        text += (i == 0 ? "(" : "\n(") + std::to_string(i + 1) + ") " + reports[i] + "\n\n" + ioRecord.mParts.at(i);
    StoreResult(*ioRecord.mpJob.Get(), text);
}

/// A job answers once; a result goes only while nobody has cancelled the job.
bool ClaimAnswer(JobRecord& ioRecord, bool ibResult)
{
    const std::lock_guard hold(ioRecord.mMutex);
    if (ioRecord.mbAnswered || (ibResult && StatusOf(*ioRecord.mpJob.Get()) == JobCancelled))
        return false;
    ioRecord.mbAnswered = true;
    return true;
}

void SendResult(JobRecord& ioRecord, Workplace&)
{
    if (!ClaimAnswer(ioRecord, true))
        return;
    PackResult(*ioRecord.mpContext.Get(), ReadResult(*ioRecord.mpJob.Get()));
    SendAnswer(*ioRecord.mpContext.Get(), *ioRecord.mpClient.Get());
}

/// The error was packed when it happened.
void SendError(JobRecord& ioRecord, Workplace&)
{
    if (ClaimAnswer(ioRecord, false))
        SendAnswer(*ioRecord.mpContext.Get(), *ioRecord.mpClient.Get());
}

/// The kernel says how the job ended; dispatch does so only for jobs without a closing step.
void Close(JobRecord& ioRecord, Workplace&)
{
    const std::lock_guard hold(ioRecord.mMutex);
    if (!IsEnded(StatusOf(*ioRecord.mpJob.Get())))
        Expect(ioRecord.mpJob->SetStatus(JobCompleted, nullptr), "SetStatus");
}

constexpr std::array cSteps = {
    StepEntry{StepSQLGeneration, EnumUnit::SqlGeneration, EnumStepKind::Work, GenerateSql},
    StepEntry{StepQueryExecution, EnumUnit::QueryExecution, EnumStepKind::Work, RunQuery},
    StepEntry{StepElementBrowsing, EnumUnit::QueryExecution, EnumStepKind::Work, BrowseElements},
    StepEntry{StepAnalyticalProcessing, EnumUnit::Analytics, EnumStepKind::Work, AnalyseRows},
    StepEntry{StepExecutingDocument, EnumUnit::SqlGeneration, EnumStepKind::Family, ExecuteDocument},
    StepEntry{StepDocumentFormatting, EnumUnit::Analytics, EnumStepKind::Work, FormatDocument},
    StepEntry{StepSendingReportResult, EnumUnit::Delivery, EnumStepKind::Answer, SendResult},
    StepEntry{StepSendingDocumentResult, EnumUnit::Delivery, EnumStepKind::Answer, SendResult},
    StepEntry{StepSendingErrorMessage, EnumUnit::Delivery, EnumStepKind::Answer, SendError},
    // The job hands its closing step to one thread only, so it is run by the thread that got it.
    StepEntry{StepCloseJob, EnumUnit::Delivery, EnumStepKind::Close, Close},
};

} // namespace

StepTask::StepTask(JobRecord& ioRecord, Workplace& iWorkplace, const StepEntry& iStep)
    : QORJobTask(ioRecord.mpJob.Get()), mRecord(ioRecord), mWorkplace(iWorkplace), mStep(iStep)
{
}

HRESULT StepTask::Run()
{
    try
    {
        if (mStep.IsStoppable() && IsToldToStop(mRecord))
            throw RequestError("it was told to stop");
        mStep.mpWork(mRecord, mWorkplace);
        return SetStatus(JobTaskStatusComplete, nullptr);
    }
    catch (const std::exception& error)
    {
        mError = error.what();
        mbStopped = mStep.IsStoppable() && IsToldToStop(mRecord);
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
    static const std::vector<QORJobProcessingStep> cDocument = {StepExecutingDocument, StepDocumentFormatting,
                                                                StepSendingDocumentResult, StepCloseJob};
    switch (iKind)
    {
    case EnumRequestKind::Report:
        return cReport;
    case EnumRequestKind::Sql:
        return cSql;
    case EnumRequestKind::Document:
        return cDocument;
    default:
        return cElement;
    }
}
