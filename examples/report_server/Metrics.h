// The performance monitor's counters as text that Prometheus reads.
#pragma once

#include "OutputFile.h"

/// Threads: one.
/// Owns:    its file.
/// Errors:  as OutputFile.
class Metrics
{
public:
    /// From here on steps are profiled.
    explicit Metrics(const std::filesystem::path& iPath);

    /// When all jobs have ended.
    bool Write();

private:
    OutputFile mFile;
};
