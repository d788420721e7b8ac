// What the views share: names for numbers, and their bodies, which make texts of values only.
#pragma once

#include "monitor/QORMonitorViews.h"

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace QORMONITOR
{

/// The names of units and steps, safe to show. One object is for one view: each name is asked for once.
class Names
{
public:
    using Namer = std::function<std::string(int iId)>;
    Names(Namer iUnitNamer, Namer iStepNamer);

    const std::string& GetUnit(int iId) const { return Get(mUnitNamer, mUnits, iId); }
    const std::string& GetStep(int iId) const { return Get(mStepNamer, mSteps, iId); }

private:
    static const std::string& Get(const Namer& iNamer, std::map<int, std::string>& ioKnown, int iId);

    Namer mUnitNamer;
    Namer mStepNamer;
    mutable std::map<int, std::string> mUnits;
    mutable std::map<int, std::string> mSteps;
};

/// A job and those it belongs with.
struct Family
{
    std::optional<QORMonitorRow> mParent;
    std::vector<QORMonitorRow> mChildren;
};

std::string MakeListJson(const Names& iNames, const QORMonitorPage& iPage);
std::string MakeJobJson(const Names& iNames, const QORMonitorDetail& iJob, const Family& iFamily, unsigned iLanguage);
std::string MakeTimelineJson(const Names& iNames, const std::vector<QORMonitorDetail>& iJobs, QORMonitorTime iFrom,
                             QORMonitorTime iTo);
std::string MakeMetrics(const Names& iNames, const QORMonitorFigures& iFigures, QORMonitorTime iNow);
std::string MakeTrace(const Names& iNames, const std::vector<QORMonitorDetail>& iJobs, QORMonitorTime iFrom,
                      QORMonitorTime iTo);
std::string MakeReadableDump(const Names& iNames, const QORMonitorDetail& iJob, const Family& iFamily,
                             unsigned iLanguage);
std::string MakeTable(const Names& iNames, const QORMonitorPage& iPage, std::size_t iColumns, std::size_t iLines);

/// "todo", "running", "done", "given up" or "passed".
const char* GetOutcome(const QORMonitorRow& iJob, const QORMonitorStep& iStep, bool ibFinished);
/// "2026-11-21 14:05:09.078 UTC", or "-" for one that isn't set.
std::string ToReadable(QORMonitorTime iTime);
/// "0x80043095"
std::string ToHex(HRESULT iCode);
std::string FormatDecimals(double iNumber, int iDecimals);

/// The job's errors, a line each.
struct ErrorText
{
    std::string mLanguage; ///< "de"
    std::vector<std::string> mLines;
};

/// Of the languages that texts are likely to be in, such as "de"; others have a number. A country's form has its
/// language's name.
std::string ToLanguageName(unsigned iLanguage);

/// In that language, else in English, else in another one; nothing where there is none.
std::optional<ErrorText> FindErrors(const QORMonitorDetail& iJob, unsigned iLanguage);

struct TextColumn
{
    std::string_view mHeading;
    std::size_t mWidest = 1'000;
    bool mbToTheRight = false; ///< for numbers
};

/// The rows' cells below each other, without blanks at the ends of the lines. A cell that is too wide is cut, and no
/// text in it makes a line of its own.
std::vector<std::string> Align(const std::vector<TextColumn>& iColumns, std::vector<std::vector<std::string>> iRows);

} // namespace QORMONITOR
