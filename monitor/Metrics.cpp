#include "base/Categories.h"
#include "job/KernelCounters.h"
#include "monitor/Forms.h"
#include "platform/builtin/PerfReadings.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <concepts>
#include <cstdint>
#include <utility>

namespace QORMONITOR
{

namespace
{

constexpr double cMilliseconds = 1e3; // in a second
constexpr double cMicroseconds = 1e6;

/// A counter of the library as a metric. Counters of milliseconds are shown in seconds.
struct KernelMetric
{
    EnumKernelCounter mId;
    const char* mName;
    const char* mHelp;
    const char* mType = "counter";
};

constexpr KernelMetric cKernelMetrics[] = {
    {CounterReportQueueMilliseconds, "qorjob_report_first_wait_seconds_total",
     "Time from the reports' creation to their first start in a unit."},
    {CounterReportsExecuting, "qorjob_reports_active", "Reports that have begun and haven't ended.", "gauge"},
    {CounterReportsCompleted, "qorjob_reports_completed_total", "Reports that completed."},
    {CounterReportsFailed, "qorjob_reports_not_completed_total", "Reports that failed, were cancelled or stopped."},
    {CounterReportsOpen, "qorjob_reports_alive", "Reports that aren't destroyed yet.", "gauge"},
    {CounterReportsCreated, "qorjob_reports_created_total", "Reports that were created."},
    {CounterJobsCreated, "qorjob_requests_created_total", "Requests of all kinds that were created."},
    {CounterReportMilliseconds, "qorjob_report_seconds_total", "Time from the reports' creation to their close."},
    {CounterMetaDataRequests, "qorjob_metadata_requests_created_total", "Metadata requests that were created."},
    {CounterMetaDataFailures, "qorjob_metadata_requests_failed_total", "Metadata requests that failed."},
    {CounterElementRequests, "qorjob_element_requests_created_total", "Element requests that were created."},
    {CounterElementFailures, "qorjob_element_requests_failed_total", "Element requests that failed."},
    {CounterDocumentsCreated, "qorjob_documents_created_total", "Documents that were created."},
    {CounterDocumentsCompleted, "qorjob_documents_completed_total", "Documents that completed."},
    {CounterDocumentsFailed, "qorjob_documents_not_completed_total",
     "Documents that failed, were cancelled or stopped."},
    {CounterKind7Completed, "qorjob_reports_kind7_completed_total", "Reports of the execution kind 7 that completed."},
    {CounterKind8Completed, "qorjob_reports_kind8_completed_total", "Reports of the execution kind 8 that completed."},
    {CounterKind7Milliseconds, "qorjob_reports_kind7_seconds_total",
     "Time from the creation of reports of the execution kind 7 to their close."},
    {CounterKind8Milliseconds, "qorjob_reports_kind8_seconds_total",
     "Time from the creation of reports of the execution kind 8 to their close."},
    {CounterDocumentMilliseconds, "qorjob_document_seconds_total", "Time from the documents' creation to their close."},
};
static_assert(std::size(cKernelMetrics) == std::size(QORJOB::cCounterNames));

std::string ToText(std::integral auto iNumber) { return std::to_string(iNumber); }

/// The shortest that reads back as the same number, without an exponent.
std::string ToText(double iNumber)
{
    std::array<char, 400> text{}; // the longest double has 309 digits before the point
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), iNumber, std::chars_format::fixed);
    return {text.data(), end};
}

std::string Label(const char* iName, std::string_view iValue)
{
    std::string label = iName;
    label += "=\"";
    for (const char c : ToLine(iValue)) // which has no line feeds
        label.append(c == '"' || c == '\\' ? 1 : 0, '\\') += c;
    return label += '"';
}

/// By number and name: several units may have one name.
std::string UnitLabels(int iUnit, std::string_view iName)
{
    return Label("unit", ToText(iUnit)) + "," + Label("unit_name", iName);
}

class MetricsText
{
public:
    /// What is added then belongs to it.
    void Begin(const char* iName, const char* iType, const char* iHelp)
    {
        mpName = iName;
        mText.append("# HELP ").append(iName).append(" ").append(iHelp).append("\n");
        mText.append("# TYPE ").append(iName).append(" ").append(iType).append("\n");
    }

    template <class Number>
    void Add(const std::string& iLabels, Number iValue, const char* iSuffix = "")
    {
        mText.append(mpName).append(iSuffix);
        if (!iLabels.empty())
            mText.append("{").append(iLabels).append("}");
        mText.append(" ").append(ToText(iValue)).append("\n");
    }

    template <class Number>
    void AddOne(const char* iName, const char* iType, const char* iHelp, Number iValue)
    {
        Begin(iName, iType, iHelp);
        Add({}, iValue);
    }

    void AddHistogram(const std::string& iLabels, const QORMonitorHistogram& iHistogram)
    {
        std::uint64_t count = 0;
        for (std::size_t i = 0; i < iHistogram.mCounts.size(); ++i)
        {
            count += iHistogram.mCounts[i];
            const bool bBound = i < QORMonitorHistogram::cBounds.size();
            Add(iLabels + "," + Label("le", bBound ? ToText(QORMonitorHistogram::cBounds[i]) : "+Inf"), count,
                "_bucket");
        }
        Add(iLabels, iHistogram.mSum, "_sum");
        Add(iLabels, count, "_count");
    }

    std::string Take() { return std::move(mText); }

private:
    const char* mpName = "";
    std::string mText;
};

using CountsByTwo = std::map<std::pair<int, int>, std::uint64_t>;
using HistogramsByTwo = std::map<std::pair<int, int>, QORMonitorHistogram>;

std::string StepLabels(const Names& iNames, const std::pair<int, int>& iUnitAndStep)
{
    const auto& [unit, step] = iUnitAndStep;
    return UnitLabels(unit, iNames.GetUnit(unit)) + "," + Label("step", ToText(step)) + "," +
           Label("step_name", iNames.GetStep(step));
}

void AddJobs(MetricsText& ioText, const CountsByTwo& iJobs)
{
    for (const auto& [key, count] : iJobs)
        ioText.Add(Label("type", GetTypeName(key.first)) + "," + Label("status", GetStatusName(key.second)), count);
}

void AddHistograms(MetricsText& ioText, const Names& iNames, const HistogramsByTwo& iHistograms)
{
    for (const auto& [key, histogram] : iHistograms)
        ioText.AddHistogram(StepLabels(iNames, key), histogram);
}

void AddUnits(MetricsText& ioText, const std::vector<QORMonitorUnit>& iUnits, QORMonitorTime iNow)
{
    const auto add = [&](const char* iName, const char* iHelp, auto iValueOf) {
        ioText.Begin(iName, "gauge", iHelp);
        for (const QORMonitorUnit& unit : iUnits)
            ioText.Add(UnitLabels(unit.mId, unit.mName), iValueOf(unit));
    };
    const auto oldestWait = [iNow](const QORMonitorUnit& iUnit) {
        const QORMonitorTime wait = iUnit.mOldest == -1 ? 0 : iNow - iUnit.mOldestSince;
        return static_cast<double>(std::max<QORMonitorTime>(wait, 0)) / cMicroseconds;
    };
    add("qorjob_unit_queued_jobs", "Jobs in the unit's queue.", [](const auto& iUnit) { return iUnit.mQueued; });
    add("qorjob_unit_busy_workers", "Workers that run a step.", [](const auto& iUnit) { return iUnit.mBusy; });
    add("qorjob_unit_workers", "Workers that the unit should have.", [](const auto& iUnit) { return iUnit.mThreads; });
    add("qorjob_unit_oldest_wait_seconds", "How long the job that came first is in the unit's queue.", oldestWait);
}

/// The library's quirks end here: no reading of it is shown as less than nothing, which a gauge that was reset while
/// jobs were open, or a clock that was set, would be.
template <class Number>
Number AtLeastZero(Number iReading)
{
    return std::max<Number>(iReading, 0);
}

void AddKernelCounters(MetricsText& ioText)
{
    for (const KernelMetric& metric : cKernelMetrics)
    {
        const std::int64_t value = AtLeastZero(Builtin::PerfReadings::GetCounter(metric.mId));
        if (std::string_view(metric.mName).ends_with("_seconds_total"))
            ioText.AddOne(metric.mName, metric.mType, metric.mHelp, static_cast<double>(value) / cMilliseconds);
        else
            ioText.AddOne(metric.mName, metric.mType, metric.mHelp, value);
    }
    // Not by Increase less Decrease: jobs on the heap count down twice.
    ioText.AddOne("qorjob_jobs_alive", "gauge", "Jobs that aren't destroyed yet.",
                  AtLeastZero(Builtin::PerfReadings::GetLiveInstances(InstanceCategoryJob)));

    ioText.Begin("qorjob_server_reading", "gauge", "Counters that the server has named, by number; they may go down.");
    for (const Builtin::PerfReadings::Counter& counter : Builtin::PerfReadings::GetCounters())
        if (std::none_of(std::begin(cKernelMetrics), std::end(cKernelMetrics),
                         [&](const KernelMetric& iMetric) { return iMetric.mId == counter.mId; }))
            ioText.Add(Label("id", ToText(counter.mId)) + "," + Label("name", counter.mName), counter.mValue);
}

void AddProfiles(MetricsText& ioText)
{
    std::map<std::string, std::pair<std::uint64_t, double>> profiles; // by label: two names may be shown alike
    for (const Builtin::PerfReadings::Profile& profile : Builtin::PerfReadings::GetProfiles())
    {
        auto& [runs, seconds] = profiles[Label("profile", profile.mName)];
        runs += profile.mCount;
        seconds += static_cast<double>(profile.mMicroseconds) / cMicroseconds;
    }
    ioText.Begin("qorjob_profile_runs_total", "counter", "Runs of steps and of jobs while profiling is on.");
    for (const auto& [label, totals] : profiles)
        ioText.Add(label, totals.first);
    ioText.Begin("qorjob_profile_seconds_total", "counter", "Time that these runs took.");
    for (const auto& [label, totals] : profiles)
        ioText.Add(label, totals.second);
}

} // namespace

std::string MakeMetrics(const Names& iNames, const QORMonitorFigures& iFigures, QORMonitorTime iNow)
{
    MetricsText text;
    text.Begin("qorjob_jobs_ended_total", "counter", "Jobs that have ended, by what became of them.");
    AddJobs(text, iFigures.mEnded);
    text.Begin("qorjob_jobs_open", "gauge", "Jobs that haven't ended.");
    AddJobs(text, iFigures.mOpen);
    text.Begin("qorjob_step_run_seconds", "histogram", "How long steps ran.");
    AddHistograms(text, iNames, iFigures.mStepSeconds);
    text.Begin("qorjob_queue_wait_seconds", "histogram", "How long jobs were in a queue for a step.");
    AddHistograms(text, iNames, iFigures.mWaitSeconds);
    text.Begin("qorjob_steps_given_up_total", "counter", "Steps that took too long and were left to themselves.");
    for (const auto& [key, count] : iFigures.mGivenUp)
        text.Add(StepLabels(iNames, key), count);
    AddUnits(text, iFigures.mUnits, iNow);

    const QORHostCounts& counts = iFigures.mCounts;
    text.AddOne("qorjob_host_jobs", "gauge", "Jobs that are open, children included.", counts.mOpen);
    text.AddOne("qorjob_host_queued_jobs", "gauge", "Jobs that are in a queue.", counts.mQueued);
    text.AddOne("qorjob_host_bytes", "gauge", "Memory of the open jobs that the host's limit counts.", counts.mBytes);
    text.AddOne("qorjob_host_late_threads", "gauge", "Threads of steps that were given up and haven't come back.",
                counts.mLateThreads);
    text.AddOne("qorjob_host_missing_threads", "gauge", "Threads that couldn't be started.", counts.mMissingThreads);
    text.AddOne("qorjob_governed_bytes", "gauge", "Memory that the open jobs' governors have granted.",
                iFigures.mGovernedBytes);
    text.AddOne("qorjob_governed_peak_bytes", "gauge", "The most that one job with its children has had.",
                iFigures.mGovernedPeak);
    text.AddOne("qorjob_kept_jobs", "gauge", "Ended jobs that can be looked at.", iFigures.mKept);
    text.AddOne("qorjob_kept_bytes", "gauge", "About what these take.", iFigures.mKeptBytes);

    AddKernelCounters(text);
    AddProfiles(text);
    return text.Take();
}

} // namespace QORMONITOR
