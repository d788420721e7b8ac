// One dispatch cycle (ask, start, finish) against what it can't avoid, and how it grows with the list.
#include "qorjob.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <list>
#include <vector>

namespace
{

constexpr int cCycles = 1024; // in one measured turn: the times shown are for all of them
constexpr int cUnit = 1;

/// Processor time of the calling thread: on a shared machine the wall clock also tells what others do.
double ThreadSeconds()
{
    timespec used;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
}

QORJob* MakeJob(int iSteps)
{
    static const QORJobProcessingStep cSteps[] = {StepSQLGeneration, StepAnalyticalProcessing, StepSendingReportResult};
    QORJob* job = QORJob::NewJob(1, RequestReport, 5, nullptr, nullptr);
    job->AddRef();
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

/// `iLength` steps are queued and half of them run, in as many jobs as it takes.
void MeasureCycles(benchmark::State& ioState, int iLength)
{
    const int cycles = std::max(1, iLength / 2);
    const int jobs = cCycles / cycles;
    std::vector<QORJob*> made(static_cast<std::size_t>(jobs));
    for (auto _ : ioState)
    {
        std::generate(made.begin(), made.end(), [&] { return MakeJob(iLength); });
        const double start = ThreadSeconds();
        for (QORJob* job : made)
            RunCycles(*job, cycles);
        ioState.SetIterationTime(ThreadSeconds() - start);
        for (QORJob* job : made)
            job->Release();
    }
}

void DispatchCycle(benchmark::State& ioState) { MeasureCycles(ioState, 2 * cCycles); }
BENCHMARK(DispatchCycle)->UseManualTime();

void DispatchCycleOfList(benchmark::State& ioState) { MeasureCycles(ioState, static_cast<int>(ioState.range(0))); }
BENCHMARK(DispatchCycleOfList)->Arg(2)->Arg(16)->Arg(128)->Arg(1024)->UseManualTime();

/// The lock pairs, clock readings, thread-time readings and the node move of one cycle, on records of a step's size.
void DispatchFloor(benchmark::State& ioState)
{
    const QSynch::CriticalSectionPtr lock = QSynch::MakeCriticalSection(4);
    std::list<QORJobStep*> todo;
    std::list<QORJobStep*> finished;
    FILETIME times[4] = {};
    for (auto _ : ioState)
    {
        for (int i = 0; i < 2 * cCycles; ++i)
            todo.push_back(new QORJobStep(StepSQLGeneration));
        const double start = ThreadSeconds();
        for (int i = 0; i < cCycles; ++i)
        {
            {
                QSynch::CriticalSection::SmartLock hold(lock.get());
                benchmark::DoNotOptimize(todo.front());
            }
            {
                QSynch::CriticalSection::SmartLock hold(lock.get());
                todo.front()->SetStartTime(QDataType::DateTime::NowUTC());
                GetCurrentThreadTimes(&times[0], &times[1]);
            }
            {
                QSynch::CriticalSection::SmartLock hold(lock.get());
                GetCurrentThreadTimes(&times[2], &times[3]);
                todo.front()->SetFinishTime(QDataType::DateTime::NowUTC());
                finished.splice(finished.begin(), todo, todo.begin());
            }
        }
        ioState.SetIterationTime(ThreadSeconds() - start);
        finished.splice(finished.end(), todo);
        for (QORJobStep* step : finished)
            delete step;
        finished.clear();
    }
    benchmark::DoNotOptimize(times);
}
BENCHMARK(DispatchFloor)->UseManualTime();

} // namespace
