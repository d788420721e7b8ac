// A job's life: made, given six steps, run, released; with some number of jobs alive at any time.
#include "Workloads.h"

#include <benchmark/benchmark.h>
#include <tbb/flow_graph.h>

#include <optional>

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

/// A chain of six nodes in a flow graph, which keeps neither times nor status nor history.
class FlowGraphLife
{
public:
    void Begin()
    {
        mGraph.emplace();
        for (std::size_t i = 0; i < mNodes.size(); ++i)
        {
            mNodes[i].emplace(*mGraph, [](const tbb::flow::continue_msg&) {});
            if (i > 0)
                tbb::flow::make_edge(*mNodes[i - 1], *mNodes[i]);
        }
    }

    void RunAndEnd()
    {
        mNodes.front()->try_put(tbb::flow::continue_msg());
        mGraph->wait_for_all();
        for (auto& node : mNodes)
            node.reset();
        mGraph.reset();
    }

private:
    using Node = tbb::flow::continue_node<tbb::flow::continue_msg>;

    std::optional<tbb::flow::graph> mGraph;
    std::array<std::optional<Node>, cLifeSteps.size()> mNodes;
};

// Real time: the two threads' lives are independent, so that twice the work in the same time is what can be had.
#define LIFE_BENCHMARK(life)                                                                            \
    BENCHMARK_TEMPLATE(MeasureLives, life)->Name(#life)->Arg(1)->Arg(1000)->Arg(100000)->UseRealTime(); \
    BENCHMARK_TEMPLATE(MeasureLives, life)->Name(#life)->Arg(1)->Arg(1000)->Threads(2)->UseRealTime()

LIFE_BENCHMARK(HeapLife);
LIFE_BENCHMARK(BufferLife);
LIFE_BENCHMARK(HandWrittenLife);
BENCHMARK_TEMPLATE(MeasureLives, FlowGraphLife)->Name("FlowGraphLife")->Arg(1)->UseRealTime();

} // namespace
