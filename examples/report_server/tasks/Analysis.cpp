// The analysis of a query's rows: order, rank, shares, totals.
#include "Errors.h"
#include "tasks/ReportDefinition.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace
{

// Holds every sum of 64-bit values: one that later values take back is none too large.
__extension__ using WideInt = __int128;

/// By the first measure; missing values last, equal ones in the order of their attributes.
void Order(const ReportDefinition& iReport, std::vector<Row>& ioRows)
{
    const std::size_t measure = iReport.mAttributes.size();
    const auto isBefore = [&](const Row& iLeft, const Row& iRight) {
        const Value& left = iLeft[measure];
        const Value& right = iRight[measure];
        if (IsMissing(left) || IsMissing(right))
            return !IsMissing(left) && IsMissing(right);
        const Value& first = iReport.mbLowestFirst ? left : right;
        const Value& second = iReport.mbLowestFirst ? right : left;
        // Of a measure either all values are numbers, or all are texts.
        return ToNumber(first) ? ToNumber(first) < ToNumber(second) : first < second;
    };
    std::stable_sort(ioRows.begin(), ioRows.end(), isBefore);
}

Value Total(const Term& iMeasure, const std::vector<Row>& iRows, std::size_t iColumn)
{
    if (!iMeasure.IsAdditive())
        return {}; // an average of averages would say nothing
    WideInt whole = 0;
    double real = 0;
    bool bWhole = true;
    for (const Row& row : iRows)
    {
        const Value& value = row[iColumn];
        if (const auto* const number = std::get_if<std::int64_t>(&value))
            whole += *number;
        real += ToNumber(value).value_or(0);
        bWhole = bWhole && !std::holds_alternative<double>(value);
    }
    const auto narrow = static_cast<std::int64_t>(whole);
    if (bWhole ? narrow != whole : !std::isfinite(real))
        throw RequestError("the total of " + iMeasure.ToText() + " is too large a number");
    return bWhole ? Value(narrow) : Value(real);
}

/// The totals stand below the first attribute's "total"; without attributes the one row is its own total.
Row MakeTotal(const ReportDefinition& iReport, const std::vector<Row>& iRows)
{
    Row total(iReport.mAttributes.size());
    if (!total.empty())
        total.front().emplace<std::string>("total");
    for (const Term& measure : iReport.mMeasures)
        total.push_back(Total(measure, iRows, total.size()));
    return total;
}

void AddShares(const ReportDefinition& iReport, Rows& ioRows)
{
    const std::size_t measure = iReport.mAttributes.size();
    const double whole = ToNumber(Total(iReport.mMeasures.front(), ioRows.mRows, measure)).value_or(0);
    ioRows.mColumns.push_back("share of " + ioRows.mColumns[measure] + " %");
    for (Row& row : ioRows.mRows)
    {
        Value& share = row.emplace_back();
        if (whole != 0.0)
            share = 100.0 * (ToNumber(row[measure]).value_or(0) / whole);
    }
}

void AddRanks(Rows& ioRows)
{
    ioRows.mColumns.insert(ioRows.mColumns.begin(), "rank");
    std::int64_t rank = 0;
    for (Row& row : ioRows.mRows)
        row.emplace(row.begin(), ++rank);
}

} // namespace

Rows Analyse(const ReportDefinition& iReport, Rows iRows)
{
    if (iReport.mbRank || iReport.mLimit != 0)
        Order(iReport, iRows.mRows);
    // A total that nobody asks for need not fit into a number.
    Row total = iReport.mbTotal ? MakeTotal(iReport, iRows.mRows) : Row();
    if (iReport.mbShare)
        AddShares(iReport, iRows);
    if (iReport.mLimit != 0 && iReport.mLimit < iRows.mRows.size())
        iRows.mRows.resize(iReport.mLimit);
    if (iReport.mbRank)
        AddRanks(iRows);
    if (iReport.mbTotal)
    {
        if (iReport.mbRank)
            total.emplace(total.begin());
        total.resize(iRows.mColumns.size());
        iRows.mRows.push_back(std::move(total));
    }
    return iRows;
}
