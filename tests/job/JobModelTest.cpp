// A job beside its model: random operations, now and then without memory, and all that can be seen after each.
#include "tests/job/JobModel.h"

#include "job/QORJobError.h"
#include "job/QORJobTask.h"
#include "record/QORJobInfo.h"

#include <functional>
#include <new>
#include <random>

namespace
{

constexpr unsigned cSequences = 2500;
constexpr int cOperations = 30;

/// What an operation of a sequence is given.
struct Arguments
{
    ModelStep mStep;
    int mUnit;
    int mStatus;
    int mTask;
    int mNumber;
    bool mbFlag;
    HRESULT mError;
};

using Random = std::mt19937;

template <class T>
T Pick(Random& ioRandom, std::initializer_list<T> iValues)
{
    return iValues.begin()[ioRandom() % iValues.size()];
}

/// What fits the job is taken more often than chance would have it.
Arguments PickArguments(Random& ioRandom, const JobModel& iModel)
{
    Arguments arguments;
    const bool bCurrent = !iModel.mTodo.empty() && ioRandom() % 3 == 0;
    arguments.mStep.mId = bCurrent ? iModel.mTodo.front().mId
                                   : Pick(ioRandom, {2, 2, 3, 4, 4, 5, 10, 11, 13, 14, 19, 20, 26, 39, 39, 0, 40});
    if (ioRandom() % 4 == 0)
        arguments.mStep.mThread = Pick<DWORD>(ioRandom, {0, cSomeThread});
    if (ioRandom() % 4 == 0)
        arguments.mStep.mUnit = Pick(ioRandom, {-1, 0, 7});
    arguments.mStep.mKey = Pick(ioRandom, {"", "chapter", "verse"});
    arguments.mUnit = Pick(ioRandom, {-1, 0, 0, 1, 7, 8});
    arguments.mStatus =
        ioRandom() % 2 == 0 ? static_cast<int>(ioRandom() % 23) : Pick(ioRandom, {0, 1, 2, 4, 5, 17, 20, 20});
    if (iModel.mStatus == 8 && ioRandom() % 2 == 0)
        arguments.mStatus = 13; // follows 8 only
    arguments.mTask = ioRandom() % 3 == 0 ? iModel.mTask : Pick(ioRandom, {0, 1, 2});
    arguments.mNumber = Pick(ioRandom, {0, 2, 4, 9, 0x800});
    arguments.mbFlag = ioRandom() % 3 != 0;
    arguments.mError = static_cast<HRESULT>(Pick(ioRandom, {0x8004308Du, 0x80044637u, 0x80004005u}));
    return arguments;
}

QORJobStep* NewStep(const ModelStep& iStep)
{
    auto* step = new QORJobStep(iStep.mId);
    if (step == nullptr)
        return nullptr;
    step->SetThreadId(iStep.mThread);
    step->SetPUId(iStep.mUnit);
    step->SetChapterKey(QBase::UTF8ToWideChar(iStep.mKey).c_str());
    return step;
}

/// What an operation gives: its code, and what goes out.
struct Result
{
    HRESULT mCode = S_OK;
    int mValue = -2;
    int mOther = -2;

    bool operator==(const Result&) const = default;
};

std::ostream& operator<<(std::ostream& ioStream, const Result& iResult)
{
    return ioStream << std::hex << static_cast<unsigned>(iResult.mCode) << std::dec << " value " << iResult.mValue
                    << " other " << iResult.mOther;
}

/// A job, its model, and the strangers that the job meets.
struct Pair
{
    explicit Pair(Random& ioRandom)
        : mModel(Pick(ioRandom, {0, 1, 2, 2, 3, 5, 6, 7}), ioRandom() % 4 != 0, ioRandom() % 2 == 0,
                 ioRandom() % 3 == 0, Pick(ioRandom, {0, 0, 0, 1, 2, 3})),
          mInstance(mContext.mCalls)
    {
        mContext.mpInstance = mModel.mbInstance ? &mInstance : nullptr;
        mContext.mpDelivery = mModel.mbDelivery ? &mInstance : nullptr;
        mTasks[1].SetStatus(JobTaskStatusAborted, nullptr);
        Builtin::Settings::SetClock(TimeOf(0));
        Builtin::PerfReadings::Reset();
        mpJob = JobPtr(QORJob::NewJob(cJobId, mModel.mType, cJobPriority, nullptr, nullptr));
        if (mModel.mbContext)
            mpJob->SetProcessContext(&mContext);
        mContext.mInstanceCode = mModel.mFailingCall == 1 ? E_FAIL : S_OK;
        mInstance.mStatusCode = mModel.mFailingCall == 2 ? E_FAIL : S_OK;
        mInstance.mJobValueCode = mModel.mFailingCall == 3 ? E_FAIL : S_OK;
        mContext.mCalls.clear();
    }

    QORJobTask* TaskOf(int iTask) { return iTask == 0 ? nullptr : &mTasks[iTask - 1]; }
    int NumberOf(const QORJobTask* iTask) const { return iTask == nullptr ? 0 : static_cast<int>(iTask - mTasks) + 1; }

    JobModel mModel;
    FakeProcessContext mContext;
    FakeReportInstance mInstance;
    QORJobTask mTasks[2] = {QORJobTask(nullptr), QORJobTask(nullptr)};
    JobPtr mpJob;
};

struct Operation
{
    const char* mName;
    std::function<void(Pair&, const Arguments&, Result&)> mOnJob;
    std::function<void(JobModel&, const Arguments&, Result&)> mOnModel;
    /// What it has done when it fails for want of memory; most have done nothing.
    std::function<void(JobModel&, HRESULT iCode)> mWithoutMemory = [](JobModel&, HRESULT) {};
};

template <HRESULT (QORJob::*iAdd)(QORJobStep*, int*)>
void Add(Pair& ioPair, const Arguments& iArguments, Result& oResult)
{
    QORJobStep* step = NewStep(iArguments.mStep);
    oResult.mCode = step == nullptr ? E_OUTOFMEMORY : (ioPair.mpJob.Get()->*iAdd)(step, &oResult.mValue);
}

using A = const Arguments&;
using R = Result&;

// The first ones are taken more often.
constexpr std::size_t cCommonOperations = 4;
const std::vector<Operation> cAllOperations = {
    {"AddStepToRun", Add<&QORJob::AddStepToRun>,
     [](JobModel& ioModel, A iGiven, R oResult) { ioModel.AddStepToRun(iGiven.mStep, oResult.mValue); }},
    {"SetStepStart",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->SetStepStart(iGiven.mStep.mId, iGiven.mUnit, ioPair.TaskOf(iGiven.mTask));
     },
     [](JobModel& ioModel, A iGiven, R) { ioModel.SetStepStart(iGiven.mStep.mId, iGiven.mUnit, iGiven.mTask); }},
    {"SetStepFinish",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->SetStepFinish(iGiven.mStep.mId, iGiven.mUnit, ioPair.TaskOf(iGiven.mTask));
     },
     [](JobModel& ioModel, A iGiven, R oResult) {
         oResult.mCode = ioModel.SetStepFinish(iGiven.mStep.mId, iGiven.mUnit, iGiven.mTask, iGiven.mTask == 2);
     }},
    {"GetCurrentStepIdToRun",
     [](Pair& ioPair, A, R oResult) {
         oResult.mCode = ioPair.mpJob->GetCurrentStepIdToRun(&oResult.mValue, &oResult.mOther);
     },
     [](JobModel& ioModel, A, R oResult) { oResult.mValue = ioModel.GetCurrentStepIdToRun(oResult.mOther); },
     [](JobModel& ioModel, HRESULT) {
         if (ioModel.BeginDispatch() && ioModel.mStatus == 17 && !ioModel.mTodo.empty())
             ioModel.mStatus = 0; // a requeued job that has steps needs none
     }},
    {"AddStep", Add<&QORJob::AddStep>,
     [](JobModel& ioModel, A iGiven, R oResult) { ioModel.AddStep(iGiven.mStep, oResult.mValue); }},
    {"AddStepAtFront", Add<&QORJob::AddStepAtFront>,
     [](JobModel& ioModel, A iGiven, R oResult) { ioModel.AddStepAt(0, iGiven.mStep, oResult.mValue); }},
    {"AddStepAfterThis", Add<&QORJob::AddStepAfterThis>,
     [](JobModel& ioModel, A iGiven, R oResult) { ioModel.AddStepAt(1, iGiven.mStep, oResult.mValue); }},
    {"AddStepAfterThis(id)",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->AddStepAfterThis(iGiven.mStep.mId, &oResult.mValue);
     },
     [](JobModel& ioModel, A iGiven, R oResult) { ioModel.AddStepAt(1, {iGiven.mStep.mId}, oResult.mValue); }},
    {"AddCommonStepsAtRebuild",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode =
             ioPair.mpJob->AddCommonStepsAtRebuild(static_cast<EnumKDXDocumentManipulationType>(iGiven.mNumber));
     },
     [](JobModel& ioModel, A iGiven, R) { ioModel.AddCommonSteps(iGiven.mNumber); }},
    {"SetStepComplete", [](Pair& ioPair, A, R oResult) { oResult.mCode = ioPair.mpJob->SetStepComplete(); },
     [](JobModel& ioModel, A, R oResult) { oResult.mCode = ioModel.SetStepComplete(); }},
    {"SetStepComplete(id)",
     [](Pair& ioPair, A iGiven, R oResult) { oResult.mCode = ioPair.mpJob->SetStepComplete(iGiven.mStep.mId); },
     [](JobModel& ioModel, A iGiven, R oResult) { oResult.mCode = ioModel.SetStepComplete(iGiven.mStep.mId); }},
    {"ClearTodoSteps", [](Pair& ioPair, A, R oResult) { oResult.mCode = ioPair.mpJob->ClearTodoSteps(); },
     [](JobModel& ioModel, A, R) { ioModel.mTodo.clear(); }},
    {"RemoveStep",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->RemoveStep(static_cast<QORJobProcessingStep>(iGiven.mStep.mId));
     },
     [](JobModel& ioModel, A iGiven, R) { ioModel.RemoveStep(iGiven.mStep.mId); }},
    {"RenewCurrentStep", [](Pair& ioPair, A, R oResult) { oResult.mCode = ioPair.mpJob->RenewCurrentStep(); },
     [](JobModel& ioModel, A, R) { ioModel.RenewCurrentStep(); },
     [](JobModel& ioModel, HRESULT iCode) {
         if (iCode == E_OUTOFMEMORY) // the step; its entry needs none
             ioModel.mTodo.pop_front();
     }},
    {"GetCurrentStepId",
     [](Pair& ioPair, A, R oResult) {
         oResult.mCode = ioPair.mpJob->GetCurrentStepId(&oResult.mValue, &oResult.mOther);
     },
     [](JobModel& ioModel, A, R oResult) { oResult.mValue = ioModel.GetCurrentStepId(oResult.mOther); }},
    {"SetIsExecutingInWarehouse",
     [](Pair& ioPair, A iGiven, R oResult) { oResult.mCode = ioPair.mpJob->SetIsExecutingInWarehouse(iGiven.mbFlag); },
     [](JobModel& ioModel, A iGiven, R) { ioModel.mbWarehouse = iGiven.mbFlag; }},
    {"SetStatus",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->SetStatus(iGiven.mStatus, &oResult.mValue);
     },
     [](JobModel& ioModel, A iGiven, R oResult) { oResult.mCode = ioModel.SetStatus(iGiven.mStatus, oResult.mValue); }},
    {"SetRunning",
     [](Pair& ioPair, A iGiven, R oResult) {
         bool bWas = false;
         oResult.mCode = ioPair.mpJob->SetRunning(iGiven.mbFlag, &bWas);
         oResult.mValue = bWas;
     },
     [](JobModel& ioModel, A iGiven, R oResult) { oResult.mValue = ioModel.SetRunning(iGiven.mbFlag); }},
    {"SetIAmDead",
     [](Pair& ioPair, A iGiven, R oResult) {
         bool bWas = false;
         oResult.mCode =
             ioPair.mpJob->SetIAmDead(iGiven.mbFlag, &bWas, static_cast<QORJobProcessingStep>(iGiven.mStep.mId));
         oResult.mValue = bWas;
     },
     [](JobModel& ioModel, A iGiven, R oResult) {
         oResult.mValue = ioModel.SetIAmDead(iGiven.mbFlag, iGiven.mStep.mId);
     }},
    {"SetIAmDead(null)",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->SetIAmDead(iGiven.mbFlag, nullptr, StepFindCube);
     },
     [](JobModel&, A, R oResult) { oResult.mCode = E_POINTER; }},
    {"Cancel", [](Pair& ioPair, A, R oResult) { oResult.mCode = ioPair.mpJob->Cancel(); },
     [](JobModel& ioModel, A, R oResult) { oResult.mCode = ioModel.Cancel(); },
     [](JobModel& ioModel, HRESULT) {
         bool bReports = false;
         ioModel.BeginCancel(bReports);
     }},
    {"PauseCurrentStep", [](Pair& ioPair, A, R) { ioPair.mpJob->PauseCurrentStep(); },
     [](JobModel& ioModel, A, R) { ioModel.PauseCurrentStep(); }},
    {"ResetStatusBeforeResumeExecution", [](Pair& ioPair, A, R) { ioPair.mpJob->ResetStatusBeforeResumeExecution(); },
     [](JobModel& ioModel, A, R) { ioModel.Resume(); }},
    {"StopRunningIfHang",
     [](Pair& ioPair, A iGiven, R oResult) {
         ioPair.mpJob->SetCurrentStepForStatistics(iGiven.mNumber);
         oResult.mCode = ioPair.mpJob->StopRunningIfHang(iGiven.mUnit, 0, ioPair.TaskOf(iGiven.mTask));
     },
     [](JobModel& ioModel, A iGiven, R oResult) {
         ioModel.mCurrentStep = iGiven.mNumber;
         oResult.mCode = ioModel.StopRunningIfHang(iGiven.mTask);
     }},
    {"GetJobErrorBuilder",
     [](Pair& ioPair, A iGiven, R oResult) {
         try
         {
             oResult.mCode = ioPair.mpJob->GetJobErrorBuilder(iGiven.mError) ? S_OK : E_OUTOFMEMORY;
         }
         catch (const std::bad_alloc&)
         {
             oResult.mCode = E_FAIL;
         }
     },
     [](JobModel& ioModel, A iGiven, R) { ioModel.AddError(iGiven.mError); },
     [](JobModel& ioModel, HRESULT iCode) {
         if (iCode != E_OUTOFMEMORY) // there was a builder
             ioModel.BeginError();
     }},
    {"SetPUEnter",
     [](Pair& ioPair, A iGiven, R oResult) { oResult.mCode = ioPair.mpJob->SetPUEnter(iGiven.mUnit, nullptr, 0); },
     [](JobModel& ioModel, A iGiven, R) { ioModel.SetPUEnter(iGiven.mUnit); }},
    {"SetPUStart", [](Pair& ioPair, A iGiven, R oResult) { oResult.mCode = ioPair.mpJob->SetPUStart(iGiven.mUnit); },
     [](JobModel& ioModel, A iGiven, R) { ioModel.SetPUStart(iGiven.mUnit); }},
    {"SetPUExit",
     [](Pair& ioPair, A iGiven, R oResult) { oResult.mCode = ioPair.mpJob->SetPUExit(iGiven.mUnit, nullptr); },
     [](JobModel& ioModel, A iGiven, R) { ioModel.SetPUExit(iGiven.mUnit); }},
    {"GetPUId", [](Pair& ioPair, A, R oResult) { oResult.mCode = ioPair.mpJob->GetPUId(&oResult.mValue); },
     [](JobModel& ioModel, A, R oResult) { oResult.mCode = ioModel.GetPUId(oResult.mValue); }},
    {"SetPriority",
     [](Pair& ioPair, A iGiven, R oResult) {
         oResult.mCode = ioPair.mpJob->SetPriority(iGiven.mNumber, &oResult.mValue);
     },
     [](JobModel& ioModel, A iGiven, R oResult) { oResult.mValue = ioModel.SetPriority(iGiven.mNumber); }},
    {"SetPUPriority",
     [](Pair& ioPair, A iGiven, R oResult) { oResult.mCode = ioPair.mpJob->SetPUPriority(iGiven.mNumber); },
     [](JobModel& ioModel, A iGiven, R) { ioModel.SetPUPriority(iGiven.mNumber); }},
};

// --- All that can be seen, as text ---------------------------------------------------------------------------------

std::string TextOf(const ModelStep& iStep, const char* iList)
{
    std::ostringstream text;
    text << iList << " step " << iStep.mId << " thread " << iStep.mThread << " unit " << iStep.mUnit << " priority "
         << iStep.mPriority << " CPU " << iStep.mCPUTime << " start " << iStep.mStart << " finish " << iStep.mFinish
         << " key '" << iStep.mKey << "'\n";
    return text.str();
}

std::string TextOf(const ModelVisit& iVisit)
{
    std::ostringstream text;
    text << "visit of " << iVisit.mUnit << " enter " << iVisit.mEnter << " start " << iVisit.mStart << " exit "
         << iVisit.mExit << '\n';
    return text.str();
}

std::string TextOf(const JobModel& iModel)
{
    std::ostringstream text;
    text << "status " << iModel.mStatus << " since " << iModel.mStatusTime << " finished " << iModel.mFinishTime
         << "\nrunning " << iModel.mbRunning << " task " << iModel.mTask << "\ndead " << iModel.mbDead << " at "
         << iModel.mDeadStep << "\npausing " << (iModel.mStatus == 20) << " cancelled " << (iModel.mStatus == 5)
         << " stopped " << (iModel.mStatus == 6) << " error " << (iModel.mStatus == 4) << " code " << iModel.mError
         << "\nwarehouse " << iModel.mbWarehouse << " aborted " << (iModel.mbQueryResult && iModel.HasFinished(4))
         << " exported " << iModel.HasFinished(19) << "\npriority " << iModel.mPriority << " in units "
         << iModel.mPUPriority << '\n';
    for (const int counter : {0, 1, 11, 13})
        text << "counter " << counter << ' ' << (iModel.mCounters.contains(counter) ? iModel.mCounters.at(counter) : 0)
             << '\n';
    for (const ModelStep& step : iModel.mTodo)
        text << TextOf(step, "todo");
    for (const ModelStep& step : iModel.mFinished)
        text << TextOf(step, "finished");
    for (const ModelVisit& visit : iModel.mVisits)
        text << TextOf(visit);
    return text.str();
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
    seen.mCPUTime = static_cast<int>(Read(iStep, &QORJobStep::GetTaskCPUTime));
    seen.mStart = Milliseconds(Read(iStep, &QORJobStep::GetStartTime));
    seen.mFinish = Milliseconds(Read(iStep, &QORJobStep::GetFinishTime));
    seen.mKey = QBase::WideCharToUTF8(iStep.GetChapterKey());
    return seen;
}

/// The job as a model that holds what can be seen of it.
std::string TextOf(const Pair& iPair)
{
    const QORJob& job = *iPair.mpJob.Get();
    JobModel seen = iPair.mModel;
    QORJobInfo info;
    EXPECT_EQ(job.GetJobInfo(&info), S_OK);
    seen.mStatus = info.mStatus;
    seen.mStatusTime = Milliseconds(info.mStatusTime);
    seen.mFinishTime = Milliseconds(info.mFinishTime);
    seen.mbRunning = info.mbRunning;
    seen.mPriority = info.mPriority;
    seen.mPUPriority = info.mPUPriority;
    seen.mTodo.clear();
    seen.mFinished.clear();
    seen.mVisits.clear();
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
    bool bExecuting = false;
    int step = -2;
    int unit = -2;
    DWORD thread = 1;
    QORJobTask* task = nullptr;
    QORJobProcessingStep deadStep{};
    EXPECT_EQ(job.IsExecuting(&bExecuting, &step, &thread, &unit, &task), S_OK);
    const ModelStep none{-1, static_cast<DWORD>(-1), -1};
    const ModelStep front = task == nullptr || seen.mTodo.empty() ? none : seen.mTodo.front();
    EXPECT_EQ(bExecuting, task != nullptr);
    EXPECT_EQ(step, front.mId);
    EXPECT_EQ(thread, front.mThread);
    EXPECT_EQ(unit, front.mUnit);
    step = unit = -2;
    thread = 1;
    EXPECT_EQ(job.IsExecuting(&bExecuting, &step, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(job.IsExecuting(&bExecuting, nullptr, &thread, nullptr, nullptr), S_OK);
    EXPECT_EQ(job.IsExecuting(&bExecuting, nullptr, nullptr, &unit, nullptr), S_OK);
    EXPECT_TRUE(step == front.mId && thread == front.mThread && unit == front.mUnit) << "each asked for alone";
    seen.mTask = iPair.NumberOf(task);
    EXPECT_EQ(job.GetIAmDead(&seen.mbDead, &deadStep), S_OK);
    seen.mDeadStep = deadStep;
    seen.mError = Read(job, &QORJob::GetErrCode);
    seen.mbWarehouse = Read(job, &QORJob::GetIsExecutingInWarehouse);
    for (const int counter : {0, 1, 11, 13})
        seen.mCounters[counter] = static_cast<int>(Builtin::PerfReadings::GetCounter(counter));
    return TextOf(seen);
}

/// What has a name of its own says the same as the status and the lists.
void ExpectQueriesToAgree(const QORJob& iJob, const JobModel& iModel)
{
    bool bError = true;
    EXPECT_EQ(iJob.IsError(&bError), S_OK);
    EXPECT_EQ(bError, iModel.mStatus == 4);
    EXPECT_EQ(iJob.IsStepPausing(), iModel.mStatus == 20);
    EXPECT_EQ(Read(iJob, &QORJob::GetStatus), iModel.mStatus);
    EXPECT_EQ(Read(iJob, &QORJob::IsRunning), iModel.mbRunning);
    EXPECT_EQ(Read(iJob, &QORJob::IsCanceled), iModel.mStatus == 5);
    EXPECT_EQ(Read(iJob, &QORJob::IsStopped), iModel.mStatus == 6);
    EXPECT_EQ(iJob.IsLastComponentExport(), iModel.HasFinished(19));
    EXPECT_EQ(iJob.IsQueryEngineServerAborted(), iModel.mbQueryResult && iModel.HasFinished(4));
}

class JobBesideModel : public JobTest
{
protected:
    void RunSequence(unsigned iSeed)
    {
        Random random(iSeed);
        Pair pair(random);
        std::string history = "seed " + std::to_string(iSeed);
        TakeLog();
        // A snapshot shows 16 steps: no list grows longer.
        for (int i = 0; i < cOperations && pair.mModel.Size() < 14 && pair.mModel.mFinished.size() < 15; ++i)
        {
            const std::size_t choice = random() % 3 == 0 ? cCommonOperations : cAllOperations.size();
            const Operation& operation = cAllOperations[random() % choice];
            const Arguments arguments = PickArguments(random, pair.mModel);
            const int failing = random() % 6 == 0 ? static_cast<int>(random() % 4) + 1 : 0;
            history += std::string("\n") + operation.mName + " step " + std::to_string(arguments.mStep.mId) + " unit " +
                       std::to_string(arguments.mUnit) + " status " + std::to_string(arguments.mStatus) + " task " +
                       std::to_string(arguments.mTask) + (failing != 0 ? " failing " + std::to_string(failing) : "");
            SCOPED_TRACE(history);
            Step(pair, operation, arguments, failing);
            if (HasFailure())
                return;
        }
        pair.mpJob = {};
    }

private:
    void Step(Pair& ioPair, const Operation& iOperation, const Arguments& iArguments, int iFailing)
    {
        JobModel& model = ioPair.mModel;
        model.mNow += 10;
        model.mThreadTime += 7;
        Builtin::Settings::SetClock(TimeOf(model.mNow));
        Builtin::Settings::SetThreadTimes(static_cast<std::uint64_t>(model.mThreadTime) * 3,
                                          0x1'0000'0000u - static_cast<std::uint64_t>(model.mThreadTime) * 2);
        model.mLines.clear();
        model.mCalls.clear();
        ioPair.mContext.mCalls.clear();

        Result result;
        Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, iFailing);
        iOperation.mOnJob(ioPair, iArguments, result);
        Builtin::Faults::FailNth(Builtin::Faults::EnumFault::Allocation, 0);
        std::erase(ioPair.mContext.mCalls, "Release");
        const Texts lines = TakeLog();

        Result expected;
        JobModel after = model;
        iOperation.mOnModel(after, iArguments, expected);
        if (iFailing != 0 && FAILED(result.mCode) && result.mCode != expected.mCode)
        {
            iOperation.mWithoutMemory(model, result.mCode);
            EXPECT_EQ(ioPair.mContext.mCalls, model.mCalls);
        }
        else
        {
            model = after;
            EXPECT_EQ(result, expected);
            EXPECT_EQ(lines, model.mLines);
            EXPECT_EQ(ioPair.mContext.mCalls, model.mCalls);
        }
        EXPECT_EQ(TextOf(ioPair), TextOf(model));
        ExpectQueriesToAgree(*ioPair.mpJob.Get(), model);
    }
};

} // namespace

// With --gtest_shuffle each run takes sequences of its own.
TEST_F(JobBesideModel, DoesAsItsModelDoes)
{
    const auto seed = static_cast<unsigned>(testing::UnitTest::GetInstance()->random_seed());
    const unsigned first = GTEST_FLAG_GET(shuffle) ? seed * cSequences : 0;
    for (unsigned sequence = 0; sequence < cSequences && !HasFailure(); ++sequence)
        RunSequence(first + sequence);
}
