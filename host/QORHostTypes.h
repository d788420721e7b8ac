// What a server tells the host of itself and of its jobs, and what the host answers.
#pragma once

#include "qorjob.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

class QORHostJob;
class QORHostRun;

// A limit of a job's or a step's time is none where it is 0.

/// A group of threads with a queue of their own. The highest priority is taken first, and first come, first served
/// among equals; but a job of a priority that is d lower than another's waits behind that one only if it came less than
/// d times `mRaiseEvery` earlier. So a stream of urgent jobs doesn't keep it waiting for ever.
struct QORHostUnit
{
    int mId = 1;             ///< that jobs know it under: 1 or more
    std::string mName = {};  ///< for people
    unsigned mThreads = 1;   ///< 0: the server's own run it, by QORHost::RunOne and its like
    unsigned mMostAUser = 0; ///< jobs of one user that it runs at a time, by QORJob::GetUser; of no user: all
    std::chrono::milliseconds mRaiseEvery{1'000}; ///< an hour at most
};

/// What runs a step: a function, or a maker of tasks. Either may throw, and is called on a thread of its unit. A
/// reporting step (10, 11, 14, 26) or a closing one without an entry passes without work; any other step without one is
/// the error of its job.
struct QORHostStep
{
    int mStepId = StepNoMore; ///< 1 to 39, with the meaning that dispatch gives some of them
    int mUnit = 0;            ///< 0: the unit where the job is
    std::function<void(QORHostRun& ioRun)> mRun = {};
    std::function<std::unique_ptr<QORJobTask>(QORHostRun& ioRun)> mMakeTask = {}; ///< in place of mRun
    std::string mName = {};                                                       ///< the library's when it is empty
    std::chrono::milliseconds mLongestRun{0};
    std::chrono::milliseconds mLongestSilence{0}; ///< between two reports of its progress
    /// It answers: once it has begun it is too late for commands, and it isn't told to stop. If it throws, the error is
    /// answered; if it is given up, nobody answers any more.
    bool mbCommits = false;
};

/// What becomes of a document when one of its children fails or is cancelled. A child is cancelled whenever its
/// document is cancelled or fails; pausing is nobody's but one's own. A document ends after its children.
enum class EnumHostFamilyRule
{
    FailWithFirst, ///< it fails with that child's reason, unless it commits, and its other children are cancelled
    WaitForAll,    ///< it goes on when all of them have ended, whatever they came to
};

/// A callback at a job's end, on the thread that ended it and without locks of the host. What it throws is logged. It
/// may do all that any thread may; a Submit in it doesn't wait for room.
using QORHostOnEnd = std::function<void(const QORHostJob& iJob, QORJob& ioJob)>;

/// What a server says of one job.
struct QORHostSubmit
{
    /// Called once, when the job has ended and its handles say so.
    QORHostOnEnd mOnEnd = {};
    std::chrono::milliseconds mLongestWait{0}; ///< in one queue
    std::chrono::milliseconds mLongestLife{0}; ///< from now on
    std::chrono::milliseconds mWaitForRoom{0}; ///< how long Submit may wait while the host is full
    std::uint64_t mBytes = 0;                  ///< that the job has of its own: for QORHostConfig::mMostBytes
    EnumHostFamilyRule mFamilyRule = EnumHostFamilyRule::FailWithFirst;
};

/// What a host is made of.
struct QORHostConfig
{
    std::vector<QORHostUnit> mUnits = {};
    std::vector<QORHostStep> mSteps = {};

    std::size_t mMostJobs = 10'000;    ///< that are open at a time; children don't count
    std::size_t mMostChildren = 1'000; ///< of one document, open at a time
    std::uint64_t mMostBytes = 0;      ///< of all open jobs: their own, and what their steps have taken

    // For jobs and steps that say nothing of their own.
    std::chrono::milliseconds mLongestWait{0};
    std::chrono::milliseconds mLongestLife{0};
    std::chrono::milliseconds mLongestRun{0};
    std::chrono::milliseconds mLongestSilence{0};

    std::chrono::milliseconds mGrace{5'000};    ///< for a step that was told to stop before it is given up
    std::chrono::milliseconds mEndTime{10'000}; ///< for the jobs that are open when the host is destroyed

    /// Called for each job in the same way, before its own: while GetJobs has it and its place isn't free yet.
    QORHostOnEnd mOnEnd = {};

    /// Makes each thread, for servers that set theirs up; it may throw. std::thread where there is none.
    std::function<std::thread(std::function<void()> iBody)> mStartThread = {};
};

/// What Submit came to.
enum class EnumHostSubmit
{
    Accepted,
    Full,     ///< there is no room, or there was none in time; the job is as it was
    Closed,   ///< the host takes no jobs any more, or the document no children
    NoMemory, ///< the job is as it was, but for its parent's id and governor if it is a child
};

/// What a command came to, at the moment when it returns.
enum class EnumHostAnswer
{
    Done,
    TooLate,     ///< the job has ended, is about to, or its step commits
    NotPossible, ///< in this state, or for this kind of job
};

/// Where a job stands with the host. What it is doing there says its status.
enum class EnumHostState
{
    Queued,
    Running,
    Paused,
    WaitingForChildren,
    Delayed, ///< a step is tried again later
    Ended,
};

/// A job at one moment: what a list of many jobs takes of each.
struct QORHostLook
{
    EnumHostState mState = EnumHostState::Queued;
    int mStatus = JobReady;   ///< one of EnumJobStatus
    int mUnit = 0;            ///< where it is queued or runs, or was last; 0: it was in none
    int mStepId = StepNoMore; ///< that runs, or was chosen to run next when the job was queued
    int mProgress = 0;        ///< percent
    int mPriority = 0;
    std::chrono::steady_clock::time_point
        mSince; ///< in this state, or in this step; the epoch until it was queued first
};

/// How often a step is tried, and after which delays: the first one, and then each `mGrowth` times the last one.
struct QORHostRetry
{
    unsigned mMostTimes = 3; ///< runs of the step, the first one included
    std::chrono::milliseconds mDelay{100};
    double mGrowth = 2;
    std::chrono::milliseconds mLongestDelay{60'000};
};

/// The error of a job, as code and arguments of the code's text. Steps throw it. A code that no catalogue has a text
/// for is reported by `iReason`.
class QORHostError : public std::runtime_error
{
public:
    QORHostError(HRESULT iCode, std::vector<std::string> iArguments, const std::string& iReason)
        : std::runtime_error(iReason), mCode(iCode), mArguments(std::move(iArguments))
    {
    }

    HRESULT GetCode() const { return mCode; }
    const std::vector<std::string>& GetArguments() const { return mArguments; }

private:
    HRESULT mCode;
    std::vector<std::string> mArguments;
};

/// A step ends early because it was told to. See QORHostRun::CheckStop.
class QORHostStopped : public std::runtime_error
{
public:
    QORHostStopped() : std::runtime_error("it was told to stop") {}
};
