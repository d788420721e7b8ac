// A log line whose router is switched off. The call is the library's own, so this program links its static twin.
#include "base/KernelLog.h"

#include <benchmark/benchmark.h>

namespace
{

void DisabledLogLine(benchmark::State& ioState)
{
    int jobId = 1;
    for (auto _ : ioState)
    {
        benchmark::DoNotOptimize(jobId);
        LogLine(EnumKernelRouter::JobTrace, "QORJob::SetStepFinish: Job:%1 completed step:%2.", jobId, 3);
    }
}
BENCHMARK(DisabledLogLine);

void EmptyLoop(benchmark::State& ioState)
{
    int jobId = 1;
    for (auto _ : ioState)
        benchmark::DoNotOptimize(jobId);
}
BENCHMARK(EmptyLoop);

} // namespace

BENCHMARK_MAIN();
