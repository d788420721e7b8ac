// What people pay who look at jobs, and what workers pay for being looked at.
#include "HostLives.h"
#include "ParseNumber.h"
#include "qormonitor.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace
{

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int cWhole = 100; // the argument is how many hundredths of everything are done
constexpr const char* cUsers[] = {"anna", "bela", "carla", "dario", "emma", "farid", "greta"};

double Median(std::vector<double> iValues)
{
    const auto middle = iValues.begin() + static_cast<std::ptrdiff_t>(iValues.size() / 2);
    std::nth_element(iValues.begin(), middle, iValues.end());
    return *middle;
}

/// Of so many calls, in milliseconds: the median, and the longest.
template <class Call>
void Time(const char* iWhat, int iTimes, const char* iAim, Call&& iCall)
{
    std::vector<double> times;
    for (int i = 0; i < iTimes; ++i)
    {
        const Clock::time_point start = Clock::now();
        iCall();
        times.push_back(Milliseconds(Clock::now() - start).count());
    }
    std::printf("%-44s %8.3f %8.3f   %s\n", iWhat, Median(times), *std::max_element(times.begin(), times.end()), iAim);
}

QBase::PtrI<QORJob> MakeNamedJob(int iId)
{
    QBase::PtrI<QORJob> job(QORJob::NewJob(iId, RequestReport, 5, nullptr, nullptr));
    job->SetUser(QBase::UTF8ToWideChar(cUsers[static_cast<std::size_t>(iId) % std::size(cUsers)]));
    job->SetDescription(QORJOB_W("Sales by region, quarter and product group"));
    job->AddStep(new QORJobStep(StepSQLGeneration), nullptr);
    job->AddStep(new QORJobStep(StepCloseJob), nullptr);
    return job;
}

/// Nobody runs them: they are queued.
void MeasureLists(int iJobs)
{
    QORMonitor monitor;
    QORHost host(
        {.mUnits = {{.mId = cHostUnit, .mThreads = 0}}, .mMostJobs = static_cast<std::size_t>(iJobs), .mEndTime = {}});
    for (int id = 1; id <= iJobs; ++id)
        host.Submit(MakeNamedJob(id));
    monitor.Watch(host);
    std::printf("\n%d live jobs, ms                          median  longest\n", iJobs);
    Time("the first look", 1, "", [&] { monitor.List({}); });
    const auto list = [&](const char* iWhat, const QORMonitorQuery& iQuery) {
        Time(iWhat, 200, "less than 5", [&] { QORMONITOR::MakeListJson(monitor, monitor.List(iQuery)); });
    };
    list("50, what runs first", {});
    list("50 by their times", {.mSort = EnumMonitorSort::Since, .mbDescending = true});
    list("50 of one user", {.mUser = "emma"});
    list("50 by their users", {.mSort = EnumMonitorSort::User});
    list("50 that hold a text", {.mSearch = "product group"});
    Time("one job", 200, "", [&] { QORMONITOR::MakeJobJson(monitor, *monitor.Find(iJobs / 2), 0x0409); });
    Time("metrics", 200, "", [&] { QORMONITOR::MakeMetrics(monitor); });
    monitor.Forget();
    host.Stop({});
}

/// One that has run ends again and again.
void MeasureMetrics(int iJobs)
{
    QORMonitor monitor({.mbDumps = false});
    QORHost host(MakeLifeHost(0, 1));
    host.Submit(MakeLifeJob(), {.mOnEnd = [&](const QORHostJob&, QORJob& ioJob) {
                    for (int i = 0; i < iJobs; ++i)
                        monitor.AddEnded(ioJob);
                }});
    host.RunOne(cHostUnit);
    monitor.Watch(host);
    std::printf("\n");
    Time((std::to_string(iJobs) + " jobs have ended: metrics, ms").c_str(), 200, "less than 2",
         [&] { QORMONITOR::MakeMetrics(monitor); });
    monitor.Forget();
}

/// A watcher that takes all it is sent.
class Watcher final : public QORWebCall
{
public:
    void Answer(QORWebAnswer) override {}
    void Begin(QORWebAnswer) override {}
    bool Send(std::string) override { return !mbGone; }
    void Close() override {}
    void OnGone(std::function<void()>) override {}

    std::atomic<bool> mbGone{false};
};

/// Jobs that end and are followed by others at once, on one worker, in turns alone and beside watchers: how many end in
/// a turn.
class Throughput
{
public:
    explicit Throughput(const std::function<void(const QORHostJob&, QORJob&)>& iOnEnd) : mHost(MakeConfig(iOnEnd))
    {
        constexpr int cInFlight = 1'000;
        for (int i = 0; i < cInFlight; ++i)
            SubmitNext();
    }
    ~Throughput() { mHost.Drain(std::chrono::minutes(1)); }
    Throughput(const Throughput&) = delete;
    Throughput& operator=(const Throughput&) = delete;

    QORHost& GetHost() { return mHost; }

    double CountTurn()
    {
        const int before = mEnded;
        const Clock::time_point start = Clock::now();
        std::this_thread::sleep_for(std::chrono::seconds(1));
        return (mEnded - before) / Milliseconds(Clock::now() - start).count();
    }

private:
    static QORHostConfig MakeConfig(const std::function<void(const QORHostJob&, QORJob&)>& iOnEnd)
    {
        QORHostConfig config = MakeLifeHost(1, 2'000);
        config.mOnEnd = iOnEnd;
        return config;
    }

    void SubmitNext()
    {
        mHost.Submit(MakeLifeJob(), {.mOnEnd = [this](const QORHostJob&, QORJob&) {
                         ++mEnded;
                         SubmitNext();
                     }});
    }

    std::atomic<int> mEnded{0};
    QORHost mHost; // last: its threads use the rest
};

void MeasureWatchers(int iPairs)
{
    constexpr int cWatchers = 10;
    QORMonitor monitor({.mbDumps = false});
    Throughput jobs(monitor.GetOnEnd());
    monitor.Watch(jobs.GetHost());
    std::vector<double> ratios;
    for (int pair = 0; pair < iPairs; ++pair)
    {
        double turns[2];
        for (const int turn : {pair % 2, 1 - pair % 2})
        {
            QORMonitorSite site(monitor);
            std::vector<std::shared_ptr<Watcher>> watchers(turn == 0 ? 0 : cWatchers);
            for (auto& watcher : watchers)
                site.Handle({"GET", "/events", {}, {}, ""}, watcher = std::make_shared<Watcher>());
            turns[turn] = jobs.CountTurn();
        }
        ratios.push_back(turns[0] / turns[1]);
    }
    monitor.Forget();
    std::printf("\na worker alone beside one whose 1000 jobs %d pages watch: %.3f times of %d pairs; less than 1.02\n",
                cWatchers, Median(ratios), iPairs);
}

/// What a job's end costs where it is kept.
void MeasureKeeping(int iPairs)
{
    QORMonitor monitors[] = {QORMonitor({.mbDumps = false}), QORMonitor()};
    std::vector<double> ratios[2];
    for (int pair = 0; pair < iPairs; ++pair)
    {
        const double alone = Throughput({}).CountTurn();
        for (int i = 0; i < 2; ++i)
            ratios[i].push_back(alone / Throughput(monitors[i].GetOnEnd()).CountTurn());
    }
    std::printf("a job of two empty steps beside one that is kept: %.3f times, with its dump %.3f\n", Median(ratios[0]),
                Median(ratios[1]));
}

} // namespace

int main(int argc, char** argv)
{
    const std::optional<int> parts = argc == 2 ? ParseNumber(argv[1], 1, cWhole) : cWhole;
    if (argc > 2 || !parts)
    {
        std::fprintf(stderr, "usage: qorjob_monitor_bench [PARTS], from 1 to %d hundredths of the whole\n", cWhole);
        return 2;
    }
    for (const int jobs : {1'000, 100'000})
        MeasureLists(std::max(jobs * *parts / cWhole, 100));
    MeasureMetrics(10'000 * *parts);
    MeasureWatchers(1 + *parts / 4);
    MeasureKeeping(1 + *parts / 10);
    return 0;
}
