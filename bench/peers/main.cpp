// The library beside its peers in one run: what it takes to bring a job of six empty steps through.
#include "DrivenLives.h"
#include "ParseNumber.h"
#include "Schedulers.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string_view>
#include <vector>

namespace
{

constexpr int cRounds = 9;
constexpr int cMostRounds = 1000;

struct Contestant
{
    std::string_view mWay;
    const char* mName;
    double mAim; ///< 0: none
    const char* mKeeps;
    std::unique_ptr<Workload> (*mMake)(int iWorkers, int iInFlight);
};

template <class Driven>
std::unique_ptr<Workload> Make(int iWorkers, int iInFlight)
{
    return std::make_unique<Driven>(iWorkers, iInFlight);
}

template <class Life>
using LivesWhole = LivesInQueue<Life, EnumTake::WholeLife>;
template <class Life>
using LivesByStep = LivesInQueue<Life, EnumTake::Step>;

constexpr char cAll[] = "times, status, history, cancel";
constexpr char cTimes[] = "times, history";

// The first of each way is what the others are held against.
constexpr Contestant cContestants[] = {
    {"no queue", "hand-written job", 0, cTimes, Make<LivesWithoutQueue<HandWrittenLife>>},
    {"no queue", "library, heap", 1.15, cAll, Make<LivesWithoutQueue<HeapLife>>},
    {"no queue", "library, buffer", 1.15, cAll, Make<LivesWithoutQueue<BufferLife>>},
    {"queue per job", "hand-written job", 0, cTimes, Make<LivesWhole<HandWrittenLife>>},
    {"queue per job", "library, heap", 1.1, cAll, Make<LivesWhole<HeapLife>>},
    {"queue per job", "library, buffer", 1.1, cAll, Make<LivesWhole<BufferLife>>},
    {"re-queued each step", "hand-written job", 0, cTimes, Make<LivesByStep<HandWrittenLife>>},
    {"re-queued each step", "library, heap", 1.1, cAll, Make<LivesByStep<HeapLife>>},
    {"re-queued each step", "library, buffer", 1.1, cAll, Make<LivesByStep<BufferLife>>},
    {"re-queued each step", "oneTBB", 0, "nothing", MakeOneTbb},
    {"re-queued each step", "ThreadWeaver", 0, "status, cancel", MakeThreadWeaver},
};

/// What one job took in each round, in nanoseconds.
struct Times
{
    std::vector<double> mPassed;
    std::vector<double> mProcessor; ///< of all workers together

    /// Processor time with one worker, because the machine may be shared; with several the time that passes.
    const std::vector<double>& GetJudged(int iWorkers) const { return iWorkers == 1 ? mProcessor : mPassed; }
};

using Results = std::map<const Contestant*, Times>;

void Measure(Workload& ioWorkload, Times& ioTimes)
{
    constexpr int cJobs = 40'000; // a multiple of those in flight: that many end together when they take turns
    const auto start = std::chrono::steady_clock::now();
    const std::clock_t used = std::clock();
    ioWorkload.Run(cJobs);
    const std::chrono::duration<double, std::nano> passed = std::chrono::steady_clock::now() - start;
    ioTimes.mProcessor.push_back(static_cast<double>(std::clock() - used) * 1e9 / CLOCKS_PER_SEC / cJobs);
    ioTimes.mPassed.push_back(passed.count() / cJobs);
}

Results RunRounds(int iRounds, int iWorkers, int iInFlight)
{
    std::vector<const Contestant*> order;
    for (const Contestant& contestant : cContestants)
        order.push_back(&contestant);
    std::minstd_rand random;
    Results results;
    for (int round = 0; round < iRounds; ++round)
    {
        std::shuffle(order.begin(), order.end(), random);
        for (const Contestant* contestant : order)
            Measure(*contestant->mMake(iWorkers, iInFlight), results[contestant]);
    }
    return results;
}

const Contestant& FindBase(const Contestant& iContestant)
{
    return *std::find_if(std::begin(cContestants), std::end(cContestants),
                         [&](const Contestant& iOther) { return iOther.mWay == iContestant.mWay; });
}

struct Summary
{
    explicit Summary(std::vector<double> iValues)
    {
        std::sort(iValues.begin(), iValues.end());
        mLowest = iValues.front();
        mMedian = iValues[iValues.size() / 2];
        mHighest = iValues.back();
    }

    double mLowest;
    double mMedian;
    double mHighest;
};

void Print(const Results& iResults, int iWorkers)
{
    std::printf("%-20s %-17s %8s %8s %8s %9s %6s %7s %7s %5s  %s\n", "way", "who", "ns a job", "lowest", "highest",
                "processor", "ratio", "lowest", "highest", "aim", "keeps");
    for (const Contestant& contestant : cContestants)
    {
        const Times& times = iResults.at(&contestant);
        const std::vector<double>& judged = times.GetJudged(iWorkers);
        const std::vector<double>& base = iResults.at(&FindBase(contestant)).GetJudged(iWorkers);
        std::vector<double> ratios(judged.size());
        std::transform(judged.begin(), judged.end(), base.begin(), ratios.begin(), std::divides<>());
        const Summary passed(times.mPassed);
        const Summary processor(times.mProcessor);
        const Summary ratio(ratios);
        char aim[8] = "-";
        if (contestant.mAim > 0)
            std::snprintf(aim, sizeof(aim), "%.2f", contestant.mAim);
        std::printf("%-20s %-17s %8.0f %8.0f %8.0f %9.0f %6.2f %7.2f %7.2f %5s  %s\n", contestant.mWay.data(),
                    contestant.mName, passed.mMedian, passed.mLowest, passed.mHighest, processor.mMedian, ratio.mMedian,
                    ratio.mLowest, ratio.mHighest, aim, contestant.mKeeps);
    }
}

} // namespace

int main(int argc, char** argv)
{
    const std::optional<int> rounds = argc == 2 ? ParseNumber(argv[1], 1, cMostRounds) : cRounds;
    if (argc > 2 || !rounds)
    {
        std::fprintf(stderr, "usage: qorjob_peers_bench [ROUNDS], from 1 to %d\n", cMostRounds);
        return 2;
    }
    for (int inFlight : {10, 10'000})
        for (int workers : {1, 2})
        {
            std::printf("%d jobs in flight, %s\n", inFlight,
                        workers == 1 ? "one worker: ratios of processor time"
                                     : "two workers: ratios of time that passes");
            Print(RunRounds(*rounds, workers, inFlight), workers);
            std::printf("\n");
        }
    return 0;
}
