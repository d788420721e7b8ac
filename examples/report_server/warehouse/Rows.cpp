#include "warehouse/Rows.h"

#include "Text.h"

#include <algorithm>

std::optional<double> ToNumber(const Value& iValue)
{
    if (const auto* const whole = std::get_if<std::int64_t>(&iValue))
        return static_cast<double>(*whole);
    if (const auto* const real = std::get_if<double>(&iValue))
        return *real;
    return {};
}

std::size_t SizeOf(const Row& iRow)
{
    std::size_t size = sizeof(Row);
    for (const Value& value : iRow)
    {
        const auto* const text = std::get_if<std::string>(&value);
        size += sizeof value + (text == nullptr ? 0 : text->size());
    }
    return size;
}

std::string ToTextTable(const Rows& iRows)
{
    std::vector<TextColumn> columns;
    for (const std::string& column : iRows.mColumns)
        columns.push_back({column});
    std::vector<std::vector<std::string>> cells;
    for (const Row& row : iRows.mRows)
    {
        std::vector<std::string>& line = cells.emplace_back();
        for (const Value& value : row)
        {
            columns[line.size()].mbToTheRight |= ToNumber(value).has_value();
            if (const auto* const whole = std::get_if<std::int64_t>(&value))
                line.push_back(std::to_string(*whole));
            else if (const auto* const real = std::get_if<double>(&value))
                line.push_back(FormatDecimals(*real, 2));
            else
                line.push_back(IsMissing(value) ? "" : std::get<std::string>(value));
        }
    }
    return ToTextTable(columns, cells) + (iRows.mRows.empty() ? "no rows\n" : "");
}
