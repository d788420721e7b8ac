#include "Ratios.h"

#include <cstdio>

void MedianReporter::ReportRuns(const std::vector<Run>& iRuns)
{
    ConsoleReporter::ReportRuns(iRuns);
    for (const Run& run : iRuns)
        if (run.aggregate_name == "median" || run.repetitions == 1)
        {
            // Of several threads the time that passes counts, of one thread the processor time: on a shared machine the
            // wall clock also tells what others do.
            const bool bWall = run.threads > 1 || run.run_name.time_type == "manual_time";
            mMedians[run.run_name.str()] = bWall ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
        }
}

void MedianReporter::PrintRatios(const std::vector<Ratio>& iRatios) const
{
    std::printf("\n%-44s %-44s %9s %8s\n", "figure", "held against", "ratio", "aim");
    for (const Ratio& ratio : iRatios)
    {
        const auto figure = mMedians.find(ratio.mFigure);
        const auto floor = mMedians.find(ratio.mFloor);
        if (figure == mMedians.end() || floor == mMedians.end())
            continue; // a filter left it out
        const double value = ratio.mbAtLeast ? floor->second / figure->second : figure->second / floor->second;
        std::printf("%-44s %-44s %9.2f ", ratio.mFigure, ratio.mFloor, value);
        if (ratio.mAim > 0)
            std::printf("%s %5.2f\n", ratio.mbAtLeast ? ">=" : "<=", ratio.mAim);
        else
            std::printf("%8s\n", "-");
    }
}
