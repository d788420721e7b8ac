#include "Metrics.h"

#include "Text.h"
#include "base/Categories.h"
#include "job/KernelCounters.h"
#include "platform/builtin/PerfReadings.h"
#include "tasks/Steps.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace
{

std::string MakeProfileTable()
{
    std::vector<std::vector<std::string>> lines;
    for (const Builtin::PerfReadings::Profile& profile : Builtin::PerfReadings::GetProfiles())
        if (profile.mCount != 0)
            lines.push_back({profile.mName, std::to_string(profile.mCount),
                             FormatDecimals(static_cast<double>(profile.mMicroseconds) / 1000, 2)});
    return ToTextTable({{"profile"}, {"runs", true}, {"total ms", true}}, lines);
}

/// A pulse is one stay in a queue; its category tells for which step the job was queued.
std::string MakeWaitTable()
{
    struct Wait
    {
        std::size_t mJobs = 0;
        double mTotal = 0;
        double mLongest = 0;
    };
    std::map<int, Wait> waits;
    for (const Builtin::PerfReadings::Pulse& pulse : Builtin::PerfReadings::TakePulses())
    {
        Wait& wait = waits[pulse.mCategory - PulseCategoryJobFirst];
        const double milliseconds = (pulse.mNow - pulse.mEnqueueTime) * 1000;
        ++wait.mJobs;
        wait.mTotal += milliseconds;
        wait.mLongest = std::max(wait.mLongest, milliseconds);
    }
    std::vector<std::vector<std::string>> lines;
    lines.reserve(waits.size());
    for (const auto& [step, wait] : waits)
        lines.push_back({StepNameOf(step), std::to_string(wait.mJobs),
                         FormatDecimals(wait.mTotal / static_cast<double>(wait.mJobs), 2),
                         FormatDecimals(wait.mLongest, 2)});
    return ToTextTable({{"queued for"}, {"jobs", true}, {"mean wait ms", true}, {"longest ms", true}}, lines);
}

std::string MakeCounterTable()
{
    std::vector<std::vector<std::string>> lines;
    for (const Builtin::PerfReadings::Counter& counter : Builtin::PerfReadings::GetCounters())
        if (counter.mValue != 0)
            lines.push_back({std::to_string(counter.mId), std::to_string(counter.mValue)});
    return ToTextTable({{"counter", true}, {"value", true}}, lines);
}

/// Under which the library counts its objects.
constexpr std::pair<int, const char*> cCategories[] = {
    {InstanceCategoryJob, "QORJob"},
    {InstanceCategoryTask, "QORJobTask"},
    {InstanceCategoryProcessContext, "CKDXProcessContext"},
};

std::string ToHead(const std::string& iMetric, const char* iType, const char* iHelp)
{
    return "# HELP " + iMetric + " " + iHelp + "\n# TYPE " + iMetric + " " + iType + "\n";
}

std::string Quote(const std::string& iText)
{
    std::string quoted = "\"";
    for (const char c : iText)
        quoted += c == '\n' ? "\\n" : c == '"' || c == '\\' ? std::string{'\\', c} : std::string(1, c);
    return quoted + '"';
}

std::string ToLine(const std::string& iMetric, const std::string& iLabels, const std::string& iValue)
{
    return iMetric + "{" + iLabels + "} " + iValue + "\n";
}

/// Some go down again, so none is a counter in the sense of the format.
std::string MakeCounters()
{
    const std::string metric = "qorjob_counter";
    std::string text = ToHead(metric, "gauge", "Counters of the performance monitor, by number.");
    for (const Builtin::PerfReadings::Counter& counter : Builtin::PerfReadings::GetCounters())
        text += ToLine(metric, "id=\"" + std::to_string(counter.mId) + "\",name=" + Quote(counter.mName),
                       std::to_string(counter.mValue));
    return text;
}

std::string MakeProfiles()
{
    constexpr double cMicrosecondsPerSecond = 1e6;
    constexpr int cDecimals = 6;
    const std::string runs = "qorjob_profile_runs_total";
    const std::string seconds = "qorjob_profile_seconds_total";
    std::string runLines;
    std::string secondLines;
    for (const Builtin::PerfReadings::Profile& profile : Builtin::PerfReadings::GetProfiles())
    {
        const std::string label = "profile=" + Quote(profile.mName);
        const double time = static_cast<double>(profile.mMicroseconds) / cMicrosecondsPerSecond;
        runLines += ToLine(runs, label, std::to_string(profile.mCount));
        secondLines += ToLine(seconds, label, FormatDecimals(time, cDecimals));
    }
    return ToHead(runs, "counter", "Runs of steps and of jobs, by the profile's name.") + runLines +
           ToHead(seconds, "counter", "Time that the runs took.") + secondLines;
}

std::string MakeInstances(const char* iMetric, const char* iHelp, std::int64_t (*iReading)(int))
{
    std::string text = ToHead(iMetric, "gauge", iHelp);
    for (const auto& [category, name] : cCategories)
        text += ToLine(iMetric, "class=" + Quote(name), std::to_string(iReading(category)));
    return text;
}

} // namespace

void StartProfile(bool ibWaits)
{
    for (const QORJOB::CounterName& counter : QORJOB::cCounterNames)
        Builtin::PerfReadings::NameCounter(counter.mId, counter.mName);
    Builtin::PerfReadings::EnableProfiling(true);
    Builtin::PerfReadings::EnablePulses(ibWaits);
}

std::string MakeProfileReport() { return MakeProfileTable() + "\n" + MakeWaitTable() + "\n" + MakeCounterTable(); }

std::string MakeMetrics()
{
    return MakeCounters() + MakeProfiles() +
           MakeInstances("qorjob_instances", "Objects counted up less down; jobs on the heap count down twice.",
                         Builtin::PerfReadings::GetInstanceCount) +
           MakeInstances("qorjob_registered_instances", "Objects that live; only jobs are registered.",
                         Builtin::PerfReadings::GetLiveInstances);
}
