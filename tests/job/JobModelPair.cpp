#include "tests/job/JobModelPair.h"

#include "record/QORJobPUInfo.h"

namespace
{

const std::vector<int> cCounters = {0, 1, 2, 4, 8, 11, 13, 18, 19, 38, 39, 42, 43, 50};

std::ostream& operator<<(std::ostream& ioText, const ModelStep& iStep)
{
    return ioText << " step " << iStep.mId << " thread " << iStep.mThread << " unit " << iStep.mUnit << " priority "
                  << iStep.mPriority << " CPU " << iStep.mCPUTime << " start " << iStep.mStart << " finish "
                  << iStep.mFinish << " key '" << iStep.mKey << '\'';
}

std::ostream& operator<<(std::ostream& ioText, const ModelVisit& iVisit)
{
    return ioText << " of " << iVisit.mUnit << " enter " << iVisit.mEnter << " start " << iVisit.mStart << " exit "
                  << iVisit.mExit;
}

template <class List>
void WriteShown(std::ostream& ioText, const char* iName, const List& iList)
{
    for (std::size_t entry = 0; entry < iList.size() && entry < QORJobInfo::cCapacity; ++entry)
        ioText << iName << iList[entry] << '\n';
}

void Write(std::ostream& ioText, const ModelGovernor& iGovernor)
{
    ioText << "governor of user " << iGovernor.mUser << " used " << iGovernor.mUsed << " of " << iGovernor.mLimit
           << " peak " << iGovernor.mPeak << " cancel " << iGovernor.mbCancel << " exempt " << iGovernor.mbExempt
           << '\n';
}

template <class Values>
void Write(std::ostream& ioText, const char* iName, const Values& iValues)
{
    ioText << iName;
    for (const auto& value : iValues)
        ioText << ' ' << value;
    ioText << '\n';
}

/// The fields; what has a name of its own beside them goes in `iAnswers`.
std::string TextOf(const JobModelState& iState, const std::ostringstream& iAnswers)
{
    std::ostringstream text;
    text << SnapshotOf(iState) << "task " << iState.mTask << " dead " << iState.mbDead << " at " << iState.mDeadStep
         << " warehouse " << iState.mbWarehouse << "\nerror " << JobModelState::Hex(iState.mError) << " component "
         << JobModelState::Hex(iState.mComponentError) << " message " << JobModelState::Hex(iState.mMessageCode)
         << "\nparent " << iState.mParent << " running children " << iState.mRunningChildren << " governor "
         << iState.mGovernor << " context's " << iState.mContextGovernor << " governed " << iState.mbGoverned << '\n';
    for (const int counter : cCounters)
        if (const auto value = iState.mCounters.find(counter); value != iState.mCounters.end() && value->second != 0)
            text << "counter " << counter << ' ' << value->second << '\n';
    for (const std::string& error : iState.mErrors)
        text << "error: " << error << '\n';
    Write(text, "children", iState.mExecuting);
    Write(text, "ended children", iState.mEnded);
    Write(text, "references", iState.mReferences);
    for (const ModelGovernor& governor : iState.mGovernors)
        Write(text, governor);
    return text.str() + iAnswers.str();
}

int Milliseconds(const QDataType::DateTime& iTime)
{
    return iTime == QDataType::DateTime(0.0) ? -1 : static_cast<int>((iTime - TimeOf(0)).GetTotalMilliseconds());
}

ModelStep Seen(const QORJobStep& iStep)
{
    ModelStep seen;
    seen.mId = Read(iStep, &QORJobStep::GetId);
    seen.mThread = Read(iStep, &QORJobStep::GetThreadId);
    seen.mUnit = Read(iStep, &QORJobStep::GetPUId);
    seen.mPriority = Read(iStep, &QORJobStep::GetPUPriority);
    seen.mCPUTime = static_cast<DWORD>(Read(iStep, &QORJobStep::GetTaskCPUTime));
    seen.mStart = Milliseconds(Read(iStep, &QORJobStep::GetStartTime));
    seen.mFinish = Milliseconds(Read(iStep, &QORJobStep::GetFinishTime));
    seen.mKey = QBase::WideCharToUTF8(iStep.GetChapterKey());
    return seen;
}

ModelGovernor Seen(const JobMemGovernor& iGovernor)
{
    const GUID user = iGovernor.mUserGuid;
    return {user == GUID_NULL ? -1 : user.Data4[7],
            iGovernor.mUsedBytes,
            iGovernor.mLimitBytes,
            iGovernor.mPeakBytes,
            iGovernor.mbCancel,
            iGovernor.mbNotGoverned};
}

std::vector<int> Seen(const QORJob& iJob, HRESULT (QORJob::*iGetter)(QBase::list<QSynch::AtomicLong>&) const)
{
    QBase::list<QSynch::AtomicLong> ids{1, 2};
    EXPECT_EQ((iJob.*iGetter)(ids), S_OK);
    return {ids.begin(), ids.end()};
}

/// Each id asked for alone, and all of them.
void AddExecution(const QORJob& iJob, std::ostream& ioAnswers, QORJobTask*& oTask)
{
    bool bExecuting = false;
    int step = -2;
    int unit = -2;
    DWORD thread = 1;
    const auto add = [&](HRESULT iCode) {
        ioAnswers << "executing " << iCode << bExecuting << ' ' << step << ' ' << thread << ' ' << unit << '\n';
        step = unit = -2;
        thread = 1;
    };
    add(iJob.IsExecuting(&bExecuting, &step, &thread, &unit, &oTask));
    add(iJob.IsExecuting(&bExecuting, &step, nullptr, nullptr, nullptr));
    add(iJob.IsExecuting(&bExecuting, nullptr, &thread, nullptr, nullptr));
    add(iJob.IsExecuting(&bExecuting, nullptr, nullptr, &unit, nullptr));
}

void AddExecution(const JobModel& iModel, std::ostream& ioAnswers)
{
    const ModelStep none{-1, static_cast<DWORD>(-1), -1};
    const ModelStep& front = iModel.mTask == 0 || iModel.mTodo.empty() ? none : iModel.mTodo.front();
    const std::string head = JobModelState::Join("executing ", S_OK, iModel.mTask != 0, ' ');
    ioAnswers << head << front.mId << ' ' << front.mThread << ' ' << front.mUnit << '\n';
    ioAnswers << head << front.mId << " 1 -2\n";
    ioAnswers << head << "-2 " << front.mThread << " -2\n";
    ioAnswers << head << "-2 1 " << front.mUnit << '\n';
}

void AddQueries(std::ostream& ioAnswers, const std::array<bool, 9>& iAnswers)
{
    const char* const cQueries[] = {"error",    "pausing", "running",        "cancelled",     "stopped",
                                    "exported", "aborted", "refused memory", "keeps messages"};
    for (std::size_t query = 0; query < iAnswers.size(); ++query)
        ioAnswers << cQueries[query] << ' ' << iAnswers[query] << '\n';
}

} // namespace

Pair::Pair(const JobModel& iModel) : mModel(iModel), mInstance(mContext.mCalls)
{
    if (mModel.mbMessage)
        mpMessage = QMessage::NewServerMessage();
    for (const int id : cItemIds)
        mItems.emplace_back(std::to_string(mItems.size()), id, mStrangers);
    mContext.mpInstance = mModel.mbInstance ? &mInstance : nullptr;
    mContext.mpDelivery = mModel.mbDelivery ? &mInstance : nullptr;
    mContext.mpOutMessage = mpMessage.Get();
    mContext.mInstanceCode = mModel.mFailingCall == 1 ? E_FAIL : S_OK;
    mInstance.mStatusCode = mModel.mFailingCall == 2 ? E_FAIL : S_OK;
    mInstance.mJobValueCode = mModel.mFailingCall == 3 ? E_FAIL : S_OK;
    mInstance.mKind = mModel.mKind;
    mTasks[1].SetStatus(JobTaskStatusAborted, nullptr);
    Builtin::Settings::SetClock(TimeOf(0));
    mpJob = JobPtr(QORJob::NewJob(cJobId, mModel.mType, cJobPriority, nullptr, nullptr));
    mGovernors = {mpJob->GetMemGovernor(), std::make_shared<JobMemGovernor>(cParentId)};
    Builtin::PerfReadings::Reset();
    if (mModel.mbContext)
        mpJob->SetProcessContext(&mContext);
    mContext.mCalls.clear();
}

int Pair::NumberOf(const QORJobData* iItem) const
{
    for (std::size_t item = 0; item < mItems.size(); ++item)
        if (&mItems[item] == iItem)
            return static_cast<int>(item);
    return cNoItem;
}

void SetTimes(const JobModel& iModel)
{
    Builtin::Settings::SetClock(TimeOf(iModel.mNow));
    SetThreadTime(iModel.mThreadTime);
}

void SetThreadTime(int iTime)
{
    Builtin::Settings::SetThreadTimes(static_cast<std::uint64_t>(iTime) * 3,
                                      0x1'0000'0000u - static_cast<std::uint64_t>(iTime) * 2);
}

std::string SnapshotOf(const JobModelState& iState)
{
    std::ostringstream text;
    text << "status " << iState.mStatus << " since " << iState.mStatusTime << " finished " << iState.mFinishTime
         << " running " << iState.mbRunning << "\npriority " << iState.mPriority << " in units " << iState.mPUPriority
         << '\n';
    WriteShown(text, "todo", iState.mTodo);
    WriteShown(text, "finished", iState.mFinished);
    WriteShown(text, "visit", iState.mVisits);
    text << "items in";
    for (std::size_t slot = 0; slot < iState.mSlots.size(); ++slot)
        if (iState.mSlots[slot] != cNoItem)
            text << ' ' << slot;
    text << '\n';
    return text.str();
}

JobModelState SnapshotOf(const QORJob& iJob)
{
    QORJobInfo info;
    EXPECT_EQ(iJob.GetJobInfo(&info), S_OK);
    JobModelState seen;
    seen.mStatus = info.mStatus;
    seen.mStatusTime = Milliseconds(info.mStatusTime);
    seen.mFinishTime = Milliseconds(info.mFinishTime);
    seen.mbRunning = info.mbRunning;
    seen.mPriority = info.mPriority;
    seen.mPUPriority = info.mPUPriority;
    for (int i = 0; i < info.mTodoCount; ++i)
        seen.mTodo.push_back(Seen(info.mTodoSteps[static_cast<std::size_t>(i)]));
    for (int i = 0; i < info.mFinishedCount; ++i)
        seen.mFinished.push_back(Seen(info.mFinishedSteps[static_cast<std::size_t>(i)]));
    for (int i = 0; i < info.mPUCount; ++i)
    {
        const QORJobPUInfo& visit = info.mPUInfos[static_cast<std::size_t>(i)];
        seen.mVisits.push_back({Read(visit, &QORJobPUInfo::GetId),
                                Milliseconds(Read(visit, &QORJobPUInfo::GetEnterTime)),
                                Milliseconds(Read(visit, &QORJobPUInfo::GetStartTime)),
                                Milliseconds(Read(visit, &QORJobPUInfo::GetExitTime))});
    }
    for (int i = 0; i < info.mDataCount; ++i)
        seen.mSlots[static_cast<std::size_t>(info.mDataSlots[static_cast<std::size_t>(i)])] = 0; // some item
    return seen;
}

std::string TextOf(const JobModel& iModel)
{
    std::ostringstream answers;
    AddExecution(iModel, answers);
    AddQueries(answers, {iModel.mStatus == 4, iModel.mStatus == 20, iModel.mbRunning, iModel.mStatus == 5,
                         iModel.mStatus == 6, iModel.HasFinished(19), iModel.mbQueryResult && iModel.HasFinished(4),
                         iModel.mGovernors[static_cast<std::size_t>(iModel.mGovernor)].mbCancel, iModel.mRunaway != 0});
    for (int id = -1; id < 6; ++id)
        answers << "item " << id << ' ' << (id >= 0 && id < 5 && iModel.mSlots[static_cast<std::size_t>(id)] != cNoItem)
                << '\n';
    answers << "either code "
            << JobModelState::Hex(iModel.mComponentError != S_OK ? iModel.mComponentError : iModel.mError) << '\n';
    return TextOf(iModel, answers);
}

std::string TextOf(Pair& ioPair)
{
    const QORJob& job = *ioPair.mpJob.Get();
    JobModelState seen = SnapshotOf(job);
    std::ostringstream answers;
    QORJobTask* task = nullptr;
    AddExecution(job, answers, task);
    seen.mTask = ioPair.NumberOf(task);
    QORJobProcessingStep deadStep{};
    EXPECT_EQ(job.GetIAmDead(&seen.mbDead, &deadStep), S_OK);
    seen.mDeadStep = deadStep;
    seen.mbWarehouse = Read(job, &QORJob::GetIsExecutingInWarehouse);
    seen.mError = Read(job, &QORJob::GetErrCode);
    seen.mComponentError = Read(job, &QORJob::GetComponentErrorCode);
    QBase::wstring errors;
    EXPECT_EQ(job.GetJobError(errors), S_OK);
    std::istringstream lines(QBase::WideCharToUTF8(errors));
    for (std::string line; std::getline(lines, line);)
        seen.mErrors.push_back(line);
    if (ioPair.mpMessage)
        ioPair.mpMessage->get_ErrorCode(&seen.mMessageCode);
    for (const int counter : cCounters)
        seen.mCounters[counter] = static_cast<int>(Builtin::PerfReadings::GetCounter(counter));
    seen.mParent = job.GetParentId();
    seen.mRunningChildren = Read(job, &QORJob::GetRunningChildCount);
    seen.mExecuting = Seen(job, &QORJob::GetExecutingChildrenList);
    seen.mEnded = Seen(job, &QORJob::GetFinishedChildrenList);
    std::transform(ioPair.mItems.begin(), ioPair.mItems.end(), seen.mReferences.begin(),
                   [](const FakeData& iItem) { return static_cast<int>(iItem.mReferences); });
    seen.mGovernor = ioPair.NumberOf(job.GetMemGovernor());
    seen.mContextGovernor = ioPair.NumberOf(ioPair.mContext.mpGovernor);
    seen.mbGoverned = job.ApplyGovernorOrNot();
    seen.mGovernors = {Seen(ioPair.GovernorOf(0)), Seen(ioPair.GovernorOf(1))};

    bool bError = true;
    EXPECT_EQ(job.IsError(&bError), S_OK);
    AddQueries(answers, {bError, job.IsStepPausing(), Read(job, &QORJob::IsRunning), Read(job, &QORJob::IsCanceled),
                         Read(job, &QORJob::IsStopped), job.IsLastComponentExport(), job.IsQueryEngineServerAborted(),
                         job.GetGovernorCancelFlag(), job.NeedToKeepMsgInJobForRunAway()});
    for (int id = -1; id < 6; ++id)
    {
        bool bAvailable = true;
        EXPECT_EQ(job.IsDataAvailable(id, &bAvailable), S_OK);
        answers << "item " << id << ' ' << bAvailable << '\n';
    }
    answers << "either code " << JobModelState::Hex(Read(job, &QORJob::GetComponentErrorCodeEx)) << '\n';
    ioPair.mContext.mCalls.clear();
    ioPair.mStrangers.mCalls.clear();
    return TextOf(seen, answers);
}
