// How a job's cost grows: with the steps that it has, and with the jobs that are alive.
#include "ThreadSeconds.h"
#include "Workloads.h"

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstddef>
#include <vector>

namespace
{

constexpr int cSteps = 1024; // in one turn: the times shown are for all of them, and for the lives that they take

void StepsOfLife(benchmark::State& ioState)
{
    const auto steps = static_cast<int>(ioState.range(0));
    for (auto _ : ioState)
        for (int left = cSteps; left > 0; left -= steps)
            RunCycles(*MakeJobOfSteps(steps).Get(), steps);
}
BENCHMARK(StepsOfLife)->Arg(2)->Arg(16)->Arg(128)->Arg(1024);

/// Many jobs of six steps, made and released in turn; one of the two is measured, and its time is that of one job.
template <class Life, bool cbReleased>
void LiveJobs(benchmark::State& ioState)
{
    std::vector<Life> lives(static_cast<std::size_t>(ioState.range(0)));
    for (auto _ : ioState)
    {
        malloc_trim(0); // each turn pays for fresh memory, as the first one does
        const double start = ThreadSeconds();
        for (Life& life : lives)
            life.Begin();
        const double made = ThreadSeconds();
        for (Life& life : lives)
            life.End();
        const double released = ThreadSeconds();
        ioState.SetIterationTime((cbReleased ? released - made : made - start) / static_cast<double>(lives.size()));
    }
}

void UpToAMillion(benchmark::internal::Benchmark* ioBenchmark)
{
    ioBenchmark->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Iterations(3)->UseManualTime();
}

BENCHMARK_TEMPLATE(LiveJobs, HeapLife, false)->Name("LiveJobsMade")->Apply(UpToAMillion);
BENCHMARK_TEMPLATE(LiveJobs, HeapLife, true)->Name("LiveJobsReleased")->Apply(UpToAMillion);
BENCHMARK_TEMPLATE(LiveJobs, HandWrittenLife, false)->Name("HandWrittenJobsMade")->Apply(UpToAMillion);
BENCHMARK_TEMPLATE(LiveJobs, HandWrittenLife, true)->Name("HandWrittenJobsReleased")->Apply(UpToAMillion);

} // namespace
