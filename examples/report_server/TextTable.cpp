#include "TextTable.h"

#include "Printable.h"
#include "Rows.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>

namespace
{

constexpr std::size_t cWidestCell = 100;

std::vector<std::string> ToCells(std::vector<std::string> iTexts)
{
    for (std::string& text : iTexts)
        text = OnOneLine(text, cWidestCell);
    return iTexts;
}

class Layout
{
public:
    Layout(const std::vector<TextColumn>& iColumns, const std::vector<std::vector<std::string>>& iLines)
        : mColumns(iColumns), mWidths(iColumns.size())
    {
        for (const std::vector<std::string>& line : iLines)
            for (std::size_t i = 0; i < mWidths.size(); ++i)
                mWidths[i] = std::max(mWidths[i], WidthOf(line.at(i)));
    }

    const std::vector<std::size_t>& GetWidths() const { return mWidths; }

    std::string ToLine(const std::vector<std::string>& iCells) const
    {
        std::string line;
        for (std::size_t i = 0; i < mWidths.size(); ++i)
        {
            const std::string blanks(mWidths[i] - WidthOf(iCells.at(i)), ' ');
            line += i == 0 ? "" : "  ";
            line += mColumns[i].mbToTheRight ? blanks + iCells[i] : iCells[i] + blanks;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        return line + "\n";
    }

private:
    const std::vector<TextColumn>& mColumns;
    std::vector<std::size_t> mWidths;
};

} // namespace

std::string ToTextTable(const std::vector<TextColumn>& iColumns, const std::vector<std::vector<std::string>>& iRows)
{
    std::vector<std::vector<std::string>> lines(1);
    for (const TextColumn& column : iColumns)
        lines.front().push_back(column.mHeading);
    lines.insert(lines.end(), iRows.begin(), iRows.end());
    std::transform(lines.begin(), lines.end(), lines.begin(), ToCells);

    const Layout layout(iColumns, lines);
    std::vector<std::string> rules;
    for (const std::size_t width : layout.GetWidths())
        rules.emplace_back(width, '-');
    lines.insert(lines.begin() + 1, rules);
    std::string text;
    for (const std::vector<std::string>& line : lines)
        text += layout.ToLine(line);
    return text;
}

std::string ToTextTable(const Rows& iRows)
{
    std::vector<TextColumn> columns;
    for (std::size_t i = 0; i < iRows.mColumns.size(); ++i)
    {
        const bool bNumbers = std::any_of(iRows.mRows.begin(), iRows.mRows.end(),
                                          [i](const std::vector<Value>& iRow) { return iRow[i].IsNumber(); });
        columns.push_back({iRows.mColumns[i], bNumbers});
    }
    std::vector<std::vector<std::string>> cells;
    for (const std::vector<Value>& row : iRows.mRows)
    {
        std::vector<std::string>& line = cells.emplace_back();
        for (const Value& value : row)
            line.push_back(value.ToText());
    }
    return ToTextTable(columns, cells) + (cells.empty() ? "no rows\n" : "");
}

std::string FormatDecimals(double iNumber, int iDecimals)
{
    std::array<char, 400> text{}; // the longest double has 309 digits before the point
    const int length = std::snprintf(text.data(), text.size(), "%.*f", iDecimals, iNumber);
    return std::string(text.data(), static_cast<std::size_t>(length));
}
