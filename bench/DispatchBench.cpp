// One dispatch cycle (ask, start, finish) against what it can't avoid, and how it grows with the list.
#include "ThreadSeconds.h"
#include "Workloads.h"

#include <benchmark/benchmark.h>

namespace
{

constexpr int cCycles = 1024; // in one measured turn: the times shown are for all of them

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
