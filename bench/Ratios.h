// The table of figures beside their floors, printed when all benchmarks have run.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

/// One line of the closing table: a figure, what it is held against, and the ratio that is aimed at (0: none).
struct Ratio
{
    const char* mFigure;
    const char* mFloor;
    double mAim;
    bool mbAtLeast = false; ///< the aim is a lower bound, and of throughput: floor time over figure time
};

/// Prints as the console does, and keeps the median of each benchmark's time: processor time of one thread,
/// time that passed of several.
class MedianReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& iRuns) override;
    void PrintRatios(const std::vector<Ratio>& iRatios) const;

private:
    std::map<std::string, double> mMedians;
};
