// What the monitor shows of jobs, as plain values.
#pragma once

#include "qorhost.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// Microseconds since 1970 began, in UTC; 0: not set.
using QORMonitorTime = std::int64_t;

/// As it was when the job was seen first, and at its end as it is then. Texts are UTF-8 and as the job has them,
/// nothing is escaped; what is longer than views show is cut.
struct QORMonitorIdentity
{
    int mId = -1;
    int mParentId = -1; ///< -1: none
    int mType = 0;      ///< one of EnumJobRequestType
    QORMonitorTime mCreated = 0;
    std::string mUser = {};
    std::string mLogin = {};
    std::string mProject = {};
    std::string mDescription = {};
};

/// A job in a list. Once it has ended the state says so, and the rest is as it was then.
struct QORMonitorRow
{
    std::shared_ptr<const QORMonitorIdentity> mpIdentity = {};
    EnumHostState mState = EnumHostState::Queued;
    int mStatus = JobReady; ///< one of EnumJobStatus
    int mPriority = 0;
    int mProgress = 0;         ///< percent
    int mUnit = 0;             ///< where it is, or was last; 0: none
    int mStep = StepNoMore;    ///< that runs or will run next; of a job that has ended, the last one
    QORMonitorTime mSince = 0; ///< in this state, or this step
    QORMonitorTime mEnded = 0;
    double mWaiting = 0; ///< seconds in queues, until now; of ended jobs only
    double mRunning = 0; ///< seconds in steps; the same
    HRESULT mErrorCode = S_OK;
    std::string mReason = {}; ///< in English why it failed, was cancelled or stopped, else empty
    bool mbCommands = false;  ///< a host takes commands for it
};

struct QORMonitorStep
{
    int mId = StepNoMore;
    int mUnit = -1; ///< -1: none yet
    DWORD mThread = 0;
    QORMonitorTime mStart = 0;
    QORMonitorTime mFinish = 0; ///< 0 with a start: it runs, or was given up if it stands among the finished ones
};

struct QORMonitorVisit
{
    int mUnit = -1;
    QORMonitorTime mEnter = 0;
    QORMonitorTime mStart = 0;
    QORMonitorTime mExit = 0;
};

struct QORMonitorItem
{
    int mSlot = 0;
    int mType = 0;
    unsigned mSize = 0; ///< bytes; 0 for those that are too large for a snapshot
};

/// All there is to see of one job. Of steps and visits it has as many as a snapshot has: the 16 newest of each, and the
/// first 16 to do.
struct QORMonitorDetail
{
    QORMonitorRow mRow;
    std::vector<QORMonitorStep> mTodo = {};     ///< the next one first
    std::vector<QORMonitorStep> mFinished = {}; ///< the oldest first
    std::vector<QORMonitorVisit> mVisits = {};  ///< the oldest first
    std::vector<QORMonitorItem> mItems = {};
    std::map<unsigned, std::string> mErrors = {}; ///< the errors' texts, a line each, by language id; empty for none
    std::string mDump = {};                       ///< the job's own, UTF-8; empty where it wasn't kept
};

enum class EnumMonitorSort
{
    Urgency, ///< what runs first, then what failed, what rests, what waits, and the rest; among these the newest first
    Id,
    User,
    Status,
    Unit,
    Step,
    Priority,
    Created,
    Since, ///< how long it is in its state, the shortest first
    Running,
    Waiting,
};

/// Which jobs, and in which order. An empty text and a -1 ask for nothing.
struct QORMonitorQuery
{
    std::string mUser = {};
    int mStatus = -1;
    int mUnit = -1;
    int mType = -1;
    int mState = -1;                     ///< an EnumHostState
    std::chrono::milliseconds mOlder{0}; ///< the job was created at least that long ago
    std::string mSearch = {}; ///< part of description, user, project, reason or number; case of A to Z doesn't count
    bool mbOpen = true;       ///< those that haven't ended
    bool mbEnded = true;      ///< those that have, as far back as they are kept
    EnumMonitorSort mSort = EnumMonitorSort::Urgency;
    bool mbDescending = false; ///< the other way round
    std::size_t mOffset = 0;
    std::size_t mLimit = 50;
};

/// Of a unit, at the moment.
struct QORMonitorUnit
{
    int mId = 0;
    std::string mName = {};
    unsigned mThreads = 0;
    std::size_t mBusy = 0;
    std::size_t mQueued = 0;
    int mOldest = -1; ///< the job that has waited longest in its queue
    QORMonitorTime mOldestSince = 0;
};

struct QORMonitorPage
{
    QORMonitorTime mNow = 0; ///< when the monitor has looked
    std::size_t mOpen = 0;   ///< all that haven't ended, whatever was asked for
    std::size_t mKept = 0;   ///< ended ones
    std::size_t mTotal = 0;  ///< that the query finds
    std::size_t mOffset = 0; ///< of the first row among these
    std::vector<QORMonitorRow> mRows = {};
    std::vector<QORMonitorUnit> mUnits = {};
    QORHostCounts mCounts = {};
};

/// How often a value fell below each bound. The last one has none.
struct QORMonitorHistogram
{
    static constexpr std::array<double, 14> cBounds = {0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025, 0.05,
                                                       0.1,    0.25,  0.5,    1,     2.5,  10,    60}; ///< seconds
    std::array<std::uint64_t, cBounds.size() + 1> mCounts{}; ///< each for itself, not added up
    double mSum = 0;

    void Add(double iSeconds);
};

/// What has been counted since the monitor was made, and what there is now.
struct QORMonitorFigures
{
    std::map<std::pair<int, int>, std::uint64_t> mEnded;             ///< jobs by type and status
    std::map<std::pair<int, int>, std::uint64_t> mOpen;              ///< the same of those that haven't ended
    std::map<std::pair<int, int>, QORMonitorHistogram> mStepSeconds; ///< runs by unit and step
    std::map<std::pair<int, int>, QORMonitorHistogram>
        mWaitSeconds;                                      ///< stays in the queue by unit and the step after it
    std::map<std::pair<int, int>, std::uint64_t> mGivenUp; ///< runs by unit and step
    std::vector<QORMonitorUnit> mUnits;
    QORHostCounts mCounts;
    std::uint64_t mGovernedBytes = 0; ///< that the open jobs' governors have granted
    std::uint64_t mGovernedPeak = 0;  ///< the most that one job with its children has had so far
    std::size_t mKept = 0;            ///< ended jobs
    std::uint64_t mKeptBytes = 0;     ///< about what these take
};
