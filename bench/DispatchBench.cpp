// One dispatch cycle (ask, start, finish) against what it can't avoid, and how it grows with the list.
#include "Workloads.h"

#include <benchmark/benchmark.h>

#include <ctime>

namespace
{

constexpr int cCycles = 1024; // in one measured turn: the times shown are for all of them

/// Processor time of the calling thread: on a shared machine the wall clock also tells what others do.
double ThreadSeconds()
{
    timespec used;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
}

template <class Cycles, class... Arguments>
void MeasureCycles(benchmark::State& ioState, Arguments... iArguments)
{
    for (auto _ : ioState)
    {
        Cycles cycles(cCycles, iArguments...);
        const double start = ThreadSeconds();
        cycles.Run(cCycles);
        ioState.SetIterationTime(ThreadSeconds() - start);
    }
}

void DispatchCycle(benchmark::State& ioState) { MeasureCycles<DispatchCycles>(ioState, 2 * cCycles); }
BENCHMARK(DispatchCycle)->UseManualTime();

void DispatchCycleOfList(benchmark::State& ioState)
{
    MeasureCycles<DispatchCycles>(ioState, static_cast<int>(ioState.range(0)));
}
BENCHMARK(DispatchCycleOfList)->Arg(2)->Arg(16)->Arg(128)->Arg(1024)->UseManualTime();

void MeasureFloor(benchmark::State& ioState) { MeasureCycles<DispatchFloor>(ioState); }
BENCHMARK(MeasureFloor)->Name("DispatchFloor")->UseManualTime();

} // namespace
