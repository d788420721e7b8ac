// A job's life: made, given six steps, run, released; with some number of jobs alive at any time.
#include "HandWrittenJob.h"
#include "qorjob.h"

#include <benchmark/benchmark.h>
#include <tbb/flow_graph.h>

#include <array>
#include <memory>
#include <optional>
#include <vector>

namespace
{

constexpr std::array<int, 6> cSteps = {StepLoadObjectDefinition, StepSQLGeneration,       StepSearchingCache,
                                       StepAnalyticalProcessing, StepSendingReportResult, StepCloseJob};
constexpr int cUnit = 1;

/// Keeps as many lives open as the benchmark's argument says: each turn begins one and ends the oldest.
template <class Life>
void MeasureLives(benchmark::State& ioState)
{
    std::vector<Life> alive(static_cast<std::size_t>(ioState.range(0)));
    for (Life& life : alive)
        life.Begin();
    std::size_t oldest = 0;
    for (auto _ : ioState)
    {
        alive[oldest].RunAndEnd();
        alive[oldest].Begin();
        oldest = oldest + 1 == alive.size() ? 0 : oldest + 1;
    }
    for (Life& life : alive)
        life.RunAndEnd();
    ioState.SetItemsProcessed(ioState.iterations());
}

class LibraryLife
{
public:
    void RunAndEnd()
    {
        int step = 0;
        for (;;)
        {
            mpJob->GetCurrentStepIdToRun(&step, nullptr);
            if (step == StepNoMore)
                break;
            mpJob->SetStepStart(step, cUnit, nullptr);
            mpJob->SetStepFinish(step, cUnit, nullptr);
        }
        mpJob->Release();
    }

protected:
    void Begin(QBase::Buffer* iBuffer)
    {
        mpJob = QORJob::NewJob(1, RequestReport, 5, nullptr, iBuffer);
        mpJob->AddRef();
        for (int step : cSteps)
            mpJob->AddStep(new QORJobStep(step), nullptr);
    }

private:
    QORJob* mpJob = nullptr;
};

class HeapLife : public LibraryLife
{
public:
    void Begin() { LibraryLife::Begin(nullptr); }
};

class BufferLife : public LibraryLife
{
public:
    BufferLife() : mpBuffer(QBase::CreateBuffer(2048, 2, 2048, true)) {}
    void Begin() { LibraryLife::Begin(mpBuffer.get()); }

private:
    struct Freer
    {
        void operator()(QBase::Buffer* iBuffer) const { iBuffer->Free(); }
    };

    std::unique_ptr<QBase::Buffer, Freer> mpBuffer;
};

class HandWrittenLife
{
public:
    void Begin()
    {
        mpJob = new HandWrittenJob(1, 5);
        mpJob->AddRef();
        for (int step : cSteps)
            mpJob->AddStep(std::make_unique<HandWrittenJob::Step>(step));
    }

    void RunAndEnd()
    {
        while (mpJob->NextStep() != 0)
        {
            mpJob->Start(cUnit);
            mpJob->Finish();
        }
        mpJob->Release();
    }

private:
    HandWrittenJob* mpJob = nullptr;
};

/// A chain of six nodes in a flow graph, which keeps neither times nor status nor history.
class FlowGraphLife
{
public:
    void Begin()
    {
        mGraph.emplace();
        for (std::size_t i = 0; i < cSteps.size(); ++i)
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
    std::array<std::optional<Node>, cSteps.size()> mNodes;
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
