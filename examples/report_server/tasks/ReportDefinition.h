// The definition of a report, in the server's own small language, and the SQL that it comes to:
//
//   from weather; measure avg(temp_max), count(*); by location, month(date); where weather = 'sun'; top 5; with share
//
// Clauses stand in any order. `by` takes columns and year(column), month(column); `where` an SQL condition that
// reads no other table; `top N` and `bottom N` keep the N rows with the highest or lowest first measure; `with` asks
// for more analysis: `rank`, `share` (of the first measure, in percent) and `total` (over all rows, also those that
// `top` leaves out).
#pragma once

#include "warehouse/Warehouse.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// `avg(temp_max)`: a function and its column; an attribute that is a plain column has no function.
struct Term
{
    std::string mFunction;
    std::string mColumn;

    std::string ToText() const { return mFunction.empty() ? mColumn : mFunction + "(" + mColumn + ")"; }
    /// For such measures parts add up to the whole.
    bool IsAdditive() const { return mFunction == "sum" || mFunction == "count"; }
};

struct ReportDefinition
{
    std::string mTable;
    std::vector<Term> mMeasures;
    std::vector<Term> mAttributes;
    std::string mCondition;
    std::size_t mLimit = 0; ///< 0: all rows
    bool mbLowestFirst = false;
    bool mbRank = false;
    bool mbShare = false;
    bool mbTotal = false;
};

/// `from birdstrikes; column Wildlife Size`: which values a column has.
struct ElementDefinition
{
    std::string mTable;
    std::string mColumn;
};

/// Both throw RequestError for a text that they don't understand. Whether tables and columns exist they don't ask.
ReportDefinition ParseReport(std::string_view iText);
ElementDefinition ParseElement(std::string_view iText);
/// The reports of a document. Throws RequestError when a quote or parenthesis isn't closed.
std::vector<std::string> ReportsOf(std::string_view iDocument);

/// The SQL of it; its rows come in the order of the attributes. Both throw RequestError for a table or column that
/// isn't there, or that doesn't suit the function.
std::string GenerateReportSql(const ReportDefinition& iReport, const Warehouse& iWarehouse);
std::string GenerateElementSql(const ElementDefinition& iElement, const Warehouse& iWarehouse);

/// The analysis of the query's rows. Throws RequestError for a total that no number can hold.
Rows Analyse(const ReportDefinition& iReport, Rows iRows);
