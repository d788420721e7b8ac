#include "monitor/Forms.h"
#include "monitor/Utf8.h"

#include <algorithm>

namespace QORMONITOR
{

std::vector<std::string> Align(const std::vector<TextColumn>& iColumns, std::vector<std::vector<std::string>> iRows)
{
    std::vector<std::size_t> widths(iColumns.size());
    for (std::vector<std::string>& row : iRows)
        for (std::size_t i = 0; i < widths.size(); ++i)
        {
            row.at(i) = CutToWidth(ToLine(row[i]), iColumns[i].mWidest);
            widths[i] = std::max(widths[i], WidthOf(row[i]));
        }
    std::vector<std::string> lines;
    lines.reserve(iRows.size());
    for (const std::vector<std::string>& row : iRows)
    {
        std::string line;
        for (std::size_t i = 0; i < widths.size(); ++i)
        {
            const std::string blanks(widths[i] - WidthOf(row[i]), ' ');
            line += i == 0 ? "" : "  ";
            line += iColumns[i].mbToTheRight ? blanks + row[i] : row[i] + blanks;
        }
        lines.push_back(line.substr(0, line.find_last_not_of(' ') + 1));
    }
    return lines;
}

std::string MakeTable(const Names& iNames, const QORMonitorPage& iPage, std::size_t iColumns, std::size_t iLines)
{
    constexpr double cMicroseconds = 1e6;
    const std::vector<TextColumn> columns = {
        {"job", 11, true}, {"user", 16},          {"status", 20},        {"unit", 20},
        {"step", 28},      {"since s", 12, true}, {"progress", 8, true}, {"description"},
    };
    std::vector<std::vector<std::string>> rows(1);
    for (const TextColumn& column : columns)
        rows.front().emplace_back(column.mHeading);
    for (std::size_t i = 0; i < std::min(iPage.mRows.size(), iLines); ++i)
    {
        const QORMonitorRow& row = iPage.mRows[i];
        const QORMonitorIdentity& identity = *row.mpIdentity;
        const QORMonitorTime since = row.mEnded == 0 ? row.mSince : row.mEnded;
        const QORMonitorTime time = std::max<QORMonitorTime>(iPage.mNow - since, 0);
        rows.push_back({std::to_string(identity.mId), identity.mUser, GetStatusName(row.mStatus),
                        row.mUnit > 0 ? iNames.GetUnit(row.mUnit) : "", iNames.GetStep(row.mStep),
                        since == 0 ? "-" : FormatDecimals(static_cast<double>(time) / cMicroseconds, 1),
                        std::to_string(row.mProgress) + " %", identity.mDescription});
    }
    std::vector<std::string> lines = Align(columns, std::move(rows));
    const std::size_t left = iPage.mTotal - std::min(iPage.mTotal, iPage.mOffset);
    if (iLines > 0 && (lines.size() > iLines || left + 1 > lines.size()))
    {
        lines.resize(std::min(lines.size(), iLines - 1));
        const std::size_t shown = lines.size() - std::min<std::size_t>(lines.size(), 1);
        lines.push_back("... and " + std::to_string(left - std::min(left, shown)) + " more");
    }
    lines.resize(std::min(lines.size(), iLines));
    std::string text;
    for (const std::string& line : lines)
        text += CutToWidth(line, iColumns) + "\n";
    return text;
}

} // namespace QORMONITOR
