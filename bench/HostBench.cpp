// What the users of a host wait for, and what memory it takes: a cancel, a queue under load, a million jobs.
#include "HostLives.h"
#include "ParseNumber.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace
{

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;
using std::chrono::microseconds;

constexpr int cWhole = 100; // the argument is how many hundredths of everything are done
constexpr auto cDrain = std::chrono::minutes(10);

/// Mostly asleep, so that it takes part of a processor only; and to the microsecond.
void WaitUntil(Clock::time_point iMoment)
{
    std::this_thread::sleep_until(iMoment - microseconds(100));
    while (Clock::now() < iMoment)
        ;
}

/// A job of one step, which works for as long as `iWork` says, and the closing one.
QORHostConfig MakeConfig(std::size_t iMostJobs, std::function<void(QORHostRun& ioRun)> iWork)
{
    QORHostConfig config;
    config.mUnits = {{.mId = cHostUnit}};
    config.mSteps = {{.mStepId = StepSQLGeneration, .mRun = std::move(iWork)}};
    config.mMostJobs = iMostJobs;
    return config;
}

QBase::PtrI<QORJob> MakeJob(int iId, int iPriority)
{
    QBase::PtrI<QORJob> job(QORJob::NewJob(iId, RequestReport, iPriority, nullptr, nullptr));
    job->AddStep(new QORJobStep(StepSQLGeneration), nullptr);
    job->AddStep(new QORJobStep(StepCloseJob), nullptr);
    return job;
}

/// Keeps a number of jobs in flight: one that has ended submits the next, until as many as that were submitted.
class Stream
{
public:
    Stream(QORHost& ioHost, QBase::PtrI<QORJob> (*iMake)()) : mHost(ioHost), mMake(iMake) {}

    void Start(int iInFlight, int iCount)
    {
        mLeft = iCount;
        for (int i = 0; i < iInFlight; ++i)
            SubmitNext();
    }

    void Stop() { mLeft = 0; }

private:
    void SubmitNext()
    {
        if (mLeft-- > 0)
            mHost.Submit(mMake(), {.mOnEnd = [this](const QORHostJob&, QORJob&) { SubmitNext(); }});
    }

    QORHost& mHost;
    QBase::PtrI<QORJob> (*mMake)();
    std::atomic<int> mLeft{0};
};

double Percentile(std::vector<double>& ioValues, double iPart)
{
    const auto place = static_cast<std::ptrdiff_t>(iPart * static_cast<double>(ioValues.size() - 1));
    std::nth_element(ioValues.begin(), ioValues.begin() + place, ioValues.end());
    return ioValues[static_cast<std::size_t>(place)];
}

/// The most memory that the process ever had, in kilobytes.
long GetPeak()
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (word == "VmHWM:")
        {
            long kilobytes = 0;
            status >> kilobytes;
            return kilobytes;
        }
    return 0;
}

/// To be measured before anything else has used memory.
void MeasureMemory(int iParts)
{
    constexpr int cInFlight = 1'000;
    constexpr int cFirst = 10'000;
    QORHost host(MakeLifeHost(1, cInFlight));
    Stream stream(host, MakeLifeJob);
    std::printf("peak of memory, %d jobs in flight\n", cInFlight);
    const auto run = [&](int iJobs) {
        stream.Start(cInFlight, iJobs);
        while (host.GetCounts().mOpen > 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return GetPeak();
    };
    const long first = run(cFirst);
    const long all = run(cFirst * (iParts - 1));
    std::printf("%9d jobs %8ld kB\n%9d jobs %8ld kB, %.3f times; at most 1.05\n\n", cFirst, first, cFirst * iParts, all,
                static_cast<double>(all) / static_cast<double>(first));
}

void MeasureCancel(int iParts)
{
    constexpr int cInQueue = 10'000;
    QORHost host(MakeConfig(cInQueue + 10, [](QORHostRun&) { WaitUntil(Clock::now() + microseconds(20)); }));
    Stream stream(host, [] { return MakeJob(0, 5); });
    stream.Start(cInQueue, 1'000'000'000);
    std::minstd_rand random;
    std::uniform_int_distribution<> pause(100, 1'000);
    std::vector<double> times;
    for (int i = 0; i < 50 * iParts; ++i)
    {
        QORHostJob job = host.Submit(MakeJob(1, 5)).mJob;
        // The worker gets on with others, or it would see nothing but what is cancelled.
        std::this_thread::sleep_for(microseconds(pause(random)));
        const Clock::time_point start = Clock::now();
        job.Cancel("it isn't needed");
        job.Wait();
        times.push_back(Milliseconds(Clock::now() - start).count());
    }
    stream.Stop();
    std::printf("from the cancel of a queued job to its end, %d others in the queue, ms\n", cInQueue);
    std::printf("median %.3f, 99 %% %.3f, highest %.3f of %zu; less than 1\n\n", Percentile(times, 0.5),
                Percentile(times, 0.99), Percentile(times, 1), times.size());
}

constexpr std::array<int, 3> cPriorities = {1, 5, 9};

struct Arrival
{
    microseconds mWhen;   ///< from the beginning on
    microseconds mLength; ///< of its step
};

/// Jobs that come and take their time at random, so that one worker is busy 90 % of the time; the same ones each time.
std::vector<Arrival> PlanArrivals(int iJobs)
{
    constexpr double cMeanLength = 500;
    constexpr double cLoad = 0.9;
    std::minstd_rand random;
    std::exponential_distribution<> length(1 / cMeanLength);
    std::exponential_distribution<> pause(cLoad / cMeanLength);
    std::vector<Arrival> plan(static_cast<std::size_t>(iJobs));
    double when = 0;
    for (Arrival& arrival : plan)
    {
        when += pause(random);
        arrival = {microseconds(std::lround(when)), microseconds(std::lround(length(random)))};
    }
    return plan;
}

void MeasureWaits(std::chrono::milliseconds iRaiseEvery, int iParts)
{
    const std::vector<Arrival> plan = PlanArrivals(80 * iParts);
    std::vector<Clock::time_point> submitted(plan.size());
    std::vector<double> waits[cPriorities.size()];
    Clock::duration busy{};
    QORHostConfig config = MakeConfig(plan.size(), [&](QORHostRun& ioRun) {
        const Clock::time_point start = Clock::now();
        const auto job = static_cast<std::size_t>(ioRun.GetHandle().GetId());
        waits[job % cPriorities.size()].push_back(Milliseconds(start - submitted[job]).count());
        WaitUntil(start + plan[job].mLength);
        busy += Clock::now() - start;
    });
    config.mUnits.front().mRaiseEvery = iRaiseEvery;
    QORHost host(std::move(config));
    const Clock::time_point begin = Clock::now();
    for (std::size_t job = 0; job < plan.size(); ++job)
    {
        WaitUntil(begin + plan[job].mWhen);
        submitted[job] = Clock::now();
        host.Submit(MakeJob(static_cast<int>(job), cPriorities[job % cPriorities.size()]));
    }
    const Clock::duration passed = Clock::now() - begin;
    host.Drain(cDrain);
    std::printf("%11d ms %6.0f %%", static_cast<int>(iRaiseEvery.count()), 100 * (Milliseconds(busy) / passed));
    for (std::vector<double>& each : waits)
        std::printf("   %8.2f %8.2f", Percentile(each, 0.5), Percentile(each, 0.99));
    std::printf("\n");
}

} // namespace

int main(int argc, char** argv)
{
    const std::optional<int> parts = argc == 2 ? ParseNumber(argv[1], 1, cWhole) : cWhole;
    if (argc > 2 || !parts)
    {
        std::fprintf(stderr, "usage: qorjob_host_bench [PARTS], from 1 to %d hundredths of the whole\n", cWhole);
        return 2;
    }
    MeasureMemory(*parts);
    MeasureCancel(*parts);
    std::printf("wait in the queue, ms\n%14s %8s", "raised every", "busy");
    for (int priority : cPriorities)
        std::printf("   priority %d   99 %%", priority);
    std::printf("\n");
    for (int raiseEvery : {1'000, 1})
        MeasureWaits(std::chrono::milliseconds(raiseEvery), *parts);
    return 0;
}
