// What a worker pays for being watched: turns alone and turns beside a monitor, in pairs.
#include "ParseNumber.h"
#include "Workloads.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::size_t cLiveJobs = 1000;
constexpr int cSteps = 6;
constexpr auto cPollPeriod = std::chrono::milliseconds(100);
constexpr int cPollsPerTurn = 3;
constexpr auto cTurn = cPollsPerTurn * cPollPeriod;
constexpr int cPairs = 100;
constexpr int cFewestPairs = 6; // of fewer not even the lowest and the highest ratio enclose the median with 95 %
constexpr int cMostPairs = 10000;

/// The live jobs as a server has them: who takes one out of the table holds a reference.
class JobTable
{
public:
    JobTable() : mSlots(cLiveJobs)
    {
        for (Slot& slot : mSlots)
            slot.mpJob = MakeJobOfSteps(cSteps);
    }

    /// A life in each slot: runs the slot's job to its end and puts a new one there.
    void LiveAll()
    {
        for (Slot& slot : mSlots)
        {
            RunCycles(*slot.mpJob.Get(), cSteps);
            QBase::PtrI<QORJob> next = MakeJobOfSteps(cSteps);
            const std::lock_guard hold(slot.mMutex);
            std::swap(slot.mpJob, next);
        }
    }

    void Poll()
    {
        for (Slot& slot : mSlots)
        {
            QBase::PtrI<QORJob> job;
            {
                const std::lock_guard hold(slot.mMutex);
                job = slot.mpJob;
            }
            job->GetJobInfo(&mSeen);
        }
    }

private:
    struct Slot
    {
        std::mutex mMutex;
        QBase::PtrI<QORJob> mpJob; // the worker alone changes it, and so reads it without the mutex
    };

    std::vector<Slot> mSlots;
    QORJobInfo mSeen;
};

/// Of the calling thread, in units of 100 ns.
std::uint64_t ProcessorTime()
{
    FILETIME kernel{};
    FILETIME user{};
    GetCurrentThreadTimes(&kernel, &user);
    return ToUint64(kernel) + ToUint64(user);
}

/// What a life takes, in nanoseconds.
struct Cost
{
    double mProcessor;
    double mPassed;
};

Cost TakeTurn(JobTable& ioTable, bool ibWatched)
{
    std::thread monitor;
    if (ibWatched)
        monitor = std::thread([&ioTable, next = Clock::now() + cPollPeriod / 2]() mutable {
            for (int poll = 0; poll < cPollsPerTurn; ++poll, next += cPollPeriod)
            {
                std::this_thread::sleep_until(next);
                ioTable.Poll();
            }
        });
    std::size_t lives = 0;
    const std::uint64_t processorAtStart = ProcessorTime();
    const Clock::time_point start = Clock::now();
    Clock::duration passed{};
    do
    {
        ioTable.LiveAll();
        lives += cLiveJobs;
        passed = Clock::now() - start;
    } while (passed < cTurn);
    const std::uint64_t processor = ProcessorTime() - processorAtStart;
    if (ibWatched)
        monitor.join();
    const auto count = static_cast<double>(lives);
    return {static_cast<double>(processor) * 100 / count,
            std::chrono::duration<double, std::nano>(passed).count() / count};
}

/// Which of so many values in order, counted from either end, is the end of their median's 95 % interval. Each value is
/// below the true median as a coin shows heads: the throws with fewer heads than that are 2.5 % of all at most.
std::size_t RankOfEnd(std::size_t iValues)
{
    const auto values = static_cast<double>(iValues);
    double logOfCase = -values * std::log(2.0); // no heads at all
    double below = 0;
    for (std::size_t heads = 0;; ++heads)
    {
        below += std::exp(logOfCase);
        if (below > 0.025)
            return heads;
        logOfCase += std::log((values - static_cast<double>(heads)) / (static_cast<double>(heads) + 1));
    }
}

void PrintRatio(const char* iName, double Cost::*iTime, const std::vector<std::pair<Cost, Cost>>& iPairs)
{
    std::vector<double> alone;
    std::vector<double> ratios;
    for (const auto& [left, watched] : iPairs)
    {
        alone.push_back(left.*iTime);
        ratios.push_back(watched.*iTime / left.*iTime);
    }
    std::sort(alone.begin(), alone.end());
    std::sort(ratios.begin(), ratios.end());
    const std::size_t count = ratios.size();
    const std::size_t rank = RankOfEnd(count);
    std::printf("%-16s %9.0f %9.4f %9.4f %9.4f\n", iName, alone[count / 2],
                (ratios[(count - 1) / 2] + ratios[count / 2]) / 2, ratios[rank - 1], ratios[count - rank]);
}

} // namespace

int main(int argc, char** argv)
{
    const std::optional<int> pairs = argc == 2 ? ParseNumber(argv[1], cFewestPairs, cMostPairs) : cPairs;
    if (argc > 2 || !pairs)
    {
        std::fprintf(stderr, "usage: qorjob_watch_bench [PAIRS], from %d to %d\n", cFewestPairs, cMostPairs);
        return 2;
    }
    JobTable table;
    std::vector<std::pair<Cost, Cost>> costs; // alone, watched
    for (int pair = 0; pair < *pairs; ++pair)
    {
        const bool bWatchedFirst = pair % 2 != 0;
        const Cost first = TakeTurn(table, bWatchedFirst);
        const Cost second = TakeTurn(table, !bWatchedFirst);
        costs.emplace_back(bWatchedFirst ? second : first, bWatchedFirst ? first : second);
    }
    std::printf("%-16s %9s %9s %9s %9s\n", "a worker's life", "alone, ns", "watched", "95 % from", "to");
    PrintRatio("processor time", &Cost::mProcessor, costs);
    PrintRatio("time that passed", &Cost::mPassed, costs);
    return 0;
}
