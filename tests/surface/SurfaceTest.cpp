// A job's whole life as a user of the shared library sees it: through its one header, and without an initialiser of the
// program's own.
#include "platform/builtin/LogSinks.h"
#include "platform/builtin/PerfReadings.h"
#include "platform/builtin/Texts.h"
#include "qorjob.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace
{

/// Calls an operation while its class, which is no part of the library, has no body for it.
struct PureCaller : QORBinaryData
{
    PureCaller() : QORBinaryData(0, nullptr, 0) { Call(*this); }
    static void Call(QORJobData& ioItem) { ioItem.Reset(); }
    HRESULT Reset() override = 0;
};

struct BornOfAPureCaller final : PureCaller
{
    HRESULT Reset() override { return S_OK; }
};

} // namespace

TEST(Surface, TakesAJobThroughItsLife)
{
    std::vector<std::string> lines;
    const int sink =
        Builtin::LogSinks::AddSink([&](const Builtin::LogSinks::Line& iLine) { lines.push_back(iLine.mText); });
    Builtin::LogSinks::Enable("Kernel", "Job Trace", true);

    QORJob* job = QORJob::NewJob(7, RequestReport, 5, nullptr, nullptr);
    EXPECT_EQ(job->AddRef(), 1u);
    for (const int id : {StepSQLGeneration, StepQueryExecution, StepSendingReportResult, StepCloseJob})
        EXPECT_EQ(job->AddStep(new QORJobStep(id), nullptr), S_OK);
    job->SetPUEnter(3, QORJOB_W("unit"), 0);
    job->SetPUStart(3);
    job->SetRunning(true, nullptr);
    std::vector<int> runs;
    for (int step = -1; job->GetCurrentStepIdToRun(&step, nullptr) == S_OK && step != StepNoMore;)
    {
        QORJobTask task(job);
        EXPECT_EQ(job->SetStepStart(step, 3, &task), S_OK);
        EXPECT_EQ(task.Run(), S_OK);
        EXPECT_EQ(job->SetStepFinish(step, 3, &task), S_OK);
        runs.push_back(step);
    }
    job->SetPUExit(3, QORJOB_W("unit"));
    EXPECT_EQ(runs, (std::vector<int>{StepSQLGeneration, StepQueryExecution, StepSendingReportResult, StepCloseJob}));
    EXPECT_EQ(job->Release(), 0u);

    Builtin::LogSinks::Enable("Kernel", "Job Trace", false);
    Builtin::LogSinks::RemoveSink(sink);
    EXPECT_EQ(Builtin::PerfReadings::GetLiveInstances(4), 0);
    EXPECT_EQ(lines.front(), "QORJob::QORJob Job:7 created.");
    EXPECT_EQ(lines.back(), "QORJob::QORJob Job:7 destructed.");
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "QORJob::SetStepFinish: Job:7 completed step:2."), 1);
}

TEST(Surface, LetsUsersHoldRecordsAndValues)
{
    unsigned size = 0;
    EXPECT_EQ(QORJobStep(StepNoOp).GetSaveObjSize(&size), 0u);
    EXPECT_EQ(size, 110u);
    EXPECT_EQ(QORJobPUInfo(4).GetSaveObjSize(&size), 0u);
    EXPECT_EQ(size, 28u);
    EXPECT_EQ(QBase::WideCharToUTF8(GetStepName(StepCloseJob)), "Close job");
    EXPECT_EQ(QBase::WideCharToUTF8(GetStepName(StepNoMore)), "Done step");
    EXPECT_EQ(QBase::WideCharToUTF8(GetStepName(StepNoOp)), "no op");
    EXPECT_TRUE(QBase::wstring(GetStepName(40)) == GetStepName(-1));
    EXPECT_EQ(QBase::WideCharToUTF8(QORJob::ConvertIDToName(RequestReport)), "Report request");
    EXPECT_EQ(QBase::ToString(IID_ICKDXReportInstance), "{73BA6E85-6A88-11D1-A77F-00A024D1C490}");

    int index = 0;
    EXPECT_EQ(QORJobTask::GetProfileIndex(41, &index), E_POINTER);
    EXPECT_EQ(QORJobTask::GetProfileIndex(40, &index), S_OK);
}

TEST(Surface, BringsTextsOfAServersOwnToItsClients)
{
    [[maybe_unused]] static const bool bOnce = [] { // the test may be repeated
        Builtin::Texts::Add("language 0x0409\nbundle Orders\n0x80051001 ORDER_GONE Order %1 is gone.\n", "english");
        Builtin::Texts::Add("language 0x0407\nbundle Orders\n0x80051001 ORDER_GONE Auftrag %1 ist weg.\n", "german");
        return true;
    }();
    const auto message = QMessage::NewServerMessage();
    QORMessagePacker(message.Get(), QORJOB_W("Orders"), 0x80051001) << 7;
    for (const auto& [locale, expected] : {std::pair{0x407u, "Auftrag 7 ist weg."}, {0x809u, "Order 7 is gone."}})
    {
        QBase::wstring text;
        EXPECT_EQ(QMessage::CKDXWriteMessage::GetErrorsFromMessage(locale, message.Get(), text), S_OK);
        EXPECT_EQ(QBase::WideCharToUTF8(text), expected);
    }
}

TEST(Surface, EndsTheProcessWhereAnOperationOfAUsersClassHasNoBody)
{
    const auto call = [] {
        Builtin::LogSinks::AddStandardErrorSink();
        Builtin::LogSinks::Enable("Kernel", "Error", true);
        BornOfAPureCaller caller;
    };
    EXPECT_DEATH(call(), "Kernel/Error: _purecall\\(\\): Pure virtual function call\\.");
}
