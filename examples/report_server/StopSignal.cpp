#include "StopSignal.h"

#include <atomic>
#include <csignal>

namespace
{

constexpr int cSignals[] = {SIGINT, SIGTERM, SIGHUP};

std::atomic<int> gRaised{0}; // the first that came
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may touch it");

} // namespace

extern "C"
{
    static void OnStop(int iSignal)
    {
        gRaised.store(iSignal);
        for (const int signal : cSignals)
            std::signal(signal, SIG_DFL);
    }
}

void StopSignal::Install()
{
    std::signal(SIGPIPE, SIG_IGN);
    for (const int signal : cSignals)
        if (std::signal(signal, OnStop) == SIG_IGN)
            std::signal(signal, SIG_IGN);
}

bool StopSignal::IsRaised() { return gRaised.load() != 0; }

int StopSignal::GetExitCode() { return 128 + gRaised.load(); }
