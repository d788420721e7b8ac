// The children of a document that end one after the other: the time that one takes among many.
#include "qorjob.h"

#include <benchmark/benchmark.h>

namespace
{

/// A turn is all children of one job; those that were added first end first, or last.
template <bool cbInOrder>
void MeasureCompletions(benchmark::State& ioState)
{
    const auto count = static_cast<int>(ioState.range(0));
    while (ioState.KeepRunningBatch(count))
    {
        ioState.PauseTiming();
        QBase::PtrI<QORJob> job(QORJob::NewJob(1, RequestDocument, 5, nullptr, nullptr));
        for (int child = 0; child < count; ++child)
            job->AddChild(child);
        ioState.ResumeTiming();
        for (int i = 0; i < count; ++i)
            job->MarkChildComplete(cbInOrder ? i : count - 1 - i);
        ioState.PauseTiming();
        job = {};
        ioState.ResumeTiming();
    }
}

BENCHMARK_TEMPLATE(MeasureCompletions, true)->Name("CompleteChildren")->Arg(1000)->Arg(10000);
BENCHMARK_TEMPLATE(MeasureCompletions, false)->Name("CompleteChildrenReversed")->Arg(1000)->Arg(10000);

} // namespace
