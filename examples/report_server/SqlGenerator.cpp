#include "SqlGenerator.h"

#include "Errors.h"
#include "Text.h"

#include <cstddef>
#include <vector>

namespace
{

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
