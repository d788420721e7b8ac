// What the host knows of one job.
#pragma once

#include "host/Mutexes.h"
#include "host/QORHostTypes.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

class QORHostRun;

namespace QORHOST
{

class Core;
class Unit;
struct Record;

using Clock = std::chrono::steady_clock;
using Moment = Clock::time_point;

inline constexpr Moment cNever = Moment::max();

inline bool IsLimit(std::chrono::milliseconds iLimit) { return iLimit.count() > 0; }

/// Its own, or the host's for one that says nothing of its own.
inline std::chrono::milliseconds LimitOf(std::chrono::milliseconds iOwn, std::chrono::milliseconds iHosts)
{
    return IsLimit(iOwn) ? iOwn : iHosts;
}

/// From now on; never for a limit of 0 and for one that the clock doesn't reach.
inline Moment After(std::chrono::milliseconds iLimit, Moment iFrom)
{
    constexpr std::chrono::hours cLongest{24 * 365 * 100};
    return !IsLimit(iLimit) || iLimit > cLongest ? cNever : iFrom + iLimit;
}

/// For waits, where a limit of 0 is no wait.
inline Moment Until(std::chrono::milliseconds iLimit)
{
    constexpr std::chrono::hours cLongest{24 * 365 * 100};
    return Clock::now() + std::clamp<std::chrono::milliseconds>(iLimit, std::chrono::milliseconds(0), cLongest);
}

/// A place in a row of records: in a unit's queue, or among the timers. A record brings the set's node with it, so that
/// no way of a job takes memory.
struct Ticket
{
    Moment mMoment{};
    std::uint64_t mNumber = 0; ///< first come, first served among equals
    Record* mpRecord = nullptr;

    bool operator<(const Ticket& iOther) const
    {
        return std::tie(mMoment, mNumber) < std::tie(iOther.mMoment, iOther.mNumber);
    }
};
using Tickets = std::set<Ticket>;

inline Tickets::node_type MakeNode(Record& iRecord)
{
    Tickets node;
    node.insert({{}, 0, &iRecord});
    return node.extract(node.begin());
}

/// A user whose jobs are counted, because a unit runs no more than some of them at a time.
struct User
{
    struct Share
    {
        unsigned mRunning = 0;
        Tickets mParked; ///< jobs whose turn came while the user had as many as are allowed
    };

    explicit User(std::size_t iUnits) : mShares(iUnits) {}

    std::vector<Share> mShares; ///< one a unit, each under its unit's mutex
    std::size_t mOpenJobs = 0;  ///< under the core's mutex
};

using Users = std::map<QBase::wstring, User>;

/// Open from Submit until the job has ended. A job is with one thread at a time; what is done to it from outside is
/// done under the record's mutex, and so is what must not meet with that: all between two steps.
struct Record : std::enable_shared_from_this<Record>
{
    Record(QBase::PtrI<QORJob> iJob, QORHostSubmit iOptions, std::shared_ptr<Record> iParent)
        : mId(iJob->GetId().Get()), mOptions(std::move(iOptions)), mpParent(std::move(iParent)), mpJob(std::move(iJob))
    {
    }
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;

    // --- Constant once the job is submitted; the callback is used up at the end. ---
    const int mId;
    QORHostSubmit mOptions;
    const std::shared_ptr<Record> mpParent;
    User* mpUser = nullptr; ///< null where no unit asks for users
    Users::iterator mUserPlace;

    // --- Under the core's mutex. ---
    std::list<std::shared_ptr<Record>>::iterator mOpenPlace;
    unsigned mPass = 0; ///< the last one that has come by

    // --- Under the mutex of the unit that has the job. ---
    Tickets::node_type mQueueNode;                ///< while the record isn't queued
    std::optional<Tickets::iterator> mQueuePlace; ///< while it is
    Tickets* mpQueue = nullptr;                   ///< the unit's queue, or what its user has parked
    bool mbCounted = false;                       ///< among the running ones of its user

    // --- Under the timers' mutex. ---
    Tickets::node_type mTimerNode; ///< empty while the timer is set, and where there never was one
    std::optional<Tickets::iterator> mTimerPlace;

    // --- Under this mutex: all that follows. ---
    mutable RecordMutex mMutex;
    mutable QSynch::Condition mEnded;
    std::shared_ptr<Core> mpCore;               ///< null once the job has ended
    QBase::PtrI<QORJob> mpJob;                  ///< the same
    QBase::PtrI<ICKDXProcessContext> mpContext; ///< the same; null for a job without one
    EnumHostState mState = EnumHostState::Queued;
    int mPriority = 0;         ///< when it was queued last, or that a command has given it since
    bool mbCalledBack = false; ///< it has ended, and its callback has, too
    Unit* mpUnit = nullptr;    ///< where it is queued or runs

    QORHostRun* mpRunning = nullptr;  ///< whoever takes it away owns the step's end: its thread, or the watch
    int mHandedStep = StepNoMore;     ///< that dispatch has handed out, and another unit is to start
    bool mbContextTold = false;       ///< the context's stop flag is set
    int mStatisticsStep = StepNoMore; ///< what the job knows as its current step
    Moment mStepStart{};
    Moment mSince{};                 ///< in this state, or this step
    Moment mGivenUntil{};            ///< the time that a command has given the step
    Moment mGraceEnd = cNever;       ///< when the step is given up; never before its time is over
    const char* mpOverdue = nullptr; ///< why its time is over
    bool mbCommitted = false;        ///< it is too late for commands
    bool mbPaused = false;           ///< somebody wants it to rest, or has wanted until it did
    bool mbRunAway = false;          ///< a step was given up
    bool mbBroken = false;           ///< the library doesn't drive it any further: it ends without another step
    bool mbSilent = false;           ///< a step that commits was given up: nobody else answers
    int mOwedStep = StepNoMore;      ///< a reporting step that the library has dropped with a step that was given up

    bool mbTimer = false; ///< its timer can be set; it stays so
    Moment mEntered{};    ///< into the queue
    Moment mLifeEnd = cNever;
    Moment mRetryAt = cNever; ///< while it is delayed
    unsigned mRetries = 0;    ///< runs of the current step that are to be followed by another one

    std::list<std::shared_ptr<Record>> mChildren;             ///< the open ones
    std::list<std::shared_ptr<Record>>::iterator mChildPlace; ///< in the parent's list, under its mutex
    bool mbOrphaned = false;                                  ///< under the parent's mutex: cancelled with it

    // What is left at the end.
    int mStatus = JobReady;
    HRESULT mErrorCode = S_OK;
    std::string mReason;
    std::atomic<int> mProgress{0};
    bool mbSnapshotMissing = false; ///< there was no memory for it
    std::unique_ptr<QORJobInfo> mpSnapshot;
};

} // namespace QORHOST
