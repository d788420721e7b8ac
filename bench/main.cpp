#include "Ratios.h"
#include "Workloads.h"

namespace
{

const std::vector<Ratio> cRatios = {
    {"DispatchCycle/manual_time", "DispatchFloor/manual_time", 1.1},
    {"DispatchCycleOfList/16/manual_time", "DispatchCycleOfList/2/manual_time", 0},
    {"DispatchCycleOfList/128/manual_time", "DispatchCycleOfList/2/manual_time", 0},
    {"DispatchCycleOfList/1024/manual_time", "DispatchCycleOfList/2/manual_time", 0},
    {"HeapLife/1/real_time", "HandWrittenLife/1/real_time", 1.2},
    {"HeapLife/1000/real_time", "HandWrittenLife/1000/real_time", 1.2},
    {"HeapLife/100000/real_time", "HandWrittenLife/100000/real_time", 1.2},
    {"BufferLife/1/real_time", "HandWrittenLife/1/real_time", 1.0},
    {"BufferLife/1000/real_time", "HandWrittenLife/1000/real_time", 1.0},
    {"BufferLife/100000/real_time", "HandWrittenLife/100000/real_time", 1.0},
    {"HeapLife/1/real_time", "FlowGraphLife/1/real_time", 0},
    {"HeapLife/1/real_time/threads:2", "HeapLife/1/real_time", 1.8, true},
    {"BufferLife/1/real_time/threads:2", "BufferLife/1/real_time", 1.8, true},
    {"HandWrittenLife/1/real_time/threads:2", "HandWrittenLife/1/real_time", 0, true},
    {"HeapLife/1000/real_time/threads:2", "HeapLife/1000/real_time", 1.8, true},
    {"HeapLife/1000/real_time", "HeapLife/1/real_time", 0},
    {"HeapLife/100000/real_time", "HeapLife/1/real_time", 0},
    {"StepsOfLife/16", "StepsOfLife/2", 0},
    {"StepsOfLife/128", "StepsOfLife/2", 0},
    {"StepsOfLife/1024", "StepsOfLife/2", 0},
    {"StepsOfLife/1024", "StepsOfLife/128", 0},
    {"LiveJobsMade/100000/iterations:3/manual_time", "LiveJobsMade/10000/iterations:3/manual_time", 0},
    {"LiveJobsMade/1000000/iterations:3/manual_time", "LiveJobsMade/10000/iterations:3/manual_time", 0},
    {"LiveJobsReleased/100000/iterations:3/manual_time", "LiveJobsReleased/10000/iterations:3/manual_time", 0},
    {"LiveJobsReleased/1000000/iterations:3/manual_time", "LiveJobsReleased/10000/iterations:3/manual_time", 0},
    {"HandWrittenJobsMade/1000000/iterations:3/manual_time", "HandWrittenJobsMade/10000/iterations:3/manual_time", 0},
    {"HandWrittenJobsReleased/1000000/iterations:3/manual_time",
     "HandWrittenJobsReleased/10000/iterations:3/manual_time", 0},
    {"LifeLogged", "LifeUnseen", 0},
    {"LifeProfiled", "LifeUnseen", 0},
    {"LifeTraced", "LifeUnseen", 0},
    {"PulsesOn", "PulsesOff", 0},
    {"ArenaPieces", "MonotonicPieces", 0},
    {"SnapshotWhole", "SnapshotCopy", 0},
    {"SnapshotBrowsing", "SnapshotCopy", 0},
    {"SnapshotBrowsing2", "SnapshotCopy", 0},
    {"CompleteChildren/10000", "CompleteChildren/1000", 1.5},
    {"CompleteChildrenReversed/10000", "CompleteChildrenReversed/1000", 1.5},
    {"NameToId/10/real_time/threads:1", "HashNameToId/10/real_time/threads:1", 1.0},
    {"NameToId/10/real_time/threads:2", "HashNameToId/10/real_time/threads:2", 1.0},
    {"NameToId/100/real_time/threads:1", "HashNameToId/100/real_time/threads:1", 1.0},
    {"NameToId/100/real_time/threads:2", "HashNameToId/100/real_time/threads:2", 1.0},
    {"NameToId/1000/real_time/threads:1", "HashNameToId/1000/real_time/threads:1", 1.0},
    {"NameToId/1000/real_time/threads:2", "HashNameToId/1000/real_time/threads:2", 1.0},
    {"NameToId/10000/real_time/threads:1", "HashNameToId/10000/real_time/threads:1", 1.0},
    {"NameToId/10000/real_time/threads:2", "HashNameToId/10000/real_time/threads:2", 1.0},
    {"IdToName/10/real_time/threads:1", "HashIdToName/10/real_time/threads:1", 1.0},
    {"IdToName/10/real_time/threads:2", "HashIdToName/10/real_time/threads:2", 1.0},
    {"IdToName/100/real_time/threads:1", "HashIdToName/100/real_time/threads:1", 1.0},
    {"IdToName/100/real_time/threads:2", "HashIdToName/100/real_time/threads:2", 1.0},
    {"IdToName/1000/real_time/threads:1", "HashIdToName/1000/real_time/threads:1", 1.0},
    {"IdToName/1000/real_time/threads:2", "HashIdToName/1000/real_time/threads:2", 1.0},
    {"IdToName/10000/real_time/threads:1", "HashIdToName/10000/real_time/threads:1", 1.0},
    {"IdToName/10000/real_time/threads:2", "HashIdToName/10000/real_time/threads:2", 1.0},
};

} // namespace

int main(int argc, char** argv)
{
    BecomeMultithreaded();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    reporter.PrintRatios(cRatios);
    return 0;
}
