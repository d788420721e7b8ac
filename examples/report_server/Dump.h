// The dump of a job at its end: all that the library tells of it.
#pragma once

#include "OutputFile.h"
#include "qorjob.h"

/// Threads: any.
/// Owns:    its file.
/// Errors:  as OutputFile; a job that can't be added is a loss, and nothing else.
class Dump
{
public:
    explicit Dump(const std::filesystem::path& iPath) : mFile(iPath) {}

    /// The job must still have a reference.
    void Add(const QORJob& iJob);
    bool Close() { return mFile.Close(); }

private:
    OutputFile mFile;
};
