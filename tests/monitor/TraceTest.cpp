#include "tests/monitor/MonitorValues.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace
{

using namespace MonitorValues;
using nlohmann::json;

json MakeTrace(const std::vector<QORMonitorDetail>& iJobs, QORMonitorTime iFrom, QORMonitorTime iTo)
{
    return json::parse(QORMONITOR::MakeTrace(MakeNames(), iJobs, iFrom, iTo))["traceEvents"];
}

/// Those of a phase, as `process/thread: name start-end`, in seconds.
std::vector<std::string> Describe(const json& iEvents, const std::string& iPhase)
{
    std::map<int, std::string> processes;
    std::map<int, std::string> threads;
    std::vector<std::string> texts;
    for (const json& event : iEvents)
    {
        if (event["name"] == "process_name")
            processes[event["pid"]] = event["args"]["name"];
        if (event["name"] == "thread_name")
            threads[event["tid"]] = event["args"]["name"];
        if (event["ph"] != iPhase)
            continue;
        const auto toText = [](double iMicroseconds) { return json(iMicroseconds / cSecond).dump(); };
        const double start = event["ts"];
        texts.push_back(processes[event["pid"]] + "/" + threads[event["tid"]] + ": " +
                        event["name"].get<std::string>() + " " + toText(start));
        if (event.contains("dur"))
            texts.back() += "-" + toText(start + event["dur"].get<double>());
    }
    return texts;
}

using Texts = std::vector<std::string>;

TEST(Trace, DrawsWorkersJobsAndArrows)
{
    QORMonitorDetail job = MakeDetail(MakeRow(6, EnumHostState::Running, JobExecuting));
    QORMonitorDetail child{.mRow = MakeRow(7, EnumHostState::Queued, JobReady)};
    child.mVisits = {{1, cNoon + 5 * cSecond, 0, 0}};
    const json events = MakeTrace({job, child}, cNoon, cNoon + 8 * cSecond);
    EXPECT_EQ(
        Describe(events, "X"),
        (Texts{"workers of unit 1/worker 1: step 3 1.0-2.0", "workers of unit 2/worker 1: step 4 3.0-4.0",
               "workers of unit 3/worker 1: step 10 4.0-8.0", "jobs/job 6: job 6 0.078123-8.0",
               "jobs/job 6: queued: unit 1 0.5-1.0", "jobs/job 6: step 3 1.0-2.0", "jobs/job 6: queued: unit 2 2.0-3.0",
               "jobs/job 6: step 4 3.0-4.0", // given up: until the next one began
               "jobs/job 6: step 10 4.0-8.0", "jobs/job 7: job 7 0.078123-8.0", "jobs/job 7: queued: unit 1 5.0-8.0"}));
    EXPECT_EQ(Describe(events, "s"), (Texts{"workers of unit 1/worker 1: job 1.0", "jobs/job 6: child 0.078123"}));
    EXPECT_EQ(Describe(events, "t"), (Texts{"workers of unit 2/worker 1: job 3.0"}));
    EXPECT_EQ(Describe(events, "f"), (Texts{"workers of unit 3/worker 1: job 4.0", "jobs/job 7: child 0.078123"}));
    const auto arrow =
        std::find_if(events.begin(), events.end(), [](const json& iEvent) { return iEvent["ph"] == "f"; });
    EXPECT_EQ(*arrow, json::parse(R"({"ph": "f", "name": "job", "cat": "job", "id": 1, "pid": 4, "tid": 3,
                                      "ts": 4000000, "bp": "e"})"));
    const auto step =
        std::find_if(events.begin(), events.end(), [](const json& iEvent) { return iEvent["name"] == "step 4"; });
    EXPECT_EQ((*step)["args"], json::parse(R"({"job": 6, "user": "anna", "kind": "Report request",
                                                     "status": "Executing", "step": 4, "outcome": "given up"})"));
}

TEST(Trace, ShowsWhatLiesInTheWindow)
{
    const QORMonitorDetail job = MakeDetail(MakeRow(7, EnumHostState::Ended, JobCompleted));
    const auto spans = Describe(MakeTrace({job}, cNoon + 5 * cSecond / 2, cNoon + 7 * cSecond / 2), "X");
    EXPECT_EQ(spans, (Texts{"workers of unit 2/worker 1: step 4 0.5-1.0", "jobs/job 7: job 7 0.0-1.0",
                            "jobs/job 7: queued: unit 2 0.0-0.5", "jobs/job 7: step 4 0.5-1.0"}));
    EXPECT_EQ(Describe(MakeTrace({job}, cNoon + 2 * cSecond, cNoon + 3 * cSecond), "X"),
              (Texts{"workers of unit 1/worker 1: step 3 0.0-0.0", "workers of unit 2/worker 1: step 4 1.0-1.0",
                     "jobs/job 7: job 7 0.0-1.0", "jobs/job 7: queued: unit 2 0.0-0.0", "jobs/job 7: step 3 0.0-0.0",
                     "jobs/job 7: step 4 1.0-1.0"}));
}

TEST(Trace, DrawsATimelineAsItIsDescribed)
{
    QORMonitorDetail running = MakeDetail(MakeRow(7, EnumHostState::Running, JobExecuting));
    running.mFinished.resize(1);
    running.mVisits.resize(1);
    QORMonitorDetail other{.mRow = MakeRow(8, EnumHostState::Running, JobExecuting)};
    other.mTodo = {{5, 3, 9, cNoon + 6 * cSecond, 0}};
    const auto timeline = nlohmann::ordered_json::parse(
        QORMONITOR::MakeTimelineJson(MakeNames(), {running, other}, cNoon, cNoon + 8 * cSecond));
    EXPECT_EQ(timeline, nlohmann::ordered_json::parse(R"({
        "from": "2026-11-21T12:00:00.000000Z", "to": "2026-11-21T12:00:08.000000Z",
        "tracks": [{"unit": 1, "unitName": "unit 1", "worker": 1, "thread": 11,
                    "spans": [{"job": 7, "step": 3, "name": "step 3", "user": "anna", "start": 1.0, "end": 2.0,
                               "outcome": "done"}]},
                   {"unit": 3, "unitName": "unit 3", "worker": 1, "thread": 9,
                    "spans": [{"job": 8, "step": 5, "name": "step 5", "user": "anna", "start": 6.0, "end": 8.0,
                               "outcome": "running"}]},
                   {"unit": 3, "unitName": "unit 3", "worker": 2, "thread": 13,
                    "spans": [{"job": 7, "step": 10, "name": "step 10", "user": "anna", "start": 4.0, "end": 8.0,
                               "outcome": "running"}]}],
        "queues": [{"unit": 1, "unitName": "unit 1",
                    "spans": [{"job": 7, "user": "anna", "start": 0.5, "end": 1.0}]}]})"));
}

/// Whatever the clocks did: on each track spans nest or are apart, and arrows begin and end in a span.
TEST(Trace, NestsSpansOfAnyTimes)
{
    std::mt19937 random(7);
    const auto draw = [&](int iMost) { return static_cast<int>(random() % (static_cast<unsigned>(iMost) + 1)); };
    const auto drawTime = [&] { return draw(9) == 0 ? 0 : cNoon + draw(100); };
    for (int round = 0; round < 300; ++round)
    {
        std::vector<QORMonitorDetail> jobs;
        for (int id = 0; id < 4; ++id)
        {
            const auto identity = std::make_shared<QORMonitorIdentity>(
                QORMonitorIdentity{.mId = draw(3), .mParentId = draw(3) - 1, .mCreated = drawTime()});
            const auto state = static_cast<EnumHostState>(draw(5));
            QORMonitorDetail job{
                {.mpIdentity = identity, .mState = state, .mEnded = state == EnumHostState::Ended ? drawTime() : 0}};
            for (int i = draw(4); i > 0; --i)
                job.mFinished.push_back({i, draw(2), static_cast<DWORD>(draw(2)), drawTime(), drawTime()});
            for (int i = draw(2); i > 0; --i)
                job.mTodo.push_back({i, draw(2), static_cast<DWORD>(draw(2)), drawTime(), 0});
            for (int i = draw(4); i > 0; --i)
                job.mVisits.push_back({draw(2), drawTime(), drawTime(), drawTime()});
            jobs.push_back(std::move(job));
        }
        constexpr int cWindow = 60;
        std::map<int, std::vector<std::pair<int, int>>> tracks;
        std::map<int, std::set<std::string>> flows;
        const json events = MakeTrace(jobs, cNoon + 20, cNoon + 20 + cWindow);
        for (const json& event : events)
            if (event["ph"] == "X")
                tracks[event["tid"]].emplace_back(event["ts"], event["ts"].get<int>() + event["dur"].get<int>());
        for (const json& event : events)
            if (event.contains("id"))
            {
                EXPECT_TRUE(event["ph"] == "t" || flows[event["id"]].insert(event["ph"]).second) << "an id comes twice";
                EXPECT_TRUE(tracks.contains(event["tid"])) << "an arrow in no track";
            }
        for (const auto& [id, phases] : flows)
            EXPECT_EQ(phases, (std::set<std::string>{"f", "s"}));
        for (const auto& [track, spans] : tracks)
            for (std::size_t i = 0; i < spans.size(); ++i)
            {
                const auto& [start, end] = spans[i];
                EXPECT_TRUE(0 <= start && start <= end && end <= cWindow) << start << "-" << end;
                for (std::size_t j = 0; j < i; ++j)
                {
                    const auto& [otherStart, otherEnd] = spans[j];
                    EXPECT_TRUE(end <= otherStart || otherEnd <= start || (otherStart <= start && end <= otherEnd))
                        << otherStart << "-" << otherEnd << " and " << start << "-" << end;
                }
            }
    }
}

} // namespace
