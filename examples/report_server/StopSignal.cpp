#include "StopSignal.h"

#include <atomic>
#include <csignal>

namespace
{

std::atomic<bool> gbRaised{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may touch it");

} // namespace

extern "C"
{
    static void OnInterrupt(int iSignal)
    {
        gbRaised.store(true);
        std::signal(iSignal, SIG_DFL);
    }
}

void StopSignal::Install()
{
    std::signal(SIGINT, OnInterrupt);
    std::signal(SIGTERM, OnInterrupt);
}

bool StopSignal::IsRaised() { return gbRaised.load(); }
