// The kernel's record of a request: its job, its state, and its history for the table of jobs.
#pragma once

#include "Request.h"
#include "context/CKDXProcessContext.h"
#include "qorjob.h"

#include <chrono>
#include <list>
#include <mutex>
#include <string>
#include <vector>

class StepTask;
class UserSession;

/// The processing units by the ids that the job knows them under.
enum class EnumUnit : int
{
    SqlGeneration = 1,
    QueryExecution = 2,
    Analytics = 3,
    Delivery = 4,
};

using Moment = std::chrono::steady_clock::time_point;

struct UnitVisit
{
    EnumUnit mUnit;
    Moment mEnter;
    Moment mStart;
    Moment mExit;
};

/// Why a job is in no unit, and no thread's.
enum class EnumRest
{
    None,
    Paused,
    ForChildren,
};

/// Belongs to one thread at a time: to the one that has taken the job from a unit's queue. What is done to the job from
/// outside is done under the record's mutex, and so is what must not meet with that.
struct JobRecord
{
    int mId = 0;
    JobRecord* mpParent = nullptr;             ///< the document, of a child
    QBase::PtrI<QORChannel> mpClient;          ///< where the answer goes
    QBase::PtrI<QORChannel> mpMailbox;         ///< where it goes instead, once that is promised; else null
    UserSession* mpSession = nullptr;          ///< the kernel's
    QBase::PtrI<CKDXProcessContext> mpContext; ///< has the request's message and the answer; the job's, too
    Request mRequest;                          ///< what the message says
    QBase::PtrI<QORJob> mpJob;                 ///< null before it is made, and once it has ended

    std::mutex mMutex;                ///< one command at a time; two records' are never held together
    StepTask* mpRunning = nullptr;    ///< who takes it away owns the step's end: its worker, or the watchdog
    Moment mStepEnd = Moment::max();  ///< when the running step has had the time that any step may take
    Moment mDeadline = Moment::max(); ///< that, or when the job's time is over
    EnumRest mRest = EnumRest::None;
    bool mbAnswered = false;
    std::list<JobRecord> mChildren;  ///< of a document
    std::vector<std::string> mParts; ///< what its children answered

    std::vector<UnitVisit> mVisits;
    std::vector<int> mStepsDone;
    std::vector<std::string> mNotes;        ///< what was done to the job
    int mFinalStatus = JobStoppedWithError; ///< until the job has told
};
