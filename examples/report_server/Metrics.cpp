#include "Metrics.h"

#include "TextTable.h"
#include "platform/builtin/PerfReadings.h"

#include <cstdint>
#include <string>
#include <vector>

namespace
{

struct NamedId
{
    int mId;
    const char* mName;
};

/// The counters by their numbers, which is all that the library knows them by, and what it counts there.
constexpr NamedId cCounters[] = {
    {0, "report queue milliseconds"},
    {1, "reports active"},
    {2, "reports completed"},
    {4, "reports failed"},
    {5, "report jobs alive"},
    {6, "reports created"},
    {7, "requests created"},
    {8, "report milliseconds"},
    {10, "metadata requests created"},
    {11, "metadata requests failed"},
    {12, "element requests created"},
    {13, "element requests failed"},
    {17, "documents created"},
    {18, "documents completed"},
    {19, "documents failed"},
    {38, "reports of kind 7 completed"},
    {39, "reports of kind 8 completed"},
    {42, "milliseconds of kind 7"},
    {43, "milliseconds of kind 8"},
    {50, "document milliseconds"},
};

/// The categories under which the library counts its objects.
constexpr NamedId cCategories[] = {{4, "QORJob"}, {7, "QORJobTask"}, {11, "CKDXProcessContext"}};

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
    for (const NamedId& counter : cCounters)
        text += ToLine(metric, "id=\"" + std::to_string(counter.mId) + "\",name=" + Quote(counter.mName),
                       std::to_string(Builtin::PerfReadings::GetCounter(counter.mId)));
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
    for (const NamedId& category : cCategories)
        text += ToLine(iMetric, "class=" + Quote(category.mName), std::to_string(iReading(category.mId)));
    return text;
}

} // namespace

Metrics::Metrics(const std::filesystem::path& iPath) : mFile(iPath) { Builtin::PerfReadings::EnableProfiling(true); }

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
