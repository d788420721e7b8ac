#include "Metrics.h"

#include "TextTable.h"
#include "base/Categories.h"
#include "job/KernelCounters.h"
#include "platform/builtin/PerfReadings.h"

#include <cstdint>
#include <string>
#include <vector>

namespace
{

struct Category
{
    EnumInstanceCategory mId;
    const char* mName;
};

/// Under which the library counts its objects.
constexpr Category cCategories[] = {
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
    for (const Category& category : cCategories)
        text += ToLine(iMetric, "class=" + Quote(category.mName), std::to_string(iReading(category.mId)));
    return text;
}

} // namespace

Metrics::Metrics(const std::filesystem::path& iPath) : mFile(iPath)
{
    for (const QORJOB::CounterName& counter : QORJOB::cCounterNames)
        Builtin::PerfReadings::NameCounter(counter.mId, counter.mName);
    Builtin::PerfReadings::EnableProfiling(true);
}

bool Metrics::Write()
{
    mFile.Write(MakeCounters());
    mFile.Write(MakeProfiles());
    mFile.Write(MakeInstances("qorjob_instances", "Objects counted up less down; jobs on the heap count down twice.",
                              Builtin::PerfReadings::GetInstanceCount));
    mFile.Write(MakeInstances("qorjob_registered_instances", "Objects that live; only jobs are registered.",
                              Builtin::PerfReadings::GetLiveInstances));
    return mFile.Close();
}
