#include "tasks/ReportDefinition.h"

#include "Errors.h"
#include "Text.h"

#include <algorithm>
#include <map>

namespace
{

using Clauses = std::map<std::string, std::string>;

/// Each clause's text by its keyword.
Clauses ReadClauses(std::string_view iText, const std::vector<std::string>& iKeywords)
{
    Clauses clauses;
    for (const std::string& clause : SplitOutsideQuotes(iText, ';'))
    {
        if (clause.empty())
            continue;
        const std::size_t blank = std::min(clause.find_first_of(" \t"), clause.size());
        const std::string keyword = clause.substr(0, blank);
        const std::string text(Trim(std::string_view(clause).substr(blank)));
        if (std::find(iKeywords.begin(), iKeywords.end(), keyword) == iKeywords.end())
            throw RequestError("unknown clause \"" + keyword + "\"; there are " + Join(iKeywords, ", "));
        if (text.empty())
            throw RequestError("nothing follows \"" + keyword + "\"");
        if (!clauses.emplace(keyword, text).second)
            throw RequestError("two clauses \"" + keyword + "\"");
    }
    return clauses;
}

const std::string& Required(const Clauses& iClauses, const std::string& iKeyword)
{
    const auto clause = iClauses.find(iKeyword);
    if (clause == iClauses.end())
        throw RequestError("the clause \"" + iKeyword + "\" is missing");
    return clause->second;
}

/// `year(date)` when the function is one of these, else a column.
Term ReadTerm(const std::string& iText, const std::vector<std::string>& iFunctions)
{
    const std::size_t open = iText.find('(');
    if (open != std::string::npos && iText.back() == ')')
    {
        const std::string function(Trim(iText.substr(0, open)));
        if (std::find(iFunctions.begin(), iFunctions.end(), function) != iFunctions.end())
            return {function, Unquote(Trim(std::string_view(iText).substr(open + 1, iText.size() - open - 2)))};
    }
    return {"", Unquote(iText)};
}

std::vector<Term> ReadMeasures(const std::string& iText)
{
    const std::vector<std::string> functions = {"avg", "count", "max", "min", "sum"};
    std::vector<Term> measures;
    for (const std::string& part : SplitOutsideQuotes(iText, ','))
    {
        measures.push_back(ReadTerm(part, functions));
        if (measures.back().mFunction.empty())
            throw RequestError("\"" + part + "\" is no measure; write a function, " + Join(functions, ", ") +
                               ", and a column in parentheses");
    }
    return measures;
}

std::vector<Term> ReadAttributes(const std::string& iText)
{
    std::vector<Term> attributes;
    for (const std::string& part : SplitOutsideQuotes(iText, ','))
        attributes.push_back(ReadTerm(part, {"month", "year"}));
    return attributes;
}

/// SQL knows more quotes than this language does, comments, and variables whose names may hold anything, `$a(...)`: in
/// them parentheses and quotes could hide that close what stands around the condition.
std::string ReadCondition(const std::string& iText)
{
    const std::string unquoted = BlankQuoted(iText);
    for (const char* const sign : {"--", "/*", "[", "`", "$", "@", ":", "#", "?"})
        if (unquoted.find(sign) != std::string::npos)
            throw RequestError(std::string("a condition takes no ") + sign + " outside quotes");
    return iText;
}

std::size_t ReadLimit(const std::string& iText)
{
    int limit = 0;
    if (!ParseNumber(iText, limit) || limit < 1)
        throw RequestError("\"" + iText + "\" is no number of rows");
    return static_cast<std::size_t>(limit);
}

void ReadAnalysis(const std::string& iText, ReportDefinition& ioReport)
{
    for (const std::string& part : SplitOutsideQuotes(iText, ','))
    {
        if (part == "rank")
            ioReport.mbRank = true;
        else if (part == "share")
            ioReport.mbShare = true;
        else if (part == "total")
            ioReport.mbTotal = true;
        else
            throw RequestError("unknown analysis \"" + part + "\"; there are rank, share, total");
    }
}

std::string MeasureSql(const Term& iMeasure, const TableInfo& iTable)
{
    if (iMeasure.mColumn == "*")
    {
        if (iMeasure.mFunction != "count")
            throw RequestError(iMeasure.ToText() + " makes no sense; only count takes a *");
        return "count(*)";
    }
    const ColumnInfo& column = iTable.Find(iMeasure.mColumn);
    if (column.mType == EnumColumnType::Text && (iMeasure.mFunction == "avg" || iMeasure.mFunction == "sum"))
        throw RequestError(iMeasure.ToText() + " needs numbers, and that column holds texts");
    return iMeasure.mFunction + "(" + QuoteName(column.mName) + ")";
}

std::string AttributeSql(const Term& iAttribute, const TableInfo& iTable)
{
    std::string column = QuoteName(iTable.Find(iAttribute.mColumn).mName);
    if (iAttribute.mFunction.empty())
        return column;
    return std::string("CAST(strftime('") + (iAttribute.mFunction == "year" ? "%Y" : "%m") + "', " + column +
           ") AS INTEGER)";
}

} // namespace

ReportDefinition ParseReport(std::string_view iText)
{
    const Clauses clauses = ReadClauses(iText, {"from", "measure", "by", "where", "top", "bottom", "with"});
    ReportDefinition report;
    report.mTable = Unquote(Required(clauses, "from"));
    report.mMeasures = ReadMeasures(Required(clauses, "measure"));
    if (const auto by = clauses.find("by"); by != clauses.end())
        report.mAttributes = ReadAttributes(by->second);
    if (const auto where = clauses.find("where"); where != clauses.end())
        report.mCondition = ReadCondition(where->second);
    if (const auto with = clauses.find("with"); with != clauses.end())
        ReadAnalysis(with->second, report);

    if (clauses.contains("top") && clauses.contains("bottom"))
        throw RequestError("\"top\" and \"bottom\" exclude each other");
    report.mbLowestFirst = clauses.contains("bottom");
    if (const auto limit = clauses.find(report.mbLowestFirst ? "bottom" : "top"); limit != clauses.end())
        report.mLimit = ReadLimit(limit->second);
    if (report.mbShare && !report.mMeasures.front().IsAdditive())
        throw RequestError("a share needs a sum or a count as its first measure, not " +
                           report.mMeasures.front().ToText());
    return report;
}

ElementDefinition ParseElement(std::string_view iText)
{
    const Clauses clauses = ReadClauses(iText, {"from", "column"});
    return {Unquote(Required(clauses, "from")), Unquote(Required(clauses, "column"))};
}

std::vector<std::string> ReportsOf(std::string_view iDocument) { return SplitOutsideQuotes(iDocument, '&'); }

std::string GenerateReportSql(const ReportDefinition& iReport, const Warehouse& iWarehouse)
{
    const TableInfo& table = iWarehouse.Find(iReport.mTable);
    std::vector<std::string> columns;
    std::vector<std::string> places;
    for (const Term& attribute : iReport.mAttributes)
    {
        columns.push_back(AttributeSql(attribute, table) + " AS " + QuoteName(attribute.ToText()));
        places.push_back(std::to_string(columns.size()));
    }
    for (const Term& measure : iReport.mMeasures)
        columns.push_back(MeasureSql(measure, table) + " AS " + QuoteName(measure.ToText()));

    std::string sql = "SELECT " + Join(columns, ", ") + "\nFROM " + QuoteName(table.mName);
    if (!iReport.mCondition.empty())
        sql += "\nWHERE (" + iReport.mCondition + ")";
    if (!places.empty())
        sql += "\nGROUP BY " + Join(places, ", ") + "\nORDER BY " + Join(places, ", ");
    return sql;
}

std::string GenerateElementSql(const ElementDefinition& iElement, const Warehouse& iWarehouse)
{
    const TableInfo& table = iWarehouse.Find(iElement.mTable);
    const std::string column = QuoteName(table.Find(iElement.mColumn).mName);
    return "SELECT " + column + ", count(*) AS \"rows\"\nFROM " + QuoteName(table.mName) + "\nGROUP BY 1\nORDER BY 1";
}
