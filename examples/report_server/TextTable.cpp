#include "TextTable.h"

#include "Rows.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>

namespace
{

/// In characters of UTF-8, not in bytes.
std::size_t WidthOf(const std::string& iText)
{
    const auto isStart = [](char iChar) { return (static_cast<unsigned char>(iChar) & 0xC0) != 0x80; };
    return static_cast<std::size_t>(std::count_if(iText.begin(), iText.end(), isStart));
}

class Layout
{
public:
    Layout(const std::vector<TextColumn>& iColumns, const std::vector<std::vector<std::string>>& iRows)
        : mColumns(iColumns)
    {
        for (const TextColumn& column : iColumns)
            mWidths.push_back(WidthOf(column.mHeading));
        for (const std::vector<std::string>& row : iRows)
            for (std::size_t i = 0; i < mWidths.size(); ++i)
                mWidths[i] = std::max(mWidths[i], WidthOf(row.at(i)));
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
    const Layout layout(iColumns, iRows);
    std::vector<std::string> headings;
    std::vector<std::string> rules;
    for (std::size_t i = 0; i < iColumns.size(); ++i)
    {
        headings.push_back(iColumns[i].mHeading);
        rules.emplace_back(layout.GetWidths()[i], '-');
    }
    std::string text = layout.ToLine(headings) + layout.ToLine(rules);
    for (const std::vector<std::string>& row : iRows)
        text += layout.ToLine(row);
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
            line.push_back(OnOneLine(value.ToText()));
    }
    return ToTextTable(columns, cells) + (cells.empty() ? "no rows\n" : "");
}

std::string OnOneLine(std::string iText)
{
    const auto isControl = [](char iChar) { return static_cast<unsigned char>(iChar) < ' '; };
    std::replace_if(iText.begin(), iText.end(), isControl, ' ');
    return iText;
}

std::string FormatDecimals(double iNumber, int iDecimals)
{
    std::array<char, 400> text{}; // the longest double has 309 digits before the point
    const int length = std::snprintf(text.data(), text.size(), "%.*f", iDecimals, iNumber);
    return std::string(text.data(), static_cast<std::size_t>(length));
}
