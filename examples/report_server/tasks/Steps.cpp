#include "tasks/Steps.h"

#include "Errors.h"
#include "Server.h"
#include "client/Message.h"
#include "tasks/ReportDefinition.h"

#include <new>
#include <utility>

namespace
{

constexpr const QBase::WCHAR* cSql = QORJOB_W("SQL");
constexpr const QBase::WCHAR* cRows = QORJOB_W("Rows");
constexpr const QBase::WCHAR* cResult = QORJOB_W("Result"); // as the client will see it
constexpr int cRowsId = 2;                                  // a job has room for the ids 0 to 4; 0 is the library's

/// Rows as they are: as bytes they are none, since the jobs of this server are never written down to be read again.
class RowsItem : public QORBinaryData
{
public:
    explicit RowsItem(Rows iRows) : QORBinaryData(cRowsId, nullptr, 0), mRows(std::move(iRows)) {}

    const Rows mRows;
};

/// Rows are taken within the job's memory.
RowGate MakeGate(QORHostRun& ioRun)
{
    return [&ioRun](const Row& iRow) { ioRun.TakeMemory(SizeOf(iRow)); };
}

Rows Query(Workplace& ioPlace, const std::string& iSql, const std::string& iTable)
{
    return ioPlace.mWarehouse.Query(
        iSql, iTable, [&ioPlace] { return ioPlace.mRun.IsToldToStop(); }, MakeGate(ioPlace.mRun));
}

/// The request to SQL, which is the result already where only that was asked for.
void GenerateSql(Workplace& ioPlace)
{
    const Request& request = ioPlace.mJob.mRequest;
    const std::string sql = GenerateReportSql(ParseReport(request.mBody), ioPlace.mWarehouse);
    if (request.mKind == RequestSQL)
        ioPlace.mRun.SetText(cResult, sql + "\n");
    else
        ioPlace.mRun.SetText(cSql, sql);
}

void ExecuteQuery(Workplace& ioPlace)
{
    const std::string table = ParseReport(ioPlace.mJob.mRequest.mBody).mTable;
    const QBase::PtrI<RowsItem> rows(new RowsItem(Query(ioPlace, ioPlace.mRun.GetText(cSql), table)));
    if (!rows)
        throw std::bad_alloc();
    ioPlace.mRun.SetItem(*rows.Get());
}

void BrowseElements(Workplace& ioPlace)
{
    const ElementDefinition element = ParseElement(ioPlace.mJob.mRequest.mBody);
    const std::string sql = GenerateElementSql(element, ioPlace.mWarehouse);
    ioPlace.mRun.SetText(cResult, ToTextTable(Query(ioPlace, sql, element.mTable)));
}

void AnalyseRows(Workplace& ioPlace)
{
    const QBase::PtrI<RowsItem> rows = ioPlace.mRun.GetItem<RowsItem>(cRows);
    for (const Row& row : rows->mRows.mRows)
        MakeGate(ioPlace.mRun)(row);
    const ReportDefinition report = ParseReport(ioPlace.mJob.mRequest.mBody);
    ioPlace.mRun.SetText(cResult, ToTextTable(Analyse(report, rows->mRows)));
}

/// The reports become jobs; this one rests until they have ended.
void StartChildren(Workplace& ioPlace) { ioPlace.mServer.StartChildren(ioPlace.mRun, ioPlace.mJob); }

void FormatDocument(Workplace& ioPlace)
{
    const std::vector<std::string> reports = ReportsOf(ioPlace.mJob.mRequest.mBody);
    std::string text;
    for (std::size_t i = 0; i < reports.size(); ++i)
        text += (i == 0 ? "(" : "\n(") + std::to_string(i + 1) + ") " + reports[i] + "\n\n" + ioPlace.mJob.mParts.at(i);
    ioPlace.mRun.SetText(cResult, text);
}

/// A job that has ended already has its error in the answer: of what failed, or of the cancellation.
void Answer(Workplace& ioPlace)
{
    ServerJob& job = ioPlace.mJob;
    int status = JobReady;
    Expect(ioPlace.mRun.GetJob().GetStatus(&status), "GetStatus");
    if (!QORJOB::HasEnded(status))
        PackResult(*job.mpContext.Get(), ioPlace.mRun.GetText(cResult));
    job.SendAnswer();
}

} // namespace

std::string UnitNameOf(int iUnit)
{
    static constexpr const char* cNames[] = {"none", "SQL generation", "query execution", "analytics", "delivery"};
    return cNames[iUnit];
}

std::string StepNameOf(int iStepId) { return QBase::WideCharToUTF8(GetStepName(iStepId)); }

const std::vector<Step>& GetSteps()
{
    static const std::vector<Step> steps = {
        {StepSQLGeneration, UnitSqlGeneration, GenerateSql},
        {StepQueryExecution, UnitQueryExecution, ExecuteQuery},
        {StepElementBrowsing, UnitQueryExecution, BrowseElements},
        {StepAnalyticalProcessing, UnitAnalytics, AnalyseRows},
        {StepExecutingDocument, UnitSqlGeneration, StartChildren},
        {StepDocumentFormatting, UnitAnalytics, FormatDocument},
        {StepSendingReportResult, UnitDelivery, Answer},
        {StepSendingDocumentResult, UnitDelivery, Answer},
        {StepSendingErrorMessage, UnitDelivery, Answer},
        {StepDelivery, UnitDelivery, Answer},
    };
    return steps;
}

void NameSteps()
{
    for (const Step& step : GetSteps())
        Expect(QORJobTask::AddName(GetStepName(step.mId), step.mId), "AddName");
    Expect(QORJobTask::AddName(GetStepName(StepCloseJob), StepCloseJob), "AddName");
    Expect(QORJobData::AddName(cSql, 1), "AddName");
    Expect(QORJobData::AddName(cRows, cRowsId), "AddName");
    Expect(QORJobData::AddName(cResult, 3), "AddName");
}

std::vector<int> StepsOf(const Request& iRequest)
{
    const bool bDocument = iRequest.mKind == RequestDocument;
    std::vector<int> steps{StepElementBrowsing};
    if (iRequest.mKind == RequestReport)
        steps = {StepSQLGeneration, StepQueryExecution, StepAnalyticalProcessing};
    else if (iRequest.mKind == RequestSQL)
        steps = {StepSQLGeneration};
    else if (bDocument)
        steps = {StepExecutingDocument, StepDocumentFormatting};
    const int answer = bDocument ? StepSendingDocumentResult : StepSendingReportResult;
    steps.insert(steps.end(), {iRequest.mDestination.empty() ? answer : StepDelivery, StepCloseJob});
    return steps;
}
