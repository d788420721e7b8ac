// What a host's threads share: its units, its open jobs, and all that is done with them.
#pragma once

#include "host/Log.h"
#include "host/Mutexes.h"
#include "host/QORHost.h"
#include "host/Record.h"
#include "host/Timers.h"
#include "host/Unit.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace QORHOST
{

/// The held state of a document whose children run.
inline constexpr int cWaitingForChildren = JobHeld18;

/// Why a thread has no more to do with a job.
enum class EnumLeave
{
    Elsewhere, ///< it rests, is queued, or another thread has it
    Ended,     ///< it is to be ended
    Late,      ///< its step was given up
};

/// What TryAgain throws.
struct RetryRequest
{
    QORHostRetry mRetry;
    QORHostError mError; ///< the job's, when the step may not be tried again
};

/// Says, while it lives, that the calling thread is in a step or a callback of that job.
class Own
{
public:
    Own(const Core& iCore, const Record& iRecord);
    ~Own();
    Own(const Own&) = delete;
    Own& operator=(const Own&) = delete;

    const Core* const mpCore;
    const Record* const mpRecord;
    const Own* const mpBefore; ///< in which it began; null for the first
};

/// A hold on a record, and what is to be done as soon as nobody holds it: the server's code is called then.
class Hold
{
public:
    Hold(Core& ioCore, Record& ioRecord) : mCore(ioCore), mRecord(ioRecord), mLock(ioRecord.mMutex) {}
    ~Hold() { Release(); }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

    Record& GetRecord() const { return mRecord; }
    void Release();
    void Take() { mLock.lock(); }

    void StopLater(const std::stop_source& iStop) { mStop = iStop; }
    void CancelChildrenLater() { mbCancelChildren = true; }
    void EndLater() { mbEnd = true; }

private:
    Core& mCore;
    Record& mRecord;
    std::unique_lock<RecordMutex> mLock;
    std::stop_source mStop{std::nostopstate};
    bool mbCancelChildren = false;
    bool mbEnd = false;
};

/// How a host ends. It never goes back.
enum EnumClosing : int
{
    ClosingNot = 0,
    ClosingDrain = 1,
    ClosingStop = 2,
    ClosingEnded = 3, ///< nobody runs anything any more: what would be queued ends instead
};

/// Lives as long as one of its threads, the ones that were left behind included. Its bodies are in Drive.cpp (what a
/// thread does with a job), Ways.cpp (into queues, to rest, to the end), Submit.cpp, Commands.cpp, Failure.cpp,
/// Family.cpp, Watch.cpp and Close.cpp.
class Core : public std::enable_shared_from_this<Core>
{
public:
    explicit Core(QORHostConfig iConfig);
    void Start();

    // --- Submit.cpp ---
    QORHostSubmission Submit(QBase::PtrI<QORJob> iJob, QORHostSubmit iOptions);
    std::vector<QORHostJob> GetJobs();
    QORHostJob FindNew(int iJob, std::size_t iAmong);
    QORHostCounts GetCounts();
    const std::vector<QORHostUnit>& GetPlans() const { return mConfig.mUnits; }
    const QORHostStep* FindStep(int iStepId) const;
    Unit* FindUnit(int iUnit) const;
    const std::string& GetStepName(int iStepId) const;

    // --- Drive.cpp ---
    /// A thread has taken the job from the unit's queue. `iWorker` is null for a thread of the server's own.
    void Drive(const std::shared_ptr<Record>& iRecord, Unit& ioUnit, Worker* iWorker);
    bool RunOne(Unit& ioUnit, Moment iUntil, std::uint64_t iWakes);
    bool RunUntil(Unit& ioUnit, const QORHostJob& iJob, Moment iUntil);
    void RunUntilClosed(Unit& ioUnit);
    bool IsOwnThread() const { return CountOwn() > 0; }
    static bool IsOwn(const Record& iRecord);
    static bool IsWaitInVain(const Record& iRecord);

    // --- Commands.cpp: under the record's lock ---
    EnumHostAnswer Cancel(Hold& ioHold, const std::string& iReason);
    EnumHostAnswer Pause(Hold& ioHold);
    EnumHostAnswer Resume(Hold& ioHold);
    EnumHostAnswer SetTimeLeft(Hold& ioHold, std::chrono::milliseconds iTime);
    EnumHostAnswer SetPriority(Hold& ioHold, int iPriority);

    // --- Ways.cpp ---
    void EndJob(const std::shared_ptr<Record>& iRecord);

    // --- Family.cpp ---
    QORHostSubmission SubmitChild(const QORHostRun& iRun, QBase::PtrI<QORJob> iJob, QORHostSubmit iOptions);
    void CancelChildren(Record& ioParent);

    // --- Close.cpp ---
    bool Drain(Moment iUntil);
    std::vector<std::string> Stop(Moment iUntil);
    void End();
    void Request(int iClosing) noexcept;
    bool WaitForClose(Moment iUntil);
    bool IsClosing() const { return mClosing != ClosingNot; }

    std::thread StartThread(std::function<void()> iBody) const;
    /// What steps have taken or given back.
    void AddBytes(std::int64_t iBytes);

private:
    /// What a step came to in its thread.
    struct Outcome
    {
        enum class EnumKind
        {
            Done,
            Stopped, ///< because it was told to
            Failed,
            TryAgain,
        };

        EnumKind mKind = EnumKind::Done;
        std::exception_ptr mError = nullptr; ///< of the job, unless that wanted it: QORHostError, or that memory lacks
        QORHostRetry mRetry = {};
    };

    // Submit.cpp
    void AddStep(const QORHostStep& iStep);
    EnumHostSubmit Admit(const std::shared_ptr<Record>& iRecord);
    bool HasRoom(const Record& iRecord) const;
    std::shared_ptr<Record> MakeRecord(QBase::PtrI<QORJob> iJob, QORHostSubmit iOptions,
                                       std::shared_ptr<Record> iParent);
    void Begin(Hold& ioHold);

    // Drive.cpp
    EnumLeave DriveSteps(Hold& ioHold, QORHostRun& ioRun);
    EnumLeave ChooseStep(Hold& ioHold, QORHostRun& ioRun, const QORHostStep*& oStep);
    bool RunStep(const QORHostStep& iStep, Hold& ioHold, QORHostRun& ioRun);
    Outcome Execute(const QORHostStep& iStep, QORHostRun& ioRun) const;
    void FinishStep(const Outcome& iOutcome, Hold& ioHold, QORHostRun& ioRun);
    bool MayTryAgain(const Outcome& iOutcome, Record& ioRecord, const QORHostRun& iRun) const;
    static void GoOn(Record& ioRecord);
    void ReturnLate(QORHostRun& ioRun);

    // Ways.cpp: under the record's lock, but for the last two
    void Enter(Hold& ioHold);
    void Advance(Hold& ioHold);
    Unit& UnitOf(int iStepId, Unit& ioWhere) const;
    static int NextStepOf(const Record& iRecord);
    void EndUnrun(Hold& ioHold);
    static void SetCurrentStep(Record& ioRecord, int iStepId);
    void Exit(Record& ioRecord);
    void Rest(Hold& ioHold, EnumHostState iState);
    void StopWork(Hold& ioHold);
    void KeepEnd(Record& ioRecord);
    void KeepSnapshot(Record& ioRecord);
    void CallBack(const std::shared_ptr<Record>& iRecord, const QORHostOnEnd& iOnEnd);
    void WakeRunUntils();

    // Failure.cpp: under the record's lock
    void Fail(Hold& ioHold, const QORHostError& iError);
    void Fail(Hold& ioHold, const std::exception_ptr& iError);
    static bool MakeWayForReport(Record& ioRecord);
    void FailOverdue(Hold& ioHold, const char* iReason);
    void Break(Hold& ioHold, const std::exception_ptr& iFailure) noexcept;

    // Commands.cpp
    void TellToStop(Hold& ioHold);
    static bool IsTooLate(const Record& iRecord);

    // Family.cpp
    EnumHostSubmit AddChild(Hold& ioHold, const QORHostRun& iRun, const std::shared_ptr<Record>& iChild);
    void EndChild(const std::shared_ptr<Record>& iChild);

    // Watch.cpp
    void Watch();
    void CheckTimes(const std::shared_ptr<Record>& iRecord);
    void CheckStep(Hold& ioHold, Moment iNow);
    void StartTimes(Record& ioRecord);
    static Moment GetEnd(const Record& iRecord, const char** oWhy);
    void SetTimer(Record& ioRecord);
    void TakeAway(Hold& ioHold, const char* iWhy);
    void GoOnWithout(Hold& ioHold, QORHostRun& ioRun, const char* iWhy);
    void RefillUnits();

    // Close.cpp
    void Close(int iClosing);
    void CloseJob(Record& ioRecord, int iClosing);
    std::shared_ptr<Record> NextOpen(unsigned iPass);
    bool WaitForEnd(Moment iUntil);
    void GiveUpRunning(std::vector<std::string>& oLeft);
    std::size_t CountOwn() const;
    void EndOpen();
    bool IsStopping() const { return mClosing >= ClosingStop; }

    const QORHostConfig mConfig;
    const Log mLog;
    std::array<QORHostStep, StepNoOp + 1> mSteps; // by id; what isn't in the table has a name only
    std::array<Unit*, StepNoOp + 1> mStepUnits{}; // null: where the job is
    std::vector<std::unique_ptr<Unit>> mUnits;
    bool mbUsersCount = false; // a unit asks for users
    bool mbTimed = false;      // there are steps with limits of time
    Timers mTimers;
    std::atomic<Moment> mNextRefill{Moment{}};
    std::thread mWatch;
    std::atomic<int> mRequested{ClosingNot};
    std::atomic<int> mClosing{ClosingNot};
    std::atomic<std::uint64_t> mBytes{0};
    std::atomic<std::size_t> mLateThreads{0};
    std::atomic<int> mEndWaiters{0};
    std::atomic<int> mRunUntils{0};          // threads of the server's own that wait for a job's end
    std::atomic<std::size_t> mUnfinished{0}; // jobs, until their callbacks have ended; who waits for 0 has the mutex

    OwnMutex mMutex; // guards what follows
    QSynch::Condition mRoom;
    QSynch::Condition mClosingBegun;
    QSynch::Condition mAllEnded;
    std::list<std::shared_ptr<Record>> mOpen; // until the job has ended
    std::size_t mOpenJobs = 0;                // those that aren't children
    unsigned mPasses = 0;                     // through the open jobs, at the end
    Users mUsers;                             // with open jobs
};

} // namespace QORHOST
