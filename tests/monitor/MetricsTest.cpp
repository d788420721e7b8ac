#include "base/Categories.h"
#include "job/KernelCounters.h"
#include "platform/QPerfMon.h"
#include "platform/builtin/PerfReadings.h"
#include "tests/monitor/MonitorValues.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>

namespace
{

using namespace MonitorValues;

/// By name and labels. Fails for what the format forbids: a sample apart from its metric's head, or one that comes
/// twice.
std::map<std::string, std::string> Read(const QORMonitorFigures& iFigures, const std::string& iSuffix = "")
{
    std::map<std::string, std::string> samples;
    std::istringstream text(QORMONITOR::MakeMetrics(MakeNames(iSuffix), iFigures, cNoon + 10 * cSecond));
    std::string metric;
    std::set<std::string> metrics;
    for (std::string line; std::getline(text, line);)
    {
        if (line.starts_with("# HELP "))
        {
            metric = line.substr(7, line.find(' ', 7) - 7);
            EXPECT_TRUE(metrics.insert(metric).second) << line;
            const char first = line.at(8 + metric.size());
            EXPECT_TRUE(first >= 'A' && first <= 'Z' && line.ends_with('.')) << "no sentence: " << line;
        }
        if (line.starts_with("# TYPE "))
        {
            const bool bSeconds = metric == "qorjob_step_run_seconds" || metric == "qorjob_queue_wait_seconds";
            const char* const type = metric.ends_with("_total") ? "counter" : bSeconds ? "histogram" : "gauge";
            EXPECT_EQ(line, "# TYPE " + metric + " " + type);
        }
        if (line.starts_with('#'))
            continue;
        const std::size_t value = line.rfind(' ');
        EXPECT_TRUE(line.starts_with(metric)) << line;
        EXPECT_TRUE(samples.emplace(line.substr(0, value), line.substr(value + 1)).second) << line;
    }
    return samples;
}

TEST(Metrics, ShowEachFigure)
{
    QORMonitorFigures figures;
    figures.mEnded = {{{1, JobCompleted}, 3}, {{1, JobCancelled}, 4}, {{2, JobStoppedWithError}, 5}};
    figures.mOpen = {{{2, JobExecuting}, 6}};
    figures.mGivenUp = {{{2, 4}, 7}};
    figures.mUnits = MakePage({}).mUnits;
    figures.mCounts = {41, 42, 43, 44, 45};
    figures.mGovernedBytes = 46;
    figures.mGovernedPeak = 47;
    figures.mKept = 48;
    figures.mKeptBytes = 49;
    const auto samples = Read(figures);
    const std::map<std::string, std::string> expected = {
        {R"(qorjob_jobs_ended_total{type="Report request",status="Completed"})", "3"},
        {R"(qorjob_jobs_ended_total{type="Report request",status="Cancelled"})", "4"},
        {R"(qorjob_jobs_ended_total{type="Document request",status="Stopped with error"})", "5"},
        {R"(qorjob_jobs_open{type="Document request",status="Executing"})", "6"},
        {R"(qorjob_steps_given_up_total{unit="2",unit_name="unit 2",step="4",step_name="step 4"})", "7"},
        {R"(qorjob_unit_queued_jobs{unit="2",unit_name="queries"})", "1"},
        {R"(qorjob_unit_busy_workers{unit="2",unit_name="queries"})", "6"},
        {R"(qorjob_unit_workers{unit="2",unit_name="queries"})", "8"},
        {R"(qorjob_unit_oldest_wait_seconds{unit="2",unit_name="queries"})", "3"},
        {R"(qorjob_unit_oldest_wait_seconds{unit="3",unit_name="reports"})", "0"},
        {"qorjob_host_jobs", "41"},
        {"qorjob_host_queued_jobs", "42"},
        {"qorjob_host_bytes", "43"},
        {"qorjob_host_late_threads", "44"},
        {"qorjob_host_missing_threads", "45"},
        {"qorjob_governed_bytes", "46"},
        {"qorjob_governed_peak_bytes", "47"},
        {"qorjob_kept_jobs", "48"},
        {"qorjob_kept_bytes", "49"},
    };
    for (const auto& [name, value] : expected)
        EXPECT_EQ(samples.contains(name) ? samples.at(name) : "missing", value) << name;
}

TEST(Metrics, AddHistogramsUp)
{
    QORMonitorFigures figures;
    QORMonitorHistogram& wait = figures.mWaitSeconds[{2, 4}];
    for (std::size_t i = 0; i < wait.mCounts.size(); ++i)
        wait.mCounts[i] = i + 1;
    wait.mSum = 1.0625;
    figures.mStepSeconds[{3, 5}].mCounts.back() = 1;
    const auto samples = Read(figures);
    const auto get = [&](const std::string& iRest) { return samples.at("qorjob_queue_wait_seconds_" + iRest); };
    const std::string labels = R"(unit="2",unit_name="unit 2",step="4",step_name="step 4")";
    std::size_t count = 0;
    for (std::size_t i = 0; i + 1 < wait.mCounts.size(); ++i)
    {
        count += i + 1;
        std::ostringstream bound;
        bound << QORMonitorHistogram::cBounds[i];
        EXPECT_EQ(get("bucket{" + labels + ",le=\"" + bound.str() + "\"}"), std::to_string(count));
    }
    EXPECT_EQ(get("bucket{" + labels + R"(,le="+Inf"})"), "120");
    EXPECT_EQ(get("count{" + labels + "}"), "120");
    EXPECT_EQ(get("sum{" + labels + "}"), "1.0625");
    const std::string other = R"({unit="3",unit_name="unit 3",step="5",step_name="step 5")";
    EXPECT_EQ(samples.at("qorjob_step_run_seconds_bucket" + other + R"(,le="60"})"), "0");
    EXPECT_EQ(samples.at("qorjob_step_run_seconds_count" + other + "}"), "1");
}

TEST(Metrics, ShowTheLibrarysCounters)
{
    Builtin::PerfReadings::Reset();
    const int cOwn = 60;
    Builtin::PerfReadings::NameCounter(cOwn, "cache \"hits\"\\");
    Builtin::PerfReadings::NameCounter(CounterReportsOpen, "the library's");
    int value = 1'000;
    for (const QORJOB::CounterName& counter : QORJOB::cCounterNames)
        QPerfMon::GetPerformanceMonitor()->Add(counter.mId, ++value);
    QPerfMon::GetPerformanceMonitor()->Add(cOwn, -3);
    for (const char* name : {"two\nlines", "two\tlines"})
    {
        const unsigned profile = QPerfMon::GetProfileIndex(name);
        QPerfMon::GetQORProfiler()->AddCount(profile, name[3] == '\n' ? 2 : 3);
        QPerfMon::GetQORProfiler()->AddElapsedTime(profile, name[3] == '\n' ? 250'000 : 1'500'000);
    }
    const auto samples = Read({});
    value = 1'000;
    for (const char* name : {"qorjob_report_first_wait_seconds_total",
                             "qorjob_reports_active",
                             "qorjob_reports_completed_total",
                             "qorjob_reports_not_completed_total",
                             "qorjob_reports_alive",
                             "qorjob_reports_created_total",
                             "qorjob_requests_created_total",
                             "qorjob_report_seconds_total",
                             "qorjob_metadata_requests_created_total",
                             "qorjob_metadata_requests_failed_total",
                             "qorjob_element_requests_created_total",
                             "qorjob_element_requests_failed_total",
                             "qorjob_documents_created_total",
                             "qorjob_documents_completed_total",
                             "qorjob_documents_not_completed_total",
                             "qorjob_reports_kind7_completed_total",
                             "qorjob_reports_kind8_completed_total",
                             "qorjob_reports_kind7_seconds_total",
                             "qorjob_reports_kind8_seconds_total",
                             "qorjob_document_seconds_total"}) // as the library counts its counters up
    {
        ++value;
        const bool bSeconds = std::string_view(name).ends_with("_seconds_total");
        std::ostringstream seconds;
        seconds << value / 1e3;
        EXPECT_EQ(samples.contains(name) ? samples.at(name) : "missing",
                  bSeconds ? seconds.str() : std::to_string(value))
            << name;
    }
    EXPECT_EQ(samples.at(R"(qorjob_server_reading{id="60",name="cache \"hits\"\\"})"), "-3");
    EXPECT_FALSE(samples.contains(R"(qorjob_server_reading{id=")" + std::to_string(CounterReportsOpen) +
                                  R"(",name="the library's"})"));
    EXPECT_EQ(samples.at("qorjob_jobs_alive"), "0");
    EXPECT_EQ(samples.at(R"(qorjob_profile_runs_total{profile="two lines"})"), "5") << "of two that are shown alike";
    EXPECT_EQ(samples.at(R"(qorjob_profile_seconds_total{profile="two lines"})"), "1.75");

    QPerfMon::GetPerformanceMonitor()->Add(CounterReportsOpen, -5'000);
    EXPECT_EQ(Read({}).at("qorjob_reports_alive"), "0");
    Builtin::PerfReadings::Reset();
}

TEST(Metrics, KeepUnitsAndStepsWithHostileOrEqualNamesApart)
{
    for (const std::string& text : cHostile)
    {
        QORMonitorFigures figures;
        figures.mUnits = {{.mId = 1, .mName = text}, {.mId = 2, .mName = text}};
        figures.mGivenUp = {{{1, 2}, 3}, {{1, 3}, 4}, {{2, 3}, 5}};
        Read(figures, text);
    }
}

} // namespace
