#include "Server.h"

#include "Errors.h"
#include "Log.h"
#include "Text.h"
#include "client/Message.h"
#include "tasks/JobMaker.h"
#include "tasks/ReportDefinition.h"
#include "tasks/Steps.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <new>

namespace
{

/// "%1 of job %2 failed: %3", in the catalogue of the kernel: for what a user can understand.
constexpr auto cStepFailed = static_cast<HRESULT>(0x80043095);

/// What a worker adds to the memory that all queries have in common, for sorting and the like: one alone may take all
/// of it. Their rows are counted elsewhere.
std::uint64_t QueryMemoryOf(const Options& iOptions)
{
    constexpr std::uint64_t cMegabyte = 1'024 * 1'024;
    constexpr std::uint64_t cLeast = 16 * cMegabyte;
    constexpr std::uint64_t cWithoutLimit = 256 * cMegabyte;
    return iOptions.mJobMemory == Options().mJobMemory ? cWithoutLimit : std::max(iOptions.mJobMemory, cLeast);
}

JobPlace PlaceOf(int iJob)
{
    if (iJob < cFirstChild || iJob >= cFirstChild * cFirstChild)
        return {iJob, 0};
    return {iJob / cFirstChild, iJob % cFirstChild};
}

std::string ReasonOf(EnumHostSubmit iRefusal)
{
    if (iRefusal == EnumHostSubmit::Closed)
        return "the server takes no requests any more";
    return iRefusal == EnumHostSubmit::Full ? "the server has too much to do; try it again later"
                                            : "the server has no memory for it";
}

/// Logs what it throws.
template <class Work>
void Try(const ServerJob& iJob, const char* iWhat, Work&& iWork)
{
    try
    {
        iWork();
    }
    catch (const std::exception& error)
    {
        iJob.LogError(std::string(iWhat) + ": " + error.what());
    }
}

} // namespace

void ServerJob::LogError(const std::string& iText) const
{
    ::LogError("job " + std::to_string(mId) + " (" + KindOf(mRequest) + " for " + mRequest.mUser + ")" + iText,
               mPlace.first);
}

void ServerJob::SendAnswer()
{
    ::SendAnswer(*mpContext.Get(), *mpClient.Get());
    mbAnswered = true;
}

Server::Server(Warehouse& ioWarehouse, Mailboxes& ioMailboxes, QORMonitor& ioMonitor, const Options& iOptions,
               OutputFile* iDump, Listener iListener)
    : mWarehouse(ioWarehouse), mMailboxes(ioMailboxes), mMonitor(ioMonitor), mJobMemory(iOptions.mJobMemory),
      mbTable(!iOptions.IsService()), mpDump(iDump), mListener(std::move(iListener)), mHost(MakeConfig(iOptions))
{
    ioWarehouse.PrepareQueries(iOptions.mThreadsPerUnit, iOptions.mThreadsPerUnit * QueryMemoryOf(iOptions));
    mMonitor.Watch(mHost);
}

Server::~Server() { mMonitor.Forget(); }

QORHostConfig Server::MakeConfig(const Options& iOptions)
{
    QORHostConfig config;
    config.mOnEnd = mMonitor.GetOnEnd();
    config.mMostJobs = iOptions.mMostJobs;
    config.mMostChildren = cFirstChild - 1;
    for (const int unit : {UnitSqlGeneration, UnitQueryExecution, UnitAnalytics, UnitDelivery})
        config.mUnits.push_back({.mId = unit, .mName = UnitNameOf(unit), .mThreads = iOptions.mThreadsPerUnit});
    for (const Step& step : GetSteps())
        config.mSteps.push_back({.mStepId = step.mId,
                                 .mUnit = step.mUnit,
                                 .mRun = [this, &step](QORHostRun& ioRun) { Run(step, ioRun); },
                                 .mLongestRun = step.HasLimit() ? iOptions.mStepTime : std::chrono::seconds(0),
                                 .mbCommits = step.IsAnswer()});
    return config;
}

EnumHostSubmit Server::Submit(int iId, ICKDXReadMessage* iRequest, QORChannel* iClient)
{
    const auto job = std::make_shared<ServerJob>();
    auto result = EnumHostSubmit::NoMemory;
    job->mId = iId;
    job->mPlace = PlaceOf(job->mId);
    job->mpClient = QBase::PtrI<QORChannel>(iClient);
    try
    {
        job->mpContext = MakeContext(job->mId, iRequest);
        job->mRequest = UnpackRequest(*iRequest);
        job->mpSession = QBase::PtrI<UserSession>(new UserSession(job->mRequest.mUser, job->mRequest.mLocale));
        const bool bDelivered = !job->mRequest.mDestination.empty();
        if (bDelivered)
            PutDelivery(*job->mpContext.Get(), mMailboxes.Open(job->mId, job->mRequest).Get());
        result = Launch(job, [this](auto&... ioWhat) { return mHost.Submit(std::move(ioWhat)...); });
        if (result != EnumHostSubmit::Accepted)
            Refuse(*job, ReasonOf(result));
        else if (bDelivered)
            Try(*job, " can't tell that it was accepted", [&] { SendAccepted(iRequest, *iClient); });
    }
    catch (const std::exception& error)
    {
        Refuse(*job, error.what());
    }
    return result;
}

/// A child answers over a channel as any other job does; at the other end of it is the document.
void Server::StartChildren(QORHostRun& ioRun, ServerJob& ioDocument)
{
    const std::shared_ptr<ServerJob> document = Find(ioDocument.mId);
    const std::vector<std::string> reports = ReportsOf(ioDocument.mRequest.mBody);
    if (reports.size() >= cFirstChild)
        throw RequestError("a document has less than " + std::to_string(cFirstChild) + " reports");
    ioDocument.mParts.resize(reports.size());
    for (std::size_t i = 0; i < reports.size(); ++i)
    {
        const auto child = std::make_shared<ServerJob>();
        child->mPlace = {ioDocument.mId, static_cast<int>(i) + 1};
        child->mId = ioDocument.mId < cFirstChild ? cFirstChild * ioDocument.mId + child->mPlace.second : MakeId();
        child->mpSession = ioDocument.mpSession;
        child->mRequest = ioDocument.mRequest;
        child->mRequest.mKind = RequestReport;
        child->mRequest.mBody = reports[i];
        child->mRequest.mDestination.clear(); // its result is the document's
        child->mpClient = QMessage::NewChannel([document, i](ICKDXReadMessage* iAnswer) {
            document->mParts[i] = ReadAnswer(*iAnswer, document->mRequest.mLocale);
            return S_OK;
        });
        if (!child->mpClient)
            throw std::bad_alloc();
        child->mpContext = MakeContext(child->mId, PackRequest(child->mRequest).Get());
        const EnumHostSubmit result =
            Launch(child, [&](auto&... ioWhat) { return ioRun.SubmitChild(std::move(ioWhat)...); });
        if (result == EnumHostSubmit::Closed)
            return; // the document was cancelled
        if (result != EnumHostSubmit::Accepted)
            throw RequestError(ReasonOf(result));
    }
}

/// Its steps find the job by its id, so it is among the open ones before the host has it.
template <class SubmitJob>
EnumHostSubmit Server::Launch(const std::shared_ptr<ServerJob>& iJob, SubmitJob&& iSubmit)
{
    QBase::PtrI<QORJob> job =
        MakeJob(iJob->mId, iJob->mRequest, iJob->mpSession.Get(), *iJob->mpContext.Get(), mJobMemory);
    QORHostSubmit options;
    options.mOnEnd = [this, iJob](const QORHostJob& iHandle, QORJob& ioJob) { End(*iJob, iHandle, ioJob); };
    options.mFamilyRule = EnumHostFamilyRule::WaitForAll;
    {
        const std::lock_guard hold(mMutex);
        mOpen[iJob->mId] = iJob;
    }
    Tell(*iJob, "submitted");
    auto result = EnumHostSubmit::NoMemory;
    Try(*iJob, " can't be submitted", [&] { result = iSubmit(job, options).mResult; });
    if (result != EnumHostSubmit::Accepted)
    {
        const std::lock_guard hold(mMutex);
        mOpen.erase(iJob->mId);
    }
    return result;
}

bool Server::WaitFor(std::chrono::milliseconds iTime)
{
    std::unique_lock hold(mMutex);
    return mAllEnded.wait_for(hold, iTime, [this] { return mOpen.empty(); });
}

int Server::MakeId()
{
    const std::lock_guard hold(mMutex);
    if (++mLastId == cFirstChild || mLastId == std::numeric_limits<int>::max())
        mLastId = cFirstChild * cFirstChild; // whoever had that number before has gone long ago
    return mLastId;
}

void Server::Run(const Step& iStep, QORHostRun& ioRun)
{
    const std::shared_ptr<ServerJob> job = Find(ioRun.GetJob().GetId().Get());
    Tell(*job, "running " + StepNameOf(iStep.mId) + " in " + UnitNameOf(iStep.mUnit));
    ObeyOrders(job->mId, iStep.mId);
    if (!iStep.IsAnswer())
        ioRun.CheckStop();
    try
    {
        Workplace place{ioRun, *job, *this, mWarehouse};
        iStep.mpWork(place);
    }
    catch (const RequestError& error)
    {
        const std::string reason = OnOneLine(error.what());
        throw QORHostError(cStepFailed, {StepNameOf(iStep.mId), std::to_string(job->mId), reason}, reason);
    }
}

/// For a request that doesn't become a job. Its client is told, who may ask again, and no mailbox.
void Server::Refuse(ServerJob& ioJob, const std::string& iReason)
{
    ioJob.LogError(" is refused: " + iReason);
    Tell(ioJob, "refused: " + iReason);
    Try(ioJob, " has sent no answer", [&] {
        if (!ioJob.mpContext)
            return;
        Expect(ioJob.mpContext->put_ContextObjectN(nullptr), "put_ContextObjectN");
        PackError(*ioJob.mpContext.Get(), ioJob.mId, iReason);
        ioJob.SendAnswer();
    });
    AddRow(ioJob, JobStoppedWithError, {});
}

/// A job that was stopped has given no answer: its client gets an empty one, so that it doesn't wait for another.
void Server::End(ServerJob& ioJob, const QORHostJob& iHandle, const QORJob& iEnded)
{
    Journey journey;
    QBase::wstring text;
    if (iHandle.GetStatus() == JobStoppedWithError)
        ioJob.LogError(" failed: " + iHandle.GetReason());
    if (!ioJob.mbAnswered)
        Try(ioJob, " has sent no answer", [&] { ioJob.SendAnswer(); });
    Try(ioJob, " doesn't tell its way", [&] {
        QORJobInfo info;
        Expect(iEnded.GetJobInfo(&info), "GetJobInfo");
        journey = ReadJourney(info);
        iEnded.GetJobInfo(text);
    });
    if (mpDump != nullptr)
        mpDump->Write(QBase::WideCharToUTF8(text.c_str()) + "\n"); // an empty line between two jobs
    const std::string reason = iHandle.GetReason();
    Tell(ioJob, std::string("ended: ") + StatusText(iHandle.GetStatus()) + (reason.empty() ? "" : ", " + reason));
    AddRow(ioJob, iHandle.GetStatus(), journey);
}

void Server::Tell(const ServerJob& iJob, const std::string& iWhat) const
{
    if (mListener)
        mListener(iJob.mId, iWhat);
}

void Server::AddRow(const ServerJob& iJob, int iStatus, const Journey& iJourney)
{
    const std::lock_guard hold(mMutex);
    mOpen.erase(iJob.mId);
    if (mOpen.empty())
        mAllEnded.notify_all();
    if (mbTable)
        mRows[iJob.mPlace] = MakeRow(iJob.mId, iJob.mRequest, iStatus, iJourney, iJob.mNotes);
}

// --- Commands. ---

std::shared_ptr<ServerJob> Server::Find(int iJob)
{
    const std::lock_guard hold(mMutex);
    const auto job = mOpen.find(iJob);
    return job == mOpen.end() ? nullptr : job->second;
}

/// Also when it has ended.
bool Server::Exists(int iJob)
{
    const std::lock_guard hold(mMutex);
    return mOpen.contains(iJob) || mRows.contains(PlaceOf(iJob));
}

void Server::Order(const Control& iControl)
{
    const std::lock_guard hold(mMutex);
    mOrders.push_back(iControl);
}

bool Server::Obey(const Control& iControl)
{
    if (!Exists(iControl.mJob) || !Exists(PlaceOf(iControl.mStepOf).first))
        throw RequestError("there is no such job");
    if (iControl.mStep != 0)
    {
        Order(iControl);
        return false;
    }
    const std::shared_ptr<ServerJob> job = Find(iControl.mJob);
    QORHostJob handle = mMonitor.FindHandle(iControl.mJob);
    if (job == nullptr || !handle)
        throw RequestError("the job has ended, or is about to");

    EnumHostAnswer answer = EnumHostAnswer::NotPossible;
    const char* refusal = "the job can't be cancelled now";
    std::string note; // that a job was cancelled says its status
    switch (iControl.mKind)
    {
    case EnumControl::Cancel:
        answer = handle.Cancel("");
        break;
    case EnumControl::Pause:
        answer = handle.Pause();
        refusal = job->mRequest.mKind == RequestDocument ? "the job is paused" : "only documents can be paused";
        note = "paused";
        break;
    case EnumControl::Resume:
        answer = handle.Resume();
        refusal = "the job isn't paused";
        note = "resumed";
        break;
    default:
        answer = handle.SetTimeLeft(std::chrono::milliseconds(iControl.mMilliseconds));
        refusal = "the job's time can't be set";
        note = "given " + std::to_string(iControl.mMilliseconds) + " ms";
        break;
    }
    if (answer != EnumHostAnswer::Done)
        throw RequestError(answer == EnumHostAnswer::TooLate ? "the job has ended, or is about to" : refusal);
    if (!note.empty())
        AddNote(iControl.mJob, note);
    return true;
}

void Server::AddNote(int iJob, const std::string& iNote)
{
    const std::lock_guard hold(mMutex);
    if (const auto job = mOpen.find(iJob); job != mOpen.end())
        job->second->mNotes.push_back(iNote);
}

/// The orders that wait for this step, which has just begun.
void Server::ObeyOrders(int iJob, int iStepId)
{
    for (Control order : TakeOrders(iJob, iStepId, false))
    {
        order.mStep = 0;
        try
        {
            Obey(order);
        }
        catch (const RequestError& error)
        {
            LogError(ToText(order) + ": " + error.what());
        }
    }
}

bool Server::HasOrders()
{
    const std::lock_guard hold(mMutex);
    return !mOrders.empty();
}

std::vector<Control> Server::TakeOrders(int iJob, int iStepId, bool ibResume)
{
    const auto isOther = [=](const Control& iOrder) {
        return iOrder.mStepOf != iJob || (iOrder.mStep != 0 && iOrder.mStep != iStepId) ||
               (iOrder.mKind == EnumControl::Resume) != ibResume;
    };
    const std::lock_guard hold(mMutex);
    const auto taken = std::stable_partition(mOrders.begin(), mOrders.end(), isOther);
    std::vector<Control> orders(taken, mOrders.end());
    mOrders.erase(taken, mOrders.end());
    return orders;
}

void Server::ResumePaused(bool ibAll)
{
    if (!ibAll && !HasOrders())
        return;
    for (const QORHostJob& job : mHost.GetJobs())
    {
        const QORHostLook look = job.GetLook();
        if (look.mState != EnumHostState::Paused)
            continue;
        const bool bOrdered = !TakeOrders(job.GetId(), look.mStepId, true).empty();
        if ((bOrdered || ibAll) && QORHostJob(job).Resume() == EnumHostAnswer::Done)
            AddNote(job.GetId(), "resumed");
    }
}
