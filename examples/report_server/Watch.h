// What is shown of the jobs while they run.
#pragma once

#include "qormonitor.h"

#include <condition_variable>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

/// On a terminal a table of the open jobs that is drawn over and over at its top, the most urgent ones first, with what
/// is logged meanwhile; elsewhere a line for each thing that happens to a job.
///
/// Threads: any for Tell, one for the rest; the one that draws is its own.
/// Owns:    its thread.
/// Errors:  what keeps it from drawing is logged, and it draws no more. The constructor throws std::system_error.
/// Locks:   its own is innermost.
class Watch
{
public:
    /// As long as it lives the stream is the watch's alone.
    Watch(const QORMonitor& iMonitor, std::ostream& ioStream, bool ibTerminal);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    void Tell(int iJob, const std::string& iWhat);

private:
    void Run();
    void Draw();

    const QORMonitor& mMonitor;
    std::ostream& mStream;
    const bool mbTerminal;
    std::mutex mMutex; // guards what follows but the thread, and the stream where it is no terminal
    std::condition_variable mChanged;
    std::vector<std::string> mErrors;
    bool mbStopped = false;
    std::thread mThread;
};
