#include "Errors.h"
#include "JobCalls.h"
#include "JobFactory.h"
#include "Kernel.h"
#include "Message.h"
#include "ReportDefinition.h"

#include <exception>
#include <utility>

/// A step that was paused runs again: the children that it has made stay.
void Kernel::StartChildren(JobRecord& ioDocument)
{
    const std::vector<std::string> reports = ReportsOf(ioDocument.mRequest.mBody);
    if (reports.size() >= cFirstChild)
        throw RequestError("a document has less than " + std::to_string(cFirstChild) + " reports");
    for (std::size_t i = ioDocument.mChildren.size(); i < reports.size(); ++i)
    {
        JobRecord* const child = AddChild(reports[i], ioDocument);
        if (child == nullptr)
            return;
        OpenChild(*child);
    }
}

/// Null when the document has been cancelled.
JobRecord* Kernel::AddChild(const std::string& iReport, JobRecord& ioDocument)
{
    const std::lock_guard hold(ioDocument.mMutex);
    const int place = static_cast<int>(ioDocument.mChildren.size());
    const int id = cFirstChild * ioDocument.mId + place + 1;
    if (FAILED(ioDocument.mpJob->AddChild(id)))
        return nullptr;
    Expect(ioDocument.mpJob->IncrementRunningChildCount(nullptr), "IncrementRunningChildCount");
    JobRecord& child = ioDocument.mChildren.emplace_back();
    child.mId = id;
    child.mpParent = &ioDocument;
    child.mpSession = ioDocument.mpSession;
    const Request& request = ioDocument.mRequest;
    child.mRequest = {request.mLine,    EnumRequestKind::Report, request.mUser, request.mLocale,
                      request.mProject, request.mPriority,       iReport,       {}}; // its result is the document's
    ioDocument.mParts.emplace_back();
    CountOpen(+1);
    return &child;
}

/// The child answers over a channel as any other job does; at the other end of it is the document.
void Kernel::OpenChild(JobRecord& ioChild)
{
    JobRecord& document = *ioChild.mpParent;
    const auto place = static_cast<std::size_t>(ioChild.mId % cFirstChild) - 1;
    try
    {
        ioChild.mpClient = QMessage::NewChannel(
            [this, &document, place](ICKDXReadMessage* iAnswer) { return TakePart(*iAnswer, place, document); });
        if (!ioChild.mpClient)
            throw JobCallError("no memory for a channel");
        ioChild.mpContext = MakeContext(ioChild, PackRequest(ioChild.mRequest).Get());
        const QBase::PtrI<QORJob> job = MakeJob(ioChild, mLimits.mJobMemory);
        Expect(job->SetParentId(document.mId, document.mpJob->GetMemGovernor()), "SetParentId");
        {
            const std::lock_guard hold(ioChild.mMutex);
            ioChild.mpJob = job;
            // Whoever cancels the document cancels the children that have jobs: this one may have come too late for it.
            if (StatusOf(*document.mpJob.Get()) == JobCancelled)
                Cancel(ioChild);
        }
        EnterNext(ioChild);
    }
    catch (const std::exception& error)
    {
        Abandon(ioChild, error.what());
    }
}

HRESULT Kernel::TakePart(ICKDXReadMessage& iAnswer, std::size_t iPlace, JobRecord& ioDocument)
{
    std::string text = ReadAnswer(iAnswer, ioDocument.mRequest.mLocale);
    const std::lock_guard hold(ioDocument.mMutex);
    ioDocument.mParts.at(iPlace) = std::move(text);
    return S_OK;
}

/// True when the document waits for its children: then it isn't this thread's any more.
bool Kernel::RestForChildren(EnumUnit iUnit, JobRecord& ioRecord)
{
    const std::lock_guard hold(ioRecord.mMutex);
    int running = 0;
    Expect(ioRecord.mpJob->GetRunningChildCount(&running), "GetRunningChildCount");
    if (running == 0)
        return false;
    Exit(iUnit, ioRecord);
    if (!QORJOB::HasEnded(StatusOf(*ioRecord.mpJob.Get())))
        Expect(ioRecord.mpJob->SetStatus(cWaitingForChildren, nullptr), "SetStatus");
    ioRecord.mRest = EnumRest::ForChildren;
    return true;
}

/// The last child sends its document on.
void Kernel::EndChild(int iChild, JobRecord& ioDocument)
{
    try
    {
        const std::lock_guard hold(ioDocument.mMutex);
        if (!ioDocument.mpJob)
            return; // it was abandoned
        QORJob& job = *ioDocument.mpJob.Get();
        int running = 0;
        Expect(job.MarkChildComplete(iChild), "MarkChildComplete");
        Expect(job.DecrementRunningChildCount(&running), "DecrementRunningChildCount");
        if (running != 0 || ioDocument.mRest != EnumRest::ForChildren)
            return;
        ioDocument.mRest = EnumRest::None;
        if (!QORJOB::HasEnded(StatusOf(job)))
            Expect(job.SetStatus(JobWaiting, nullptr), "SetStatus");
        EnterNext(ioDocument);
    }
    catch (const std::exception& error)
    {
        Abandon(ioDocument, error.what());
    }
}

/// Those that have ended, or are about to, stay as they are.
void Kernel::CancelChildren(JobRecord& ioDocument)
{
    QBase::list<QSynch::AtomicLong> executing;
    {
        const std::lock_guard hold(ioDocument.mMutex);
        if (ioDocument.mpJob)
            Expect(ioDocument.mpJob->GetExecutingChildrenList(executing), "GetExecutingChildrenList");
    }
    for (const int id : executing)
    {
        JobRecord* const child = Find(id);
        const std::lock_guard hold(child->mMutex);
        if (child->mpJob && !child->mbAnswered && !QORJOB::HasEnded(StatusOf(*child->mpJob.Get())))
            Cancel(*child);
    }
}
