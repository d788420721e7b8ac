// A small server around the host: two units, jobs that complete, are cancelled and hang, and a document of two parts.
#include "qorhost.h"

#include <atomic>
#include <chrono>
#include <future>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

using namespace std::chrono_literals;

namespace
{

constexpr int cQueries = 1; // the units
constexpr int cReports = 2;

/// With a process context and a request in it, so that the job's errors are kept.
QBase::PtrI<QORJob> MakeJob(int iId, int iRequestType, std::initializer_list<QORJobProcessingStep> iSteps)
{
    QBase::PtrI<CKDXProcessContext> context;
    CreateProcessContext(context);
    context->SetRequestIn(0, QMessage::NewReadMessage(nullptr, 0).Get(), nullptr, nullptr, GUID_NULL);
    QBase::PtrI<QORJob> job(QORJob::NewJob(iId, iRequestType, 5, nullptr, nullptr));
    job->SetProcessContext(context.Get());
    for (const QORJobProcessingStep step : iSteps)
        job->AddStep(new QORJobStep(step), nullptr);
    return job;
}

/// A step as a function: what it leaves as a data item a later step takes.
void Query(QORHostRun& ioRun)
{
    for (int percent = 0; percent <= 100; percent += 20)
        if (!ioRun.Report(percent))
            throw QORHostStopped(); // the job was cancelled
    ioRun.SetText(QORJOB_W("Rows"), "42 rows");
}

/// A step as a task.
class FormatTask final : public QORJobTask
{
public:
    explicit FormatTask(QORHostRun& ioRun) : QORJobTask(&ioRun.GetJob()), mRun(ioRun) {}

    HRESULT Run() override
    {
        std::cout << "job " << GetJobId() << " has " << mRun.GetText(QORJOB_W("Rows")) << '\n';
        return SetComplete();
    }

private:
    QORHostRun& mRun;
};

/// A document rests without a thread until its children have ended.
void MakeParts(QORHostRun& ioRun)
{
    for (const int part : {1, 2})
        ioRun.SubmitChild(
            MakeJob(100 * ioRun.GetJob().GetId().Get() + part, RequestReport, {StepQueryExecution, StepCloseJob}));
}

void Show(const QORHost& iHost, const QORHostJob& iJob)
{
    QORJobInfo info; // as it was at the job's end
    if (iJob.GetSnapshot(info) != S_OK)
        return;
    std::cout << "job " << iJob.GetId() << ": status " << info.mStatus;
    if (const std::string reason = iJob.GetReason(); !reason.empty())
        std::cout << " (" << reason << ')';
    for (int i = info.mFinishedCount; i-- > 0;) // newest first
    {
        int step = StepNoMore;
        info.mFinishedSteps.at(static_cast<std::size_t>(i)).GetId(&step);
        std::cout << ", " << iHost.GetStepName(step);
    }
    std::cout << '\n';
}

} // namespace

int main()
{
    QORJobData::AddName(QORJOB_W("Rows"), 1);
    std::promise<void> mayReturn;
    const auto hang = [returns = mayReturn.get_future().share()](QORHostRun&) { returns.wait(); };
    QORHost host({
        .mUnits = {{.mId = cQueries, .mName = "queries", .mThreads = 2}, {.mId = cReports, .mName = "reports"}},
        .mSteps =
            {{.mStepId = StepQueryExecution, .mUnit = cQueries, .mRun = Query},
             {.mStepId = StepElementBrowsing, .mUnit = cQueries, .mRun = hang, .mName = "endless", .mLongestRun = 50ms},
             {.mStepId = StepExecutingDocument, .mUnit = cReports, .mRun = MakeParts},
             {.mStepId = StepDocumentFormatting,
              .mUnit = cReports,
              .mMakeTask = [](QORHostRun& ioRun) { return std::make_unique<FormatTask>(ioRun); }}},
        .mGrace = 50ms,
    });

    const auto report =
        host.Submit(MakeJob(1, RequestReport, {StepQueryExecution, StepDocumentFormatting, StepCloseJob}));
    const auto endless = host.Submit(MakeJob(2, RequestReport, {StepElementBrowsing, StepCloseJob}));
    const auto document = host.Submit(
        MakeJob(3, RequestDocument, {StepExecutingDocument, StepQueryExecution, StepDocumentFormatting, StepCloseJob}));
    auto unwanted = host.Submit(MakeJob(4, RequestReport, {StepElementBrowsing, StepCloseJob}));
    if (!report || !endless || !document || !unwanted)
        return 1;
    std::cout << (unwanted.mJob.Cancel("nobody wants it") == EnumHostAnswer::Done ? "cancelled\n" : "too late\n");
    const bool bDrained = host.Drain(10s);
    mayReturn.set_value(); // the hung step was given up long ago; its thread ends now
    for (const auto& job : {report, endless, document, unwanted})
        Show(host, job.mJob);
    return bDrained ? 0 : 1;
}
