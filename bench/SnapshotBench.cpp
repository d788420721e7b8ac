// What a look at a job costs, and what workers pay for being watched.
#include "qorjob.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

namespace
{

constexpr int cUnit = 1;
constexpr std::size_t cLiveJobs = 1000;
constexpr auto cPollPeriod = std::chrono::milliseconds(100);

using JobPtr = QBase::PtrI<QORJob>;

JobPtr MakeJob(int iSteps)
{
    JobPtr job(QORJob::NewJob(1, RequestReport, 5, nullptr, nullptr));
    for (int i = 0; i < iSteps - 1; ++i)
        job->AddStepToRun(new QORJobStep(i % 2 == 0 ? StepSQLGeneration : StepAnalyticalProcessing), nullptr);
    job->AddStepToRun(new QORJobStep(StepCloseJob), nullptr);
    return job;
}

void RunSteps(QORJob& ioJob, int iSteps)
{
    int step = 0;
    for (int i = 0; i < iSteps; ++i)
    {
        ioJob.GetCurrentStepIdToRun(&step, nullptr);
        ioJob.SetStepStart(step, cUnit, nullptr);
        ioJob.SetStepFinish(step, cUnit, nullptr);
    }
}

/// Half way: six steps done and six to do, two visits, a query's text and its rows.
JobPtr MakeJobHalfWay()
{
    JobPtr job = MakeJob(12);
    job->SetOwner(QORJOB_W("benchmark"));
    job->SetDescription(QBase::wstring(QORJOB_W("Report request: sales by region and month")));
    job->SetPUEnter(cUnit, nullptr, 0);
    job->SetPUStart(cUnit);
    job->SetPUExit(cUnit, nullptr);
    job->SetPUEnter(cUnit + 1, nullptr, 0);
    job->SetJobData(
        new QORStringData(0, const_cast<QBase::WCHAR*>(QORJOB_W("SELECT region, sum(sales) FROM facts GROUP BY 1")),
                          QORStringData::COPY_STRING));
    RunSteps(*job.Get(), 6);
    return job;
}

template <class Info, HRESULT (QORJob::*cGet)(Info*) const>
void Snapshot(benchmark::State& ioState)
{
    const JobPtr job = MakeJobHalfWay();
    Info info;
    for (auto _ : ioState)
    {
        (job.Get()->*cGet)(&info);
        benchmark::DoNotOptimize(info);
    }
}
BENCHMARK_TEMPLATE(Snapshot, QORJobInfo, &QORJob::GetJobInfo)->Name("SnapshotWhole");
BENCHMARK_TEMPLATE(Snapshot, QORJobBrowsingInfo, &QORJob::GetJobBrowsingInfo)->Name("SnapshotBrowsing");
BENCHMARK_TEMPLATE(Snapshot, QORJobBrowsingInfo2, &QORJob::GetJobBrowsingInfo2)->Name("SnapshotBrowsing2");

/// A snapshot copied under a lock: the same bytes without a job.
void SnapshotCopy(benchmark::State& ioState)
{
    const JobPtr job = MakeJobHalfWay();
    QORJobInfo info;
    QORJobInfo copy;
    job->GetJobInfo(&info);
    const QSynch::CriticalSectionPtr lock = QSynch::MakeCriticalSection(4);
    for (auto _ : ioState)
    {
        QSynch::CriticalSection::SmartLock hold(lock.get());
        copy = info;
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(SnapshotCopy);

/// The live jobs as a server has them: who takes one out of the table holds a reference.
class JobTable
{
public:
    JobTable() : mSlots(cLiveJobs)
    {
        for (Slot& slot : mSlots)
            slot.mpJob = MakeJob(6);
    }

    /// One life: runs the slot's job to its end and puts a new one there.
    void Live(std::size_t iSlot)
    {
        Slot& slot = mSlots[iSlot];
        RunSteps(*slot.mpJob.Get(), 6);
        JobPtr next = MakeJob(6);
        const std::lock_guard hold(slot.mMutex);
        std::swap(slot.mpJob, next);
    }

    void Poll(QORJobInfo& oInfo)
    {
        for (Slot& slot : mSlots)
        {
            JobPtr job;
            {
                const std::lock_guard hold(slot.mMutex);
                job = slot.mpJob;
            }
            job->GetJobInfo(&oInfo);
            benchmark::DoNotOptimize(oInfo);
        }
    }

private:
    struct Slot
    {
        std::mutex mMutex;
        JobPtr mpJob;
    };

    std::vector<Slot> mSlots;
};

void MeasureWorker(benchmark::State& ioState, bool ibWatched)
{
    JobTable table;
    std::atomic<bool> bOver{!ibWatched};
    std::thread monitor([&] {
        QORJobInfo info;
        while (!bOver)
        {
            const auto next = std::chrono::steady_clock::now() + cPollPeriod;
            table.Poll(info);
            std::this_thread::sleep_until(next);
        }
    });
    for (auto _ : ioState)
    {
        const auto start = std::chrono::steady_clock::now();
        for (std::size_t slot = 0; slot < cLiveJobs; ++slot)
            table.Live(slot);
        ioState.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    bOver = true;
    monitor.join();
}

// The time that passes: what a worker waits for the monitor's hold of a job counts too. A turn is a life in each slot.
void WorkerAlone(benchmark::State& ioState) { MeasureWorker(ioState, false); }
BENCHMARK(WorkerAlone)->UseManualTime()->MinTime(1);

void WorkerWatched(benchmark::State& ioState) { MeasureWorker(ioState, true); }
BENCHMARK(WorkerWatched)->UseManualTime()->MinTime(1);

} // namespace
