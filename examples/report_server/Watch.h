// The periodic table of open jobs.
#pragma once

#include "qorjob.h"

#include <condition_variable>
#include <cstddef>
#include <map>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

class Kernel;

/// On a terminal a table that is drawn over and over in its place; elsewhere a line whenever a job has changed. All of
/// it comes from snapshots: a job isn't held up for longer than it takes to copy it.
///
/// Threads: one for its operations; the one that looks is its own.
/// Owns:    its thread; references to the jobs while it looks.
/// Errors:  what keeps it from looking is logged, and it looks no more. Start throws std::system_error.
/// Locks:   its own is innermost.
class Watch
{
public:
    /// From Start to Stop the stream is the watch's alone.
    Watch(Kernel& iKernel, std::ostream& ioStream, bool ibTerminal);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    void Start();
    /// The table goes. Before the kernel ends.
    void Stop();
    /// The terminal has echoed a line that was typed, below the table.
    void AddTypedLine();

private:
    /// What is shown of a job.
    struct Look
    {
        int mJob = 0;
        std::string mOwner;
        std::string mStatus;
        std::string mUnit;
        std::string mStep;
        double mWaiting = 0; ///< milliseconds in queues
        double mRunning = 0; ///< milliseconds in steps
        std::string mDescription;
    };

    static Look LookAt(const QORJob& iJob);
    void Run();
    bool WaitForNextLook();
    static std::string MakeTable(const std::vector<Look>& iLooks);
    void Draw(const std::vector<Look>& iLooks);
    void DrawOver(const std::string& iTable);
    void DrawAnew(const std::string& iTable, std::size_t iTypedLines, const std::vector<std::string>& iErrors);
    void WriteChanges(const std::vector<Look>& iLooks);

    Kernel& mKernel;
    std::ostream& mStream;
    const bool mbTerminal;
    std::map<int, std::string> mShown; // jobs, with what was written of them; the thread's alone
    std::size_t mTableLines = 0;       // the thread's alone
    std::mutex mMutex;                 // guards what follows but the thread
    std::condition_variable mChanged;
    std::vector<std::string> mErrors;
    std::size_t mTypedLines = 0;
    bool mbStopped = false;
    std::thread mThread;
};
