// The result of a query: named columns and rows of values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

/// Of a text, in the data or made by a query, in bytes.
inline constexpr int cMostTextBytes = 64'000;

/// A cell of a table; the first kind is a missing value.
using Value = std::variant<std::monostate, std::int64_t, double, std::string>;

inline bool IsMissing(const Value& iValue) { return iValue.index() == 0; }
/// None for what is no number.
std::optional<double> ToNumber(const Value& iValue);

using Row = std::vector<Value>;

struct Rows
{
    std::vector<std::string> mColumns;
    std::vector<Row> mRows;
};

/// What a row takes of memory, in bytes.
std::size_t SizeOf(const Row& iRow);

/// Is asked for each row before it is kept. What it throws ends the reading.
using RowGate = std::function<void(const Row& iRow)>;

/// Numbers stand to the right, with two decimals where they aren't whole; a table without rows says so.
std::string ToTextTable(const Rows& iRows);
