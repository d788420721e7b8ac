// What the kernel keeps of a request beside the job, its history for the table of jobs included.
#pragma once

#include "Request.h"
#include "context/CKDXProcessContext.h"
#include "qorjob.h"

#include <chrono>
#include <vector>

/// The processing units by the ids that the job knows them under.
enum class EnumUnit : int
{
    SqlGeneration = 1,
    QueryExecution = 2,
    Analytics = 3,
    Delivery = 4,
};

struct UnitVisit
{
    using Moment = std::chrono::steady_clock::time_point;

    EnumUnit mUnit;
    Moment mEnter;
    Moment mStart;
    Moment mExit;
};

/// Belongs to one thread at a time: to the one that has taken the job from a unit's queue.
struct JobRecord
{
    int mId = 0;
    QBase::PtrI<QORChannel> mpClient;          ///< where the answer goes
    QBase::PtrI<CKDXProcessContext> mpContext; ///< has the request's message and the answer; the job's, too
    Request mRequest;                          ///< what the message says
    QBase::PtrI<QORJob> mpJob;

    bool mbAnswered = false;

    std::vector<UnitVisit> mVisits;
    std::vector<int> mStepsDone;
    int mFinalStatus = JobStoppedWithError; ///< until the job has told
};
