// The result of a query: named columns and rows of values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A cell of a table.
struct Value
{
    enum class EnumKind
    {
        Missing,
        Whole,
        Real,
        Text,
    };

    Value() = default;
    explicit Value(std::int64_t iWhole) : mKind(EnumKind::Whole), mWhole(iWhole) {}
    explicit Value(double iReal) : mKind(EnumKind::Real), mReal(iReal) {}
    explicit Value(std::string iText) : mKind(EnumKind::Text), mText(std::move(iText)) {}

    bool IsMissing() const { return mKind == EnumKind::Missing; }
    bool IsNumber() const { return mKind == EnumKind::Whole || mKind == EnumKind::Real; }
    /// 0 for what is no number.
    double ToNumber() const { return mKind == EnumKind::Whole ? static_cast<double>(mWhole) : mReal; }
    /// Whole numbers as they are, others with two decimals, a missing value as an empty text.
    std::string ToText() const;

    EnumKind mKind = EnumKind::Missing;
    std::int64_t mWhole = 0;
    double mReal = 0;
    std::string mText;
};

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

/// The rows as one block, for those who can keep nothing else. FromBytes throws std::out_of_range for a block that
/// ends too early.
std::string ToBytes(const Rows& iRows);
Rows FromBytes(std::string_view iBytes, const RowGate& iGate);
