// Bytes of the heap per live job with six queued steps, and what a piece of an arena costs.
#include "qorjob.h"

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <memory_resource>
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
            QBase::Buffer* buffer = ibInBuffer ? QBase::CreateBuffer(640, 2, 256, false) : nullptr;
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

// The arena's users may be several threads; the standard library's serves one.
constexpr int cPieces = 10'000;
constexpr std::size_t cPieceBytes = 48;
constexpr std::size_t cArenaBytes = cPieces * (cPieceBytes + 16);

void TakePieces(benchmark::State& ioState, std::pmr::memory_resource& ioArena)
{
    for (int piece = 0; piece < cPieces; ++piece)
        benchmark::DoNotOptimize(ioArena.allocate(cPieceBytes));
    ioState.SetItemsProcessed(ioState.items_processed() + cPieces);
}

void ArenaPieces(benchmark::State& ioState)
{
    QBase::Buffer* const arena = QBase::CreateBuffer(cArenaBytes, 2, 4096, true);
    for (auto _ : ioState)
    {
        TakePieces(ioState, *arena);
        arena->Destroy();
    }
    arena->Free();
}

void MonotonicPieces(benchmark::State& ioState)
{
    std::vector<std::byte> memory(cArenaBytes);
    std::pmr::monotonic_buffer_resource arena(memory.data(), memory.size());
    for (auto _ : ioState)
    {
        TakePieces(ioState, arena);
        arena.release();
    }
}

BENCHMARK(ArenaPieces);
BENCHMARK(MonotonicPieces);

} // namespace
