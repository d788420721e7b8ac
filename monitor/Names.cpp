#include "monitor/Forms.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace QORMONITOR
{

namespace
{

template <class... Arguments>
std::string Format(const char* iFormat, Arguments... iArguments)
{
    std::array<char, 400> text{}; // the longest double has 309 digits before the point
    const int length = std::snprintf(text.data(), text.size(), iFormat, iArguments...);
    return {text.data(), static_cast<std::size_t>(length)};
}

std::string ToText(QORMonitorTime iTime, const char* iFormat, int iUnit)
{
    using namespace std::chrono;
    if (iTime == 0)
        return "-";
    const sys_time<microseconds> time{microseconds(iTime)};
    const sys_days day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    return Format(iFormat, static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()),
                  static_cast<int>(clock.subseconds().count()) / iUnit);
}

} // namespace

std::string ToLanguageName(unsigned iLanguage)
{
    constexpr std::pair<unsigned, const char*> cNames[] = {
        {0x04, "zh"}, {0x05, "cs"}, {0x06, "da"}, {0x07, "de"}, {0x09, "en"}, {0x0A, "es"}, {0x0B, "fi"},
        {0x0C, "fr"}, {0x0E, "hu"}, {0x10, "it"}, {0x11, "ja"}, {0x12, "ko"}, {0x13, "nl"}, {0x14, "no"},
        {0x15, "pl"}, {0x16, "pt"}, {0x19, "ru"}, {0x1D, "sv"}, {0x1F, "tr"}, {0x22, "uk"},
    };
    for (const auto& [language, name] : cNames)
        if (language == (iLanguage & 0x3FF))
            return name;
    return Format("0x%04X", iLanguage);
}

Names::Names(Namer iUnitNamer, Namer iStepNamer) : mUnitNamer(std::move(iUnitNamer)), mStepNamer(std::move(iStepNamer))
{
}

const std::string& Names::Get(const Namer& iNamer, std::map<int, std::string>& ioKnown, int iId)
{
    const auto [known, bNew] = ioKnown.try_emplace(iId);
    if (bNew)
        known->second = ToLine(iNamer(iId));
    return known->second;
}

std::string GetStatusName(int iStatus)
{
    constexpr std::pair<int, const char*> cNames[] = {
        {JobReady, "Ready"},         {JobExecuting, "Executing"},
        {JobWaiting, "Waiting"},     {JobCompleted, "Completed"},
        {JobCancelled, "Cancelled"}, {JobStoppedWithError, "Stopped with error"},
        {JobStopped, "Stopped"},     {JobReplied, "Replied"},
        {JobPausing, "Pausing"},     {JobHeld18, "Waiting for children"},
    };
    for (const auto& [status, name] : cNames)
        if (status == iStatus)
            return name;
    return "status " + std::to_string(iStatus);
}

std::string GetStateName(EnumHostState iState)
{
    switch (iState)
    {
    case EnumHostState::Queued:
        return "queued";
    case EnumHostState::Running:
        return "running";
    case EnumHostState::Paused:
        return "paused";
    case EnumHostState::WaitingForChildren:
        return "waiting";
    case EnumHostState::Delayed:
        return "delayed";
    case EnumHostState::Ended:
        return "ended";
    }
    return "state " + std::to_string(static_cast<int>(iState));
}

std::string GetTypeName(int iType)
{
    if (iType < RequestMetaData || iType > RequestExternalNotification)
        return "type " + std::to_string(iType);
    return QBase::WideCharToUTF8(QORJob::ConvertIDToName(iType));
}

/// A step that was stopped for a pause, or for another try, is to be run again.
const char* GetOutcome(const QORMonitorRow& iJob, const QORMonitorStep& iStep, bool ibFinished)
{
    const bool bOver = ibFinished || iJob.mState == EnumHostState::Ended;
    if (iStep.mStart == 0)
        return bOver ? "passed" : "todo";
    if (bOver)
        return iStep.mFinish == 0 ? "given up" : "done";
    return iJob.mState == EnumHostState::Running && iStep.mFinish == 0 ? "running" : "todo";
}

std::string ToIso(QORMonitorTime iTime) { return ToText(iTime, "%04d-%02u-%02uT%02d:%02d:%02d.%06dZ", 1); }
std::string ToReadable(QORMonitorTime iTime) { return ToText(iTime, "%04d-%02u-%02u %02d:%02d:%02d.%03d UTC", 1'000); }
std::string ToHex(HRESULT iCode) { return Format("0x%08X", static_cast<unsigned>(iCode)); }
std::string FormatDecimals(double iNumber, int iDecimals) { return Format("%.*f", iDecimals, iNumber); }

std::optional<ErrorText> FindErrors(const QORMonitorDetail& iJob, unsigned iLanguage)
{
    constexpr unsigned cEnglish = 0x0409;
    const unsigned any = iJob.mErrors.empty() ? cEnglish : iJob.mErrors.begin()->first;
    for (const unsigned language : {iLanguage, cEnglish, any})
    {
        const auto found = iJob.mErrors.find(language);
        if (found == iJob.mErrors.end() || found->second.empty())
            continue;
        ErrorText errors{ToLanguageName(language), {}};
        for (std::string_view rest = found->second; !rest.empty();)
        {
            const std::string_view line = rest.substr(0, rest.find('\n'));
            errors.mLines.push_back(ToLine(line));
            rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        }
        return errors;
    }
    return {};
}

} // namespace QORMONITOR
