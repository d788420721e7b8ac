// The periodic table of open jobs.
#pragma once

#include "Server.h"

#include <map>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

/// On a terminal a table that is drawn over and over at its top, with what is logged meanwhile; elsewhere a line
/// whenever a job has changed. All of it comes from snapshots: a job isn't held up for longer than it takes to copy it.
///
/// Threads: one for its operations; the one that looks is its own.
/// Owns:    its thread; handles of the jobs while it looks.
/// Errors:  what keeps it from looking is logged, and it looks no more. The constructor throws std::system_error.
/// Locks:   its own is innermost.
class Watch
{
public:
    /// As long as it lives the stream is the watch's alone.
    Watch(Server& ioServer, std::ostream& ioStream, bool ibTerminal);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

private:
    /// What is shown of a job: all of it, and what is news when it changes.
    struct Look
    {
        int mJob = 0;
        std::string mNews;
        std::vector<std::string> mCells;
    };

    void Run();
    std::vector<Look> LookAtAll();
    void Draw(const std::vector<Look>& iLooks);
    void WriteChanges(const std::vector<Look>& iLooks);

    Server& mServer;
    std::ostream& mStream;
    const bool mbTerminal;
    std::map<int, std::string> mShown; // jobs, with what was written of them; the thread's alone
    std::mutex mMutex;                 // guards what follows but the thread
    std::condition_variable mChanged;
    std::vector<std::string> mErrors;
    bool mbStopped = false;
    std::thread mThread;
};
