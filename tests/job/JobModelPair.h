// A job beside its model: what is done to both, and all that can be seen of each, as text.
#pragma once

#include "job/JobMemGovernor.h"
#include "job/QORJobTask.h"
#include "tests/job/JobModel.h"
#include "tests/support/DataTest.h"

#include <functional>
#include <memory>
#include <random>

using Random = std::mt19937;

template <class T>
T Pick(Random& ioRandom, std::initializer_list<T> iValues)
{
    return iValues.begin()[ioRandom() % iValues.size()];
}

/// What an operation is given.
struct Arguments
{
    ModelStep mStep;
    int mUnit;
    int mStatus;
    int mTask;
    int mNumber;
    int mItem;
    int mGovernor;
    std::uint64_t mBytes;
    bool mbFlag;
    HRESULT mError;
};

/// What an operation gives: its code, and what goes out.
struct Result
{
    bool operator==(const Result&) const = default;
    std::string Text() const
    {
        return JobModelState::Join("gives ", JobModelState::Hex(mCode), " value ", mValue, " other ", mOther, " '",
                                   mText, "'");
    }

    HRESULT mCode = S_OK;
    int mValue = -2;
    int mOther = -2;
    std::string mText{};
};

/// A job, its model, and the strangers that the job meets.
struct Pair
{
    /// The job is made as the model is.
    explicit Pair(const JobModel& iModel);

    QORJobTask* TaskOf(int iTask) { return iTask == 0 ? nullptr : &mTasks[iTask - 1]; }
    int NumberOf(const QORJobTask* iTask) const { return iTask == nullptr ? 0 : static_cast<int>(iTask - mTasks) + 1; }
    QORJobData* ItemOf(int iItem) { return iItem == cNoItem ? nullptr : &mItems[static_cast<std::size_t>(iItem)]; }
    int NumberOf(const QORJobData* iItem) const;
    JobMemGovernor& GovernorOf(int iGovernor) { return *mGovernors[static_cast<std::size_t>(iGovernor)]; }
    int NumberOf(const std::shared_ptr<JobMemGovernor>& iGovernor) const { return iGovernor == mGovernors[1] ? 1 : 0; }

    JobModel mModel;
    FakeProcessContext mContext;
    FakeReportInstance mInstance;
    QBase::PtrI<CKDXServerMessage> mpMessage;
    Strangers mStrangers;
    std::deque<FakeData> mItems;
    FakeData mUntouched{"untouched", 0, mStrangers};
    QORJobTask mTasks[2] = {QORJobTask(nullptr), QORJobTask(nullptr)};
    JobPtr mpJob;
    std::array<std::shared_ptr<JobMemGovernor>, 2> mGovernors;
};

/// The clock, and the calling thread's time, are those of the model.
void SetTimes(const JobModel& iModel);
void SetThreadTime(int iTime);

std::string TextOf(const JobModel& iModel);
/// The job as a model that holds what can be seen of it.
std::string TextOf(Pair& ioPair);
/// What a snapshot shows at one moment: so many entries of each list.
std::string SnapshotOf(const JobModelState& iState);
JobModelState SnapshotOf(const QORJob& iJob);

struct Operation
{
    const char* mName; ///< with the arguments that it takes
    std::function<void(Pair&, const Arguments&, Result&)> mOnJob;
    std::function<void(JobModel&, const Arguments&, Result&)> mOnModel;
    /// What it has done when it fails for want of memory; most have done nothing.
    std::function<void(JobModel&, HRESULT iCode)> mWithoutMemory = [](JobModel&, HRESULT) {};
};

/// The first ones are taken more often.
extern const std::vector<Operation> cOperations;

/// An operation of a sequence.
struct Call
{
    std::string Text() const;

    const Operation* mpOperation;
    Arguments mArguments;
    int mFailing; ///< which allocation from then on fails; 0 for none
    int mElapsed; ///< milliseconds since the last one
};

/// What a sequence has more of than others.
using Favourites = std::array<const Operation*, 6>;

/// Sorts of jobs, and what fits the model, are taken more often than chance would have it.
JobModel PickJob(Random& ioRandom);
Favourites PickFavourites(Random& ioRandom);
Call PickCall(Random& ioRandom, const JobModel& iModel, const Favourites& iFavourites);
