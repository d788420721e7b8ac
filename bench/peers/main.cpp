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
#include <string>
#include <string_view>
#include <vector>

namespace
{

constexpr int cRounds = 9;
constexpr int cMostRounds = 1000;

struct Contestant
{
    std::string_view mWay;
    std::string_view mName;
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

constexpr char cQueuePerJob[] = "queue per job";
constexpr char cHost[] = "host";
constexpr char cAll[] = "times, status, history, cancel";
constexpr char cTimes[] = "times, history";

// The first of each way is what the others are held against.
constexpr Contestant cContestants[] = {
    {"no queue", "hand-written job", 0, cTimes, Make<LivesWithoutQueue<HandWrittenLife>>},
    {"no queue", "library, heap", 1.15, cAll, Make<LivesWithoutQueue<HeapLife>>},
    {"no queue", "library, buffer", 1.15, cAll, Make<LivesWithoutQueue<BufferLife>>},
    {cQueuePerJob, "hand-written job", 0, cTimes, Make<LivesWhole<HandWrittenLife>>},
    {cQueuePerJob, "library, heap", 1.1, cAll, Make<LivesWhole<HeapLife>>},
    {cQueuePerJob, "library, buffer", 1.1, cAll, Make<LivesWhole<BufferLife>>},
    {cQueuePerJob, "library, unit", 0, cAll, Make<LivesWhole<UnitLife>>},
    {cQueuePerJob, cHost, 0, cAll, MakeHost},
    {cQueuePerJob, "oneTBB, graphs", 0, "nothing", MakeOneTbbGraphs},
    {"re-queued each step", "hand-written job", 0, cTimes, Make<LivesByStep<HandWrittenLife>>},
    {"re-queued each step", "library, heap", 1.1, cAll, Make<LivesByStep<HeapLife>>},
    {"re-queued each step", "library, buffer", 1.1, cAll, Make<LivesByStep<BufferLife>>},
    {"re-queued each step", "oneTBB", 0, "nothing", MakeOneTbb},
    {"re-queued each step", "ThreadWeaver", 0, "status, cancel", MakeThreadWeaver},
};

/// Who else the host is held against, and the ratio that is aimed at.
constexpr struct
{
    std::string_view mWay;
    std::string_view mName;
    double mAim; ///< 0: none
} cHostAims[] = {
    {cQueuePerJob, "library, heap", 1.2},
    {cQueuePerJob, "library, unit", 0},
    {cQueuePerJob, "oneTBB, graphs", 1.4},
    {"re-queued each step", "ThreadWeaver", 1},
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

template <class Is>
const Contestant& FindFirst(Is iIs)
{
    return *std::find_if(std::begin(cContestants), std::end(cContestants), iIs);
}

const Contestant& Find(std::string_view iWay, std::string_view iName)
{
    return FindFirst([=](const Contestant& iEach) { return iEach.mWay == iWay && iEach.mName == iName; });
}

const Contestant& FindBase(const Contestant& iContestant)
{
    return FindFirst([&](const Contestant& iEach) { return iEach.mWay == iContestant.mWay; });
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

Summary RatioOf(const Results& iResults, const Contestant& iFigure, const Contestant& iBase, int iWorkers)
{
    const std::vector<double>& judged = iResults.at(&iFigure).GetJudged(iWorkers);
    const std::vector<double>& base = iResults.at(&iBase).GetJudged(iWorkers);
    std::vector<double> ratios(judged.size());
    std::transform(judged.begin(), judged.end(), base.begin(), ratios.begin(), std::divides<>());
    return Summary(ratios);
}

std::string ToText(double iValue)
{
    char text[16] = "-";
    if (iValue > 0)
        std::snprintf(text, sizeof(text), "%.2f", iValue);
    return text;
}

/// `iAlone` are one worker's results, for what the second one adds: its time that passes beside one's processor time.
void Print(const Results& iResults, int iWorkers, const Results& iAlone)
{
    std::printf("%-20s %-17s %8s %8s %8s %9s %6s %7s %7s %5s %5s  %s\n", "way", "who", "ns a job", "lowest", "highest",
                "processor", "ratio", "lowest", "highest", "aim", "gain", "keeps");
    for (const Contestant& contestant : cContestants)
    {
        const Times& times = iResults.at(&contestant);
        const Summary passed(times.mPassed);
        const Summary processor(times.mProcessor);
        const Summary ratio = RatioOf(iResults, contestant, FindBase(contestant), iWorkers);
        const double gain = iWorkers == 1 ? 0 : Summary(iAlone.at(&contestant).mProcessor).mMedian / passed.mMedian;
        std::printf("%-20s %-17s %8.0f %8.0f %8.0f %9.0f %6.2f %7.2f %7.2f %5s %5s  %s\n", contestant.mWay.data(),
                    contestant.mName.data(), passed.mMedian, passed.mLowest, passed.mHighest, processor.mMedian,
                    ratio.mMedian, ratio.mLowest, ratio.mHighest, ToText(contestant.mAim).c_str(), ToText(gain).c_str(),
                    contestant.mKeeps);
    }
    std::printf("the host against\n");
    for (const auto& [way, name, aim] : cHostAims)
    {
        const Summary ratio = RatioOf(iResults, Find(cQueuePerJob, cHost), Find(way, name), iWorkers);
        std::printf("%-20s %-17s %43.2f %7.2f %7.2f %5s\n", way.data(), name.data(), ratio.mMedian, ratio.mLowest,
                    ratio.mHighest, ToText(aim).c_str());
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
    {
        Results alone;
        for (int workers : {1, 2})
        {
            std::printf("%d jobs in flight, %s\n", inFlight,
                        workers == 1 ? "one worker: ratios of processor time"
                                     : "two workers: ratios of time that passes");
            Results results = RunRounds(*rounds, workers, inFlight);
            if (workers == 1)
                alone = results;
            Print(results, workers, alone);
            std::printf("\n");
        }
    }
    return 0;
}
