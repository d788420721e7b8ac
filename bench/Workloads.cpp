#include "Workloads.h"

#include "HandWrittenJob.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace
{

constexpr int cUnit = 1;

} // namespace

void BecomeMultithreaded()
{
    std::thread([] {}).join();
}

QBase::PtrI<QORJob> MakeJobOfSteps(int iSteps)
{
    static constexpr int cSteps[] = {StepSQLGeneration, StepAnalyticalProcessing, StepSendingReportResult};
    QBase::PtrI<QORJob> job(QORJob::NewJob(1, RequestReport, 5, nullptr, nullptr));
    for (int i = 0; i < iSteps - 1; ++i)
        job->AddStepToRun(new QORJobStep(cSteps[i % 3]), nullptr);
    job->AddStepToRun(new QORJobStep(StepCloseJob), nullptr);
    return job;
}

void RunCycles(QORJob& ioJob, int iCycles)
{
    int step = 0;
    for (int i = 0; i < iCycles; ++i)
    {
        ioJob.GetCurrentStepIdToRun(&step, nullptr);
        ioJob.SetStepStart(step, cUnit, nullptr);
        ioJob.SetStepFinish(step, cUnit, nullptr);
    }
}

DispatchCycles::DispatchCycles(int iMost, int iLength)
    : mCyclesPerJob(std::max(1, iLength / 2)), mJobs(static_cast<std::size_t>(iMost / mCyclesPerJob))
{
    std::generate(mJobs.begin(), mJobs.end(), [&] { return MakeJobOfSteps(iLength); });
}

void DispatchCycles::Run(int iCount)
{
    for (auto job = mJobs.begin(); iCount > 0; ++job, iCount -= mCyclesPerJob)
        RunCycles(*job->Get(), std::min(iCount, mCyclesPerJob));
}

DispatchFloor::DispatchFloor(int iMost)
{
    for (int i = 0; i < 2 * iMost; ++i)
        mTodo.push_back(std::make_unique<QORJobStep>(StepSQLGeneration));
}

void DispatchFloor::Run(int iCount)
{
    for (int i = 0; i < iCount; ++i)
    {
        {
            QSynch::CriticalSection::SmartLock hold(mpLock.get());
            mpAsked = mTodo.front().get();
        }
        {
            QSynch::CriticalSection::SmartLock hold(mpLock.get());
            mTodo.front()->SetStartTime(QDataType::DateTime::NowUTC());
            GetCurrentThreadTimes(&mTimes[0], &mTimes[1]);
        }
        {
            QSynch::CriticalSection::SmartLock hold(mpLock.get());
            GetCurrentThreadTimes(&mTimes[2], &mTimes[3]);
            mTodo.front()->SetFinishTime(QDataType::DateTime::NowUTC());
            mFinished.splice(mFinished.begin(), mTodo, mTodo.begin());
        }
    }
}

QORJob* NewLifeJob(QBase::Buffer* iBuffer)
{
    QORJob* const job = QORJob::NewJob(1, RequestReport, 5, nullptr, iBuffer);
    for (int step : cLifeSteps)
        job->AddStep(iBuffer != nullptr ? QORJobStep::NewStep(step, iBuffer) : new QORJobStep(step), nullptr);
    return job;
}

void LibraryLife::Make(QBase::Buffer* iBuffer)
{
    mpJob = NewLifeJob(iBuffer);
    mpJob->AddRef();
}

void LibraryLife::AskForStep() { mpJob->GetCurrentStepIdToRun(&mStep, nullptr); }

bool LibraryLife::RunStep()
{
    mpJob->SetStepStart(mStep, cUnit, nullptr);
    mpJob->SetStepFinish(mStep, cUnit, nullptr);
    AskForStep();
    return mStep != StepNoMore;
}

void LibraryLife::End() { mpJob->Release(); }

void LibraryLife::RunAndEnd()
{
    while (RunStep())
        ;
    End();
}

void UnitLife::Begin()
{
    Make(nullptr);
    GetJob().SetRunning(true, nullptr);
    GetJob().SetPUEnter(cUnit, QORJOB_W(""), 0);
    GetJob().EnqueuePulse();
    mbQueued = true;
}

bool UnitLife::RunStep()
{
    if (std::exchange(mbQueued, false))
    {
        GetJob().DequeuePulse();
        GetJob().SetPUStart(cUnit);
        AskForStep();
    }
    GetJob().SetCurrentStepForStatistics(GetStep());
    return LibraryLife::RunStep();
}

void UnitLife::End()
{
    GetJob().SetPUExit(cUnit, QORJOB_W(""));
    GetJob().UpdateJobCloseCounters();
    LibraryLife::End();
}

void UnitLife::RunAndEnd()
{
    while (RunStep())
        ;
    End();
}

void HandWrittenLife::Begin()
{
    mpJob = new HandWrittenJob(1, 5);
    mpJob->AddRef();
    for (int step : cLifeSteps)
        mpJob->AddStep(std::make_unique<HandWrittenJob::Step>(step));
    mpJob->NextStep();
}

bool HandWrittenLife::RunStep()
{
    mpJob->Start(cUnit);
    mpJob->Finish();
    return mpJob->NextStep() != 0;
}

void HandWrittenLife::End() { mpJob->Release(); }

void HandWrittenLife::RunAndEnd()
{
    while (RunStep())
        ;
    End();
}
