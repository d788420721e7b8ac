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
        int none = 0;
        if (gRaised.compare_exchange_strong(none, iSignal))
            return;
        std::signal(iSignal, SIG_DFL);
        std::raise(iSignal); // comes when this function has returned
    }
}

void StopSignal::Install()
{
    std::signal(SIGPIPE, SIG_IGN);
    for (const int signal : cSignals)
    {
        struct sigaction action = {};
        if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN)
            continue;
        action.sa_handler = OnStop;
        action.sa_flags = SA_RESTART; // a result that is being written stays whole
        sigaction(signal, &action, nullptr);
    }
}

bool StopSignal::IsRaised() { return gRaised.load() != 0; }

int StopSignal::GetExitCode() { return 128 + gRaised.load(); }
