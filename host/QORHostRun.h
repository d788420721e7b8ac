// What a step has while it runs.
#pragma once

#include "host/QORHostJob.h"
#include "host/QORHostTypes.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>

namespace QORHOST
{
struct Worker;
class Unit;
} // namespace QORHOST

/// One run of one step. A step that is given up keeps it: it may go on using all of it, and nobody looks at what comes
/// of it any more.
///
/// Threads: the one that runs the step; but IsToldToStop and Report may be called by threads that the step has made.
/// Owns:    a reference to the job, and the memory that was taken of its governor until the step ends.
/// Errors:  exceptions; they may pass through the step, and become the job's error.
/// Locks:   the record's, for a moment.
class QORHostRun
{
public:
    /// The host's: under the record's lock.
    QORHostRun(QORHOST::Core& ioCore, std::shared_ptr<QORHOST::Record> iRecord, QORHOST::Unit& ioUnit,
               QORHOST::Worker* iWorker);
    QORHostRun(const QORHostRun&) = delete;
    QORHostRun& operator=(const QORHostRun&) = delete;

    QORJob& GetJob() const { return *mpJob.Get(); }
    int GetStepId() const { return mStepId; }
    /// 1 for the first run of the step, and one more each time that it is tried again.
    unsigned GetAttempt() const { return mAttempt; }
    QORHostJob GetHandle() const;

    // --- Being told to stop: the job was cancelled or paused, its time is over, or the host ends. ---

    bool IsToldToStop() const;
    /// Throws QORHostStopped then. A step that ends so has not done its work; one that returns has.
    void CheckStop() const;
    std::stop_token GetStopToken();
    /// That the step gets on, and how far: the percentage is shown as it is. False when it is told to stop.
    [[nodiscard]] bool Report(int iPercent);

    // --- Data items, by their registered names (QORJobData::AddName): ids 0 to 4 of the job. ---

    /// Throws QORHostError when the name is unknown, or the job has no such item, or one of another class.
    template <class Item>
    QBase::PtrI<Item> GetItem(const QBase::WCHAR* iName) const;
    /// The setters throw it for a name that isn't registered, and for an id past 4.
    void SetItem(QORJobData& ioItem);
    /// Texts, as QORStringData; in UTF-8.
    std::string GetText(const QBase::WCHAR* iName) const;
    void SetText(const QBase::WCHAR* iName, const std::string& iText);

    /// Asks the job's governor, which it shares with its children, for memory until the step ends. Throws QORHostError
    /// with the code 0x8000FE24 when it refuses.
    void TakeMemory(std::uint64_t iBytes);

    /// Ends this run; the step is run again later, and in between the job needs no thread. When the step has been tried
    /// often enough it is the error of its job, with `iReason`. Not while an error builder holds the job's lock.
    [[noreturn]] void TryAgain(const QORHostRetry& iRetry, const std::string& iReason);

    /// A child of this job, which then rests without a thread when this step has ended, until its children have. The
    /// child gets this job's id as its parent's and shares its governor; user, context and priority are the server's to
    /// set. Never waits for room. Closed when this job has failed or was cancelled meanwhile, or the step was given up.
    QORHostSubmission SubmitChild(QBase::PtrI<QORJob> iJob, QORHostSubmit iOptions = {});

private:
    friend class QORHOST::Core;

    void Begin(const QORHostStep& iStep);

    QBase::PtrI<QORJobData> FindItem(const QBase::WCHAR* iName) const;
    [[noreturn]] void RefuseItem(const QBase::WCHAR* iName) const;
    [[noreturn]] void Refuse(const std::string& iReason) const;
    void ReturnMemory() noexcept;

    QORHOST::Core& mCore;
    const std::shared_ptr<QORHOST::Record> mpRecord;
    const QBase::PtrI<QORJob> mpJob;
    const QBase::PtrI<ICKDXProcessContext> mpContext; // null for a job without one
    QORHOST::Unit& mUnit;
    QORHOST::Worker* const mpWorker; // null on a thread of the server's own
    QORJobTask mTask;                // what the job knows the step's run by

    // Of the step that is running; the record's mutex guards what isn't atomic, but for the thread's own.
    const QORHostStep* mpStep = nullptr;
    int mStepId = StepNoMore;
    unsigned mAttempt = 1;
    bool mbEndedBefore = false; // the job had: the context's stop flag is not for this step
    std::atomic<bool> mbTold{false};
    std::atomic<std::chrono::steady_clock::rep> mLastReport{0};
    std::stop_source mStop{std::nostopstate}; // made for the first who asks
    bool mbRunAway = false;                   // the job was told that the step was given up
    std::uint64_t mMemory = 0;
};

template <class Item>
QBase::PtrI<Item> QORHostRun::GetItem(const QBase::WCHAR* iName) const
{
    const QBase::PtrI<QORJobData> found = FindItem(iName);
    auto* const item = dynamic_cast<Item*>(found.Get());
    if (item == nullptr)
        RefuseItem(iName);
    return QBase::PtrI<Item>(item);
}
