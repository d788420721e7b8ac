// Bytes of the heap per live job with six queued steps.
#include "qorjob.h"

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <vector>

namespace
{

constexpr std::size_t cJobs = 10'000;

void MeasureBytes(benchmark::State& ioState, bool ibInBuffer)
{
    double bytes = 0;
    for (auto _ : ioState)
    {
        std::vector<QORJob*> jobs(cJobs);
        const std::size_t before = mallinfo2().uordblks;
        for (QORJob*& job : jobs)
        {
            QBase::Buffer* buffer = ibInBuffer ? QBase::CreateBuffer(1280, 2, 256, false) : nullptr;
            job = QORJob::NewJob(1, RequestReport, 5, nullptr, buffer);
            job->AddRef();
            for (int step : {StepLoadObjectDefinition, StepSQLGeneration, StepSearchingCache, StepAnalyticalProcessing,
                             StepSendingReportResult, StepCloseJob})
                job->AddStep(new QORJobStep(step), nullptr);
        }
        bytes = static_cast<double>(mallinfo2().uordblks - before) / cJobs;
        for (QORJob* job : jobs)
            job->Release();
    }
    ioState.counters["bytes_per_job"] = bytes;
}

BENCHMARK_CAPTURE(MeasureBytes, Heap, false)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(MeasureBytes, Buffer, true)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
