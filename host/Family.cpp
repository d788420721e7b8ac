// Documents and their children. Two records' locks are never held together.
#include "host/Boundary.h"
#include "host/Core.h"
#include "host/Failure.h"

#include <new>
#include <utility>

namespace QORHOST
{

QORHostSubmission Core::SubmitChild(const QORHostRun& iRun, QBase::PtrI<QORJob> iJob, QORHostSubmit iOptions)
{
    if (!iJob)
        throw std::invalid_argument("there is no job");
    return OrNoMemory([&]() -> QORHostSubmission {
        const std::shared_ptr<Record> child = MakeRecord(std::move(iJob), std::move(iOptions), iRun.mpRecord);
        {
            Hold parent(*this, *iRun.mpRecord);
            const EnumHostSubmit result = AddChild(parent, iRun, child);
            if (result != EnumHostSubmit::Accepted)
                return {result, {}};
        }
        Hold hold(*this, *child);
        Begin(hold);
        return {EnumHostSubmit::Accepted, QORHostJob(child)};
    });
}

/// Among the document's children and the open jobs, both or neither.
EnumHostSubmit Core::AddChild(Hold& ioHold, const QORHostRun& iRun, const std::shared_ptr<Record>& iChild)
{
    Record& parent = ioHold.GetRecord();
    if (parent.mpRunning != &iRun || IsStopping() || QORJOB::HasEnded(StatusOf(*parent.mpJob.Get())))
        return EnumHostSubmit::Closed;
    if (parent.mChildren.size() >= mConfig.mMostChildren)
        return EnumHostSubmit::Full;
    QORJob& job = *parent.mpJob.Get();
    std::list<std::shared_ptr<Record>> added{iChild};
    ExpectMemory(iChild->mpJob->SetParentId(parent.mId, job.GetMemGovernor()));
    ExpectMemory(job.AddChild(iChild->mId));
    job.IncrementRunningChildCount(nullptr);
    if (const auto failure = Catch([&] { Admit(iChild); }))
    {
        job.RemoveExecutingChild(iChild->mId);
        job.DecrementRunningChildCount(nullptr);
        std::rethrow_exception(failure);
    }
    parent.mChildren.splice(parent.mChildren.end(), added);
    iChild->mChildPlace = std::prev(parent.mChildren.end());
    return EnumHostSubmit::Accepted;
}

/// Those that have ended, or are about to, stay as they are.
void Core::CancelChildren(Record& ioParent)
{
    for (;;)
    {
        std::shared_ptr<Record> child;
        {
            const std::lock_guard hold(ioParent.mMutex);
            for (const std::shared_ptr<Record>& each : ioParent.mChildren)
                if (!each->mbOrphaned)
                    child = each;
            if (child == nullptr)
                return;
            child->mbOrphaned = true;
        }
        const auto failure = Catch([&] {
            Hold hold(*this, *child);
            if (child->mpCore != nullptr)
                Cancel(hold, "its document was cancelled or has failed");
        });
        if (failure != nullptr)
            mLog.Write(EnumRouter::Error, "Job %1 couldn't be cancelled with its document: %2", child->mId, failure);
    }
}

/// The last child sends its document on.
void Core::EndChild(const std::shared_ptr<Record>& iChild)
{
    Record& parent = *iChild->mpParent;
    Hold hold(*this, parent);
    const std::shared_ptr<Record> child = std::move(*iChild->mChildPlace); // ends after the list's entry
    parent.mChildren.erase(iChild->mChildPlace);
    if (parent.mpCore == nullptr)
        return; // it was broken
    QORJob& job = *parent.mpJob.Get();
    const auto failure = Catch([&] {
        Expect(job.MarkChildComplete(child->mId), "MarkChildComplete");
        job.DecrementRunningChildCount(nullptr);
        if (child->mStatus != JobCompleted && parent.mOptions.mFamilyRule == EnumHostFamilyRule::FailWithFirst &&
            !IsStopping() && !IsTooLate(parent))
        {
            Fail(hold, MakeError(GetStepName(parent.mStatisticsStep), parent.mId,
                                 "its child " + std::to_string(child->mId) + " didn't complete: " + child->mReason));
            TellToStop(hold);
        }
        if (!parent.mChildren.empty() || parent.mState != EnumHostState::WaitingForChildren)
            return;
        if (parent.mbPaused)
            parent.mState = EnumHostState::Paused;
        else if (!QORJOB::HasEnded(StatusOf(job)))
            job.SetStatus(JobWaiting, nullptr);
    });
    if (failure != nullptr)
        Break(hold, failure);
    if (parent.mChildren.empty() && parent.mState == EnumHostState::WaitingForChildren)
        Enter(hold);
}

} // namespace QORHOST
