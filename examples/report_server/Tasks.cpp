#include "Tasks.h"

#include "Analysis.h"
#include "Answer.h"
#include "JobCalls.h"
#include "JobItems.h"
#include "JobMemory.h"
#include "Kernel.h"
#include "ReportDefinition.h"
#include "SqlGenerator.h"
#include "TextTable.h"

#include <cstddef>
#include <mutex>

void SqlTask::Work()
{
    const std::string sql = GenerateReportSql(ParseReport(mRecord.mRequest.mBody), mWorkplace.mWarehouse);
    const std::lock_guard hold(mRecord.mMutex); // the item takes memory where a command might do so, too
    if (mRecord.mRequest.mKind == EnumRequestKind::Sql)
        StoreResult(*this, sql + "\n");
    else
        StoreSql(*this, sql);
}

Rows DatabaseTask::Query(const std::string& iSql, const std::string& iTable, const RowGate& iGate)
{
    return mWorkplace.mpConnection->Query(
        iSql, iTable, [this] { return IsToldToStop(); }, iGate);
}

void QueryTask::Work()
{
    JobMemory memory(*mRecord.mpJob.Get());
    const std::string table = ParseReport(mRecord.mRequest.mBody).mTable;
    StoreRows(*this, Query(ReadSql(*this), table, memory.GetGate()));
}

void ElementTask::Work()
{
    const ElementDefinition element = ParseElement(mRecord.mRequest.mBody);
    const std::string sql = GenerateElementSql(element, mWorkplace.mWarehouse);
    JobMemory memory(*mRecord.mpJob.Get());
    StoreResult(*this, ToTextTable(Query(sql, element.mTable, memory.GetGate())));
}

void AnalysisTask::Work()
{
    JobMemory memory(*mRecord.mpJob.Get());
    Rows rows = ReadRows(*this, memory.GetGate());
    StoreResult(*this, ToTextTable(Analyse(ParseReport(mRecord.mRequest.mBody), std::move(rows))));
}

void ChildrenTask::Work() { mWorkplace.mKernel.StartChildren(mRecord); }

/// The children have all ended.
void DocumentTask::Work()
{
    const std::vector<std::string> reports = ReportsOf(mRecord.mRequest.mBody);
    std::string text;
    const std::lock_guard hold(mRecord.mMutex);
    for (std::size_t i = 0; i < reports.size(); ++i)
        text += (i == 0 ? "(" : "\n(") + std::to_string(i + 1) + ") " + reports[i] + "\n\n" + mRecord.mParts.at(i);
    StoreResult(*this, text);
}

// A job answers once. What has ended already has its error in the answer: the error of what failed, or the
// cancellation.

/// Not once somebody has cancelled the job: then the step that sends the error follows.
void ResultTask::Work()
{
    {
        const std::lock_guard hold(mRecord.mMutex);
        if (mRecord.mbAnswered || QORJOB::HasEnded(StatusOf(*mRecord.mpJob.Get())))
            return;
        mRecord.mbAnswered = true;
    }
    PackResult(*mRecord.mpContext.Get(), ReadResult(*this));
    SendAnswer(*mRecord.mpContext.Get(), *mRecord.mpClient.Get());
}

void ErrorTask::Work()
{
    {
        const std::lock_guard hold(mRecord.mMutex);
        if (mRecord.mbAnswered)
            return;
        mRecord.mbAnswered = true;
    }
    SendAnswer(*mRecord.mpContext.Get(), *mRecord.mpClient.Get());
}

void DeliveryTask::Work()
{
    bool bResult = false;
    {
        const std::lock_guard hold(mRecord.mMutex);
        if (mRecord.mbAnswered)
            return;
        mRecord.mbAnswered = true;
        bResult = !QORJOB::HasEnded(StatusOf(*mRecord.mpJob.Get()));
    }
    if (bResult)
        PackResult(*mRecord.mpContext.Get(), ReadResult(*this));
    DeliverAnswer(*mRecord.mpContext.Get());
}

void CloseTask::Work()
{
    const std::lock_guard hold(mRecord.mMutex);
    if (!QORJOB::HasEnded(StatusOf(*mRecord.mpJob.Get())))
        Expect(mRecord.mpJob->SetStatus(JobCompleted, nullptr), "SetStatus");
}
