#include "monitor/Forms.h"

#include <utility>

namespace QORMONITOR
{

namespace
{

using Cells = std::vector<std::vector<std::string>>;

std::string ToDuration(QORMonitorTime iFrom, QORMonitorTime iTo)
{
    constexpr double cMicroseconds = 1e6;
    return iFrom == 0 || iTo == 0 ? "-" : FormatDecimals(static_cast<double>(iTo - iFrom) / cMicroseconds, 3) + " s";
}

std::string ToUnit(const Names& iNames, int iUnit, bool ibThere)
{
    return ibThere ? iNames.GetUnit(iUnit) + " (" + std::to_string(iUnit) + ")" : "-";
}

std::string ToStep(const Names& iNames, int iStep)
{
    return iNames.GetStep(iStep) + " (" + std::to_string(iStep) + ")";
}

std::string Describe(const QORMonitorRow& iRow)
{
    const QORMonitorIdentity& identity = *iRow.mpIdentity;
    return std::to_string(identity.mId) + ": " + GetTypeName(identity.mType) + ", " + GetStatusName(iRow.mStatus) +
           ", " + GetStateName(iRow.mState);
}

void AddLines(std::string& ioText, const std::vector<std::string>& iLines)
{
    for (const std::string& line : iLines)
        ioText += "  " + line + "\n";
}

/// With the heading only where there is something below it.
void AddTable(std::string& ioText, const char* iHeading, const std::vector<TextColumn>& iColumns, Cells iRows)
{
    if (iRows.empty())
        return;
    std::vector<std::string> headings;
    headings.reserve(iColumns.size());
    for (const TextColumn& column : iColumns)
        headings.emplace_back(column.mHeading);
    iRows.insert(iRows.begin(), std::move(headings));
    ioText += std::string(iHeading) + "\n";
    AddLines(ioText, Align(iColumns, std::move(iRows)));
}

Cells ToFields(const Names& iNames, const QORMonitorRow& iRow, const Family& iFamily)
{
    const QORMonitorIdentity& identity = *iRow.mpIdentity;
    const bool bEnded = iRow.mState == EnumHostState::Ended;
    const std::string parent = identity.mParentId == -1 ? "-" : std::to_string(identity.mParentId);
    Cells fields = {
        {"description", identity.mDescription},
        {"user", identity.mUser},
        {"login", identity.mLogin},
        {"project", identity.mProject},
        {"parent", iFamily.mParent ? Describe(*iFamily.mParent) : parent},
        {"priority", std::to_string(iRow.mPriority)},
        {"progress", std::to_string(iRow.mProgress) + " %"},
        {"unit", ToUnit(iNames, iRow.mUnit, iRow.mUnit > 0)},
        {"step", ToStep(iNames, iRow.mStep)},
        {"created", ToReadable(identity.mCreated)},
        {"since", ToReadable(iRow.mSince)},
        {"ended", ToReadable(iRow.mEnded)},
        {"lived", ToDuration(identity.mCreated, iRow.mEnded)},
        {"in queues", bEnded ? FormatDecimals(iRow.mWaiting, 3) + " s" : "-"},
        {"in steps", bEnded ? FormatDecimals(iRow.mRunning, 3) + " s" : "-"},
    };
    if (QORJOB::HasFailed(iRow.mStatus))
        fields.push_back({"error", ToHex(iRow.mErrorCode) + " " + iRow.mReason});
    return fields;
}

Cells ToSteps(const Names& iNames, const QORMonitorDetail& iJob)
{
    Cells steps;
    const auto add = [&](const QORMonitorStep& iStep, bool ibFinished) {
        steps.push_back({GetOutcome(iJob.mRow, iStep, ibFinished), ToStep(iNames, iStep.mId),
                         ToUnit(iNames, iStep.mUnit, iStep.mUnit >= 0),
                         iStep.mThread == 0 ? "-" : std::to_string(iStep.mThread), ToReadable(iStep.mStart),
                         ToReadable(iStep.mFinish), ToDuration(iStep.mStart, iStep.mFinish)});
    };
    for (const QORMonitorStep& step : iJob.mFinished)
        add(step, true);
    for (const QORMonitorStep& step : iJob.mTodo)
        add(step, false);
    return steps;
}

Cells ToVisits(const Names& iNames, const QORMonitorDetail& iJob)
{
    Cells visits;
    for (const QORMonitorVisit& visit : iJob.mVisits)
        visits.push_back({ToUnit(iNames, visit.mUnit, true), ToReadable(visit.mEnter), ToReadable(visit.mStart),
                          ToReadable(visit.mExit), ToDuration(visit.mEnter, visit.mStart)});
    return visits;
}

Cells ToItems(const QORMonitorDetail& iJob)
{
    Cells items;
    for (const QORMonitorItem& item : iJob.mItems)
    {
        QBase::wstring name;
        QORJobData::GetName(item.mType, name); // empty where no module has named it
        const std::string type = "type " + std::to_string(item.mType);
        items.push_back({std::to_string(item.mSlot),
                         name.empty() ? type : QBase::WideCharToUTF8(name) + " (" + type + ")",
                         item.mSize == 0 ? "too large to be kept" : std::to_string(item.mSize) + " bytes"});
    }
    return items;
}

Cells ToChildren(const Family& iFamily)
{
    Cells children;
    for (const QORMonitorRow& child : iFamily.mChildren)
        children.push_back({Describe(child), child.mpIdentity->mUser, child.mpIdentity->mDescription});
    return children;
}

} // namespace

std::string MakeReadableDump(const Names& iNames, const QORMonitorDetail& iJob, const Family& iFamily,
                             unsigned iLanguage)
{
    constexpr std::size_t cLongest = 4'000;
    std::string text = "job " + Describe(iJob.mRow) + "\n";
    AddLines(text, Align({{"", cLongest}, {"", cLongest}}, ToFields(iNames, iJob.mRow, iFamily)));
    if (const auto errors = FindErrors(iJob, iLanguage))
    {
        text += "error text (" + errors->mLanguage + ")\n";
        AddLines(text, errors->mLines);
    }
    AddTable(text, "steps",
             {{"outcome"}, {"step"}, {"unit"}, {"thread", 10, true}, {"start"}, {"finish"}, {"took", 20, true}},
             ToSteps(iNames, iJob));
    AddTable(text, "visits", {{"unit"}, {"entered"}, {"started"}, {"left"}, {"waited", 20, true}},
             ToVisits(iNames, iJob));
    AddTable(text, "children", {{"job"}, {"user"}, {"description"}}, ToChildren(iFamily));
    AddTable(text, "data items", {{"slot", 10, true}, {"type"}, {"size"}}, ToItems(iJob));
    return text;
}

} // namespace QORMONITOR
