#include "Profile.h"

#include "Text.h"
#include "job/KernelCounters.h"
#include "platform/builtin/PerfReadings.h"
#include "tasks/Steps.h"

#include <algorithm>
#include <cstddef>
#include <map>
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

} // namespace

void StartProfile(bool ibWaits)
{
    for (const QORJOB::CounterName& counter : QORJOB::cCounterNames)
        Builtin::PerfReadings::NameCounter(counter.mId, counter.mName);
    Builtin::PerfReadings::EnableProfiling(true);
    Builtin::PerfReadings::EnablePulses(ibWaits);
}

std::string MakeProfileReport() { return MakeProfileTable() + "\n" + MakeWaitTable() + "\n" + MakeCounterTable(); }
