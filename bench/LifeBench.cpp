// A job's life: made, given six steps, run, released; with some number of jobs alive at any time.
#include "FlowGraphLife.h"
#include "Workloads.h"

#include <benchmark/benchmark.h>

namespace
{

/// Keeps as many lives open as the benchmark's argument says.
template <class Life>
void MeasureLives(benchmark::State& ioState)
{
    Lives<Life> lives(static_cast<std::size_t>(ioState.range(0)));
    for (auto _ : ioState)
        lives.Run(1);
    ioState.SetItemsProcessed(ioState.iterations());
}

// Real time: the two threads' lives are independent, so that twice the work in the same time is what can be had.
#define LIFE_BENCHMARK(life)                                                                            \
    BENCHMARK_TEMPLATE(MeasureLives, life)->Name(#life)->Arg(1)->Arg(1000)->Arg(100000)->UseRealTime(); \
    BENCHMARK_TEMPLATE(MeasureLives, life)->Name(#life)->Arg(1)->Arg(1000)->Threads(2)->UseRealTime()

LIFE_BENCHMARK(HeapLife);
LIFE_BENCHMARK(BufferLife);
LIFE_BENCHMARK(HandWrittenLife);
BENCHMARK_TEMPLATE(MeasureLives, FlowGraphLife)->Name("FlowGraphLife")->Arg(1)->UseRealTime();

} // namespace
