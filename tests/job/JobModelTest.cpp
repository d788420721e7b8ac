// A job beside its model: random operations, now and then without memory, and all that can be seen after each.
#include "tests/job/JobModel.h"

#include "report/QORJobError.h"
#include "report/QORJobInfo.h"
#include "task/QORJobTask.h"

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
        Settings::SetClock(TimeOf(0));
        PerfReadings::Reset();
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
    {"AddStepToRun", Add<&QORJob::AddStepToRun>, [](JobModel& m, A a, R r) { m.AddStepToRun(a.mStep, r.mValue); }},
    {"SetStepStart",
     [](Pair& p, A a, R r) { r.mCode = p.mpJob->SetStepStart(a.mStep.mId, a.mUnit, p.TaskOf(a.mTask)); },
     [](JobModel& m, A a, R) { m.SetStepStart(a.mStep.mId, a.mUnit, a.mTask); }},
    {"SetStepFinish",
     [](Pair& p, A a, R r) { r.mCode = p.mpJob->SetStepFinish(a.mStep.mId, a.mUnit, p.TaskOf(a.mTask)); },
     [](JobModel& m, A a, R r) { r.mCode = m.SetStepFinish(a.mStep.mId, a.mUnit, a.mTask, a.mTask == 2); }},
    {"GetCurrentStepIdToRun", [](Pair& p, A, R r) { r.mCode = p.mpJob->GetCurrentStepIdToRun(&r.mValue, &r.mOther); },
     [](JobModel& m, A, R r) { r.mValue = m.GetCurrentStepIdToRun(r.mOther); },
     [](JobModel& m, HRESULT) {
         if (m.BeginDispatch() && m.mStatus == 17 && !m.mTodo.empty())
             m.mStatus = 0; // a requeued job that has steps needs none
     }},
    {"AddStep", Add<&QORJob::AddStep>, [](JobModel& m, A a, R r) { m.AddStep(a.mStep, r.mValue); }},
    {"AddStepAtFront", Add<&QORJob::AddStepAtFront>, [](JobModel& m, A a, R r) { m.AddStepAt(0, a.mStep, r.mValue); }},
    {"AddStepAfterThis", Add<&QORJob::AddStepAfterThis>,
     [](JobModel& m, A a, R r) { m.AddStepAt(1, a.mStep, r.mValue); }},
    {"AddStepAfterThis(id)", [](Pair& p, A a, R r) { r.mCode = p.mpJob->AddStepAfterThis(a.mStep.mId, &r.mValue); },
     [](JobModel& m, A a, R r) { m.AddStepAt(1, {a.mStep.mId}, r.mValue); }},
    {"AddCommonStepsAtRebuild",
     [](Pair& p, A a, R r) {
         r.mCode = p.mpJob->AddCommonStepsAtRebuild(static_cast<EnumKDXDocumentManipulationType>(a.mNumber));
     },
     [](JobModel& m, A a, R) { m.AddCommonSteps(a.mNumber); }},
    {"SetStepComplete", [](Pair& p, A, R r) { r.mCode = p.mpJob->SetStepComplete(); },
     [](JobModel& m, A, R r) { r.mCode = m.SetStepComplete(); }},
    {"SetStepComplete(id)", [](Pair& p, A a, R r) { r.mCode = p.mpJob->SetStepComplete(a.mStep.mId); },
     [](JobModel& m, A a, R r) { r.mCode = m.SetStepComplete(a.mStep.mId); }},
    {"ClearTodoSteps", [](Pair& p, A, R r) { r.mCode = p.mpJob->ClearTodoSteps(); },
     [](JobModel& m, A, R) { m.mTodo.clear(); }},
    {"RemoveStep",
     [](Pair& p, A a, R r) { r.mCode = p.mpJob->RemoveStep(static_cast<QORJobProcessingStep>(a.mStep.mId)); },
     [](JobModel& m, A a, R) { m.RemoveStep(a.mStep.mId); }},
    {"RenewCurrentStep", [](Pair& p, A, R r) { r.mCode = p.mpJob->RenewCurrentStep(); },
     [](JobModel& m, A, R) { m.RenewCurrentStep(); },
     [](JobModel& m, HRESULT iCode) {
         if (iCode == E_OUTOFMEMORY) // the step; its entry needs none
             m.mTodo.pop_front();
     }},
    {"GetCurrentStepId", [](Pair& p, A, R r) { r.mCode = p.mpJob->GetCurrentStepId(&r.mValue, &r.mOther); },
     [](JobModel& m, A, R r) { r.mValue = m.GetCurrentStepId(r.mOther); }},
    {"SetIsExecutingInWarehouse", [](Pair& p, A a, R r) { r.mCode = p.mpJob->SetIsExecutingInWarehouse(a.mbFlag); },
     [](JobModel& m, A a, R) { m.mbWarehouse = a.mbFlag; }},
    {"SetStatus", [](Pair& p, A a, R r) { r.mCode = p.mpJob->SetStatus(a.mStatus, &r.mValue); },
     [](JobModel& m, A a, R r) { r.mCode = m.SetStatus(a.mStatus, r.mValue); }},
    {"SetRunning",
     [](Pair& p, A a, R r) {
         bool bWas = false;
         r.mCode = p.mpJob->SetRunning(a.mbFlag, &bWas);
         r.mValue = bWas;
     },
     [](JobModel& m, A a, R r) { r.mValue = m.SetRunning(a.mbFlag); }},
    {"SetIAmDead",
     [](Pair& p, A a, R r) {
         bool bWas = false;
         r.mCode = p.mpJob->SetIAmDead(a.mbFlag, &bWas, static_cast<QORJobProcessingStep>(a.mStep.mId));
         r.mValue = bWas;
     },
     [](JobModel& m, A a, R r) { r.mValue = m.SetIAmDead(a.mbFlag, a.mStep.mId); }},
    {"SetIAmDead(null)", [](Pair& p, A a, R r) { r.mCode = p.mpJob->SetIAmDead(a.mbFlag, nullptr, StepFindCube); },
     [](JobModel&, A, R r) { r.mCode = E_POINTER; }},
    {"Cancel", [](Pair& p, A, R r) { r.mCode = p.mpJob->Cancel(); }, [](JobModel& m, A, R r) { r.mCode = m.Cancel(); },
     [](JobModel& m, HRESULT) {
         bool bReports = false;
         m.BeginCancel(bReports);
     }},
    {"PauseCurrentStep", [](Pair& p, A, R) { p.mpJob->PauseCurrentStep(); },
     [](JobModel& m, A, R) { m.PauseCurrentStep(); }},
    {"ResetStatusBeforeResumeExecution", [](Pair& p, A, R) { p.mpJob->ResetStatusBeforeResumeExecution(); },
     [](JobModel& m, A, R) { m.Resume(); }},
    {"StopRunningIfHang",
     [](Pair& p, A a, R r) {
         p.mpJob->SetCurrentStepForStatistics(a.mNumber);
         r.mCode = p.mpJob->StopRunningIfHang(a.mUnit, 0, p.TaskOf(a.mTask));
     },
     [](JobModel& m, A a, R r) {
         m.mCurrentStep = a.mNumber;
         r.mCode = m.StopRunningIfHang(a.mTask);
     }},
    {"GetJobErrorBuilder",
     [](Pair& p, A a, R r) {
         try
         {
             r.mCode = p.mpJob->GetJobErrorBuilder(a.mError) ? S_OK : E_OUTOFMEMORY;
         }
         catch (const std::bad_alloc&)
         {
             r.mCode = E_FAIL;
         }
     },
     [](JobModel& m, A a, R) { m.AddError(a.mError); },
     [](JobModel& m, HRESULT iCode) {
         if (iCode != E_OUTOFMEMORY) // there was a builder
             m.BeginError();
     }},
    {"SetPUEnter", [](Pair& p, A a, R r) { r.mCode = p.mpJob->SetPUEnter(a.mUnit, nullptr, 0); },
     [](JobModel& m, A a, R) { m.SetPUEnter(a.mUnit); }},
    {"SetPUStart", [](Pair& p, A a, R r) { r.mCode = p.mpJob->SetPUStart(a.mUnit); },
     [](JobModel& m, A a, R) { m.SetPUStart(a.mUnit); }},
    {"SetPUExit", [](Pair& p, A a, R r) { r.mCode = p.mpJob->SetPUExit(a.mUnit, nullptr); },
     [](JobModel& m, A a, R) { m.SetPUExit(a.mUnit); }},
    {"GetPUId", [](Pair& p, A, R r) { r.mCode = p.mpJob->GetPUId(&r.mValue); },
     [](JobModel& m, A, R r) { r.mCode = m.GetPUId(r.mValue); }},
    {"SetPriority", [](Pair& p, A a, R r) { r.mCode = p.mpJob->SetPriority(a.mNumber, &r.mValue); },
     [](JobModel& m, A a, R r) { r.mValue = m.SetPriority(a.mNumber); }},
    {"SetPUPriority", [](Pair& p, A a, R r) { r.mCode = p.mpJob->SetPUPriority(a.mNumber); },
     [](JobModel& m, A a, R) { m.SetPUPriority(a.mNumber); }},
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
        seen.mCounters[counter] = static_cast<int>(PerfReadings::GetCounter(counter));
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
        Settings::SetClock(TimeOf(model.mNow));
        Settings::SetThreadTimes(static_cast<std::uint64_t>(model.mThreadTime) * 3,
                                 0x1'0000'0000u - static_cast<std::uint64_t>(model.mThreadTime) * 2);
        model.mLines.clear();
        model.mCalls.clear();
        ioPair.mContext.mCalls.clear();

        Result result;
        Faults::FailNth(Faults::EnumFault::Allocation, iFailing);
        iOperation.mOnJob(ioPair, iArguments, result);
        Faults::FailNth(Faults::EnumFault::Allocation, 0);
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
