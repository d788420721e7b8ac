#include "host/Boundary.h"
#include "host/Core.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace QORHOST
{

void Hold::Release()
{
    if (!mLock.owns_lock())
        return;
    mLock.unlock();
    if (mStop.stop_possible())
        std::exchange(mStop, std::stop_source(std::nostopstate)).request_stop();
    if (std::exchange(mbCancelChildren, false))
        mCore.CancelChildren(mRecord);
    if (std::exchange(mbEnd, false))
        mCore.EndJob(mRecord.shared_from_this());
}

Core::Core(QORHostConfig iConfig) : mConfig(std::move(iConfig))
{
    for (const QORHostUnit& plan : mConfig.mUnits)
    {
        if (plan.mId < 1 || FindUnit(plan.mId) != nullptr)
            throw std::invalid_argument("units have ids of their own, 1 or more: " + std::to_string(plan.mId));
        mUnits.push_back(std::make_unique<Unit>(plan, mUnits.size(), *this));
        mbUsersCount = mbUsersCount || plan.mMostAUser != 0;
    }
    if (mUnits.empty())
        throw std::invalid_argument("a host has units");
    for (std::size_t id = 0; id < mSteps.size(); ++id)
        mSteps[id].mName = QBase::WideCharToUTF8(::GetStepName(static_cast<int>(id)));
    for (const QORHostStep& step : mConfig.mSteps)
        AddStep(step);
}

void Core::AddStep(const QORHostStep& iStep)
{
    const std::string text = "step " + std::to_string(iStep.mStepId);
    if (!IsRunnableStep(iStep.mStepId))
        throw std::invalid_argument(text + " isn't one that jobs can run");
    Unit* const unit = FindUnit(iStep.mUnit);
    if (iStep.mUnit != 0 && unit == nullptr)
        throw std::invalid_argument(text + " is for a unit that there isn't: " + std::to_string(iStep.mUnit));
    if ((iStep.mRun != nullptr) == (iStep.mMakeTask != nullptr))
        throw std::invalid_argument(text + " takes either a function or a maker of tasks");
    QORHostStep& entry = mSteps[static_cast<std::size_t>(iStep.mStepId)];
    if (entry.mStepId != StepNoMore)
        throw std::invalid_argument(text + " is there twice");
    std::string name = iStep.mName.empty() ? entry.mName : iStep.mName;
    entry = iStep;
    entry.mName.swap(name);
    mStepUnits[static_cast<std::size_t>(iStep.mStepId)] = unit;
    entry.mLongestRun = LimitOf(iStep.mLongestRun, mConfig.mLongestRun);
    entry.mLongestSilence = LimitOf(iStep.mLongestSilence, mConfig.mLongestSilence);
    mbTimed = mbTimed || IsLimit(entry.mLongestRun) || IsLimit(entry.mLongestSilence);
}

/// Null for a step that no job can run. One that isn't in the table has the id 0.
const QORHostStep* Core::FindStep(int iStepId) const
{
    return IsRunnableStep(iStepId) ? &mSteps[static_cast<std::size_t>(iStepId)] : nullptr;
}

Unit* Core::FindUnit(int iUnit) const
{
    const auto place =
        std::find_if(mUnits.begin(), mUnits.end(), [=](const auto& iEach) { return iEach->GetPlan().mId == iUnit; });
    return place == mUnits.end() ? nullptr : place->get();
}

const std::string& Core::GetStepName(int iStepId) const
{
    return mSteps[static_cast<std::size_t>(IsRunnableStep(iStepId) ? iStepId : StepNoMore)].mName;
}

QORHostSubmission Core::Submit(QBase::PtrI<QORJob> iJob, QORHostSubmit iOptions)
{
    if (!iJob)
        throw std::invalid_argument("there is no job");
    return OrNoMemory([&]() -> QORHostSubmission {
        const std::shared_ptr<Record> record = MakeRecord(std::move(iJob), std::move(iOptions), nullptr);
        const EnumHostSubmit result = Admit(record);
        if (result != EnumHostSubmit::Accepted)
            return {result, {}};
        Hold hold(*this, *record);
        Begin(hold);
        return {result, QORHostJob(record)};
    });
}

/// Takes all the memory that the host needs for the job.
std::shared_ptr<Record> Core::MakeRecord(QBase::PtrI<QORJob> iJob, QORHostSubmit iOptions,
                                         std::shared_ptr<Record> iParent)
{
    auto record = std::make_shared<Record>(std::move(iJob), std::move(iOptions), std::move(iParent));
    ExpectMemory(record->mpJob->GetProcessContext(record->mpContext.Receive()));
    record->mpCore = shared_from_this();
    record->mQueueNode = MakeNode(*record);
    QORHostSubmit& options = record->mOptions;
    options.mLongestWait = LimitOf(options.mLongestWait, mConfig.mLongestWait);
    options.mLongestLife = LimitOf(options.mLongestLife, mConfig.mLongestLife);
    if (mbTimed || IsLimit(options.mLongestWait) || IsLimit(options.mLongestLife))
        Timers::Prepare(*record);
    return record;
}

/// Among the open jobs, if there is room for it.
EnumHostSubmit Core::Admit(const std::shared_ptr<Record>& iRecord)
{
    std::list<std::shared_ptr<Record>> added{iRecord};
    QBase::wstring user;
    if (mbUsersCount)
        ExpectMemory(iRecord->mpJob->GetUser(user));
    std::unique_lock hold(mMutex);
    const bool bChild = iRecord->mpParent != nullptr; // it was counted by its document
    if (!bChild)
    {
        // A thread of the host doesn't wait for others of it.
        const Moment until = Until(IsOwnThread() ? std::chrono::milliseconds(0) : iRecord->mOptions.mWaitForRoom);
        while (mClosing == ClosingNot && !HasRoom(*iRecord))
            if (mRoom.wait_until(hold, until) == std::cv_status::timeout && !HasRoom(*iRecord))
                return EnumHostSubmit::Full;
        if (mClosing != ClosingNot)
            return EnumHostSubmit::Closed;
    }
    if (!user.empty())
    {
        const auto [place, bNew] = mUsers.try_emplace(std::move(user), mUnits.size());
        iRecord->mpUser = &place->second;
        iRecord->mUserPlace = place;
        ++iRecord->mpUser->mOpenJobs;
    }
    mOpen.splice(mOpen.end(), added);
    iRecord->mOpenPlace = std::prev(mOpen.end());
    mOpenJobs += bChild ? 0 : 1;
    ++mUnfinished;
    mBytes += iRecord->mOptions.mBytes;
    return EnumHostSubmit::Accepted;
}

bool Core::HasRoom(const Record& iRecord) const
{
    return mOpenJobs < mConfig.mMostJobs &&
           (mConfig.mMostBytes == 0 || mBytes + iRecord.mOptions.mBytes <= mConfig.mMostBytes);
}

/// Into its first queue.
void Core::Begin(Hold& ioHold)
{
    Record& record = ioHold.GetRecord();
    record.mLifeEnd = After(record.mOptions.mLongestLife, Clock::now());
    const std::exception_ptr failure = Catch([&] {
        record.mpJob->SetRunning(true, nullptr);
        if (record.mpContext) // it may have served another job
            Expect(record.mpContext->put_LongB(ICKDXProcessContext::cGoOn), "put_LongB");
        if (IsStopping())
            StopWork(ioHold);
    });
    if (failure != nullptr)
        Break(ioHold, failure);
    Enter(ioHold);
}

void Core::AddBytes(std::int64_t iBytes)
{
    mBytes += static_cast<std::uint64_t>(iBytes);
    if (iBytes >= 0 || mConfig.mMostBytes == 0)
        return;
    {
        const std::lock_guard hold(mMutex); // nobody is between looking and waiting then
    }
    mRoom.notify_all();
}

std::vector<QORHostJob> Core::GetJobs()
{
    std::vector<QORHostJob> jobs;
    const std::lock_guard hold(mMutex);
    jobs.reserve(mOpen.size());
    for (const std::shared_ptr<Record>& record : mOpen)
        jobs.push_back(QORHostJob(record));
    return jobs;
}

QORHostJob Core::FindNew(int iJob, std::size_t iAmong)
{
    const std::lock_guard hold(mMutex);
    for (auto place = mOpen.rbegin(); place != mOpen.rend() && iAmong > 0; ++place, --iAmong)
        if ((*place)->mId == iJob)
            return QORHostJob(*place);
    return {};
}

QORHostCounts Core::GetCounts()
{
    QORHostCounts counts;
    for (const auto& unit : mUnits)
    {
        counts.mQueued += unit->CountQueued();
        counts.mMissingThreads += unit->CountMissing();
    }
    counts.mBytes = mBytes;
    counts.mLateThreads = mLateThreads;
    const std::lock_guard hold(mMutex);
    counts.mOpen = mOpen.size();
    return counts;
}

std::thread Core::StartThread(std::function<void()> iBody) const
{
    std::thread thread = mConfig.mStartThread ? mConfig.mStartThread(std::move(iBody)) : std::thread(std::move(iBody));
    if (!thread.joinable())
        throw std::invalid_argument("the server has started no thread");
    return thread;
}

} // namespace QORHOST
