// What a look at a job costs.
#include "Workloads.h"

#include <benchmark/benchmark.h>

namespace
{

constexpr int cUnit = 1;

/// Half way: six steps done and six to do, two visits, a query's text and its rows.
QBase::PtrI<QORJob> MakeJobHalfWay()
{
    QBase::PtrI<QORJob> job = MakeJobOfSteps(12);
    job->SetOwner(QORJOB_W("benchmark"));
    job->SetDescription(QBase::wstring(QORJOB_W("Report request: sales by region and month")));
    job->SetPUEnter(cUnit, nullptr, 0);
    job->SetPUStart(cUnit);
    job->SetPUExit(cUnit, nullptr);
    job->SetPUEnter(cUnit + 1, nullptr, 0);
    job->SetJobData(
        new QORStringData(0, const_cast<QBase::WCHAR*>(QORJOB_W("SELECT region, sum(sales) FROM facts GROUP BY 1")),
                          QORStringData::COPY_STRING));
    RunCycles(*job.Get(), 6);
    return job;
}

template <class Info, HRESULT (QORJob::*cGet)(Info*) const>
void Snapshot(benchmark::State& ioState)
{
    const QBase::PtrI<QORJob> job = MakeJobHalfWay();
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
    const QBase::PtrI<QORJob> job = MakeJobHalfWay();
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

} // namespace
