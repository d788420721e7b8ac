#include "Warehouse.h"

#include "Csv.h"
#include "Errors.h"
#include "FileAccess.h"
#include "Text.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <system_error>

namespace
{

// A database in memory that the connections of this process share: each has a query of its own running at a time.
constexpr const char* cUri = "file:/report_server?vfs=memdb";

using Records = std::vector<std::vector<std::string>>;

template <class Number>
bool Parse(const std::string& iText, Number& oNumber)
{
    const char* end = iText.data() + iText.size();
    const auto [last, error] = std::from_chars(iText.data(), end, oNumber);
    return error == std::errc() && last == end;
}

/// A digit at the end keeps out what else from_chars takes for a number, such as "inf".
bool IsReal(const std::string& iText)
{
    double number = 0;
    return !iText.empty() && iText.back() >= '0' && iText.back() <= '9' && Parse(iText, number);
}

/// The narrowest type that holds all values of the column. Missing values fit every type.
EnumColumnType DetectType(const Records& iRecords, std::size_t iColumn)
{
    auto type = EnumColumnType::Integer;
    bool bAnyValue = false;
    for (const std::vector<std::string>& record : iRecords)
    {
        const std::string& text = record[iColumn];
        std::int64_t whole = 0;
        if (text.empty())
            continue;
        bAnyValue = true;
        if (type == EnumColumnType::Integer && !Parse(text, whole))
            type = EnumColumnType::Real;
        if (type == EnumColumnType::Real && !IsReal(text))
            return EnumColumnType::Text;
    }
    return bAnyValue ? type : EnumColumnType::Text;
}

Value ToValue(const std::string& iText, EnumColumnType iType)
{
    std::int64_t whole = 0;
    double number = 0;
    if (iText.empty())
        return {};
    if (iType == EnumColumnType::Integer && Parse(iText, whole))
        return Value(whole);
    if (iType == EnumColumnType::Real && Parse(iText, number))
        return Value(number);
    return Value(iText);
}

const char* ToSql(EnumColumnType iType)
{
    switch (iType)
    {
    case EnumColumnType::Integer:
        return "INTEGER";
    case EnumColumnType::Real:
        return "REAL";
    default:
        return "TEXT";
    }
}

bool IsEmptyLine(const std::vector<std::string>& iRecord) { return iRecord.size() == 1 && iRecord.front().empty(); }

/// The records behind the heading, which goes to `oNames`. In a file of one column an empty line is a missing value.
Records ReadRecords(const std::filesystem::path& iFile, std::vector<std::string>& oNames)
{
    if (std::error_code error; std::filesystem::exists(iFile, error) && !std::filesystem::is_regular_file(iFile))
        throw SetupError(iFile.string() + ": it is no regular file");
    std::ifstream stream = OpenToRead(iFile);
    CsvReader reader(stream, iFile.string());
    while (IsEmptyLine(oNames) || oNames.empty())
        if (!reader.ReadRecord(oNames))
            throw SetupError(iFile.string() + ": the file is empty");
    Records records;
    std::vector<std::string> record;
    while (reader.ReadRecord(record))
    {
        if (IsEmptyLine(record) && oNames.size() > 1)
            continue;
        if (record.size() != oNames.size())
            throw SetupError(reader.GetPlace() + ": the heading has " + std::to_string(oNames.size()) +
                             " fields, this record " + std::to_string(record.size()));
        records.push_back(record);
    }
    return records;
}

} // namespace

std::vector<std::filesystem::path> ListDataFiles(const std::filesystem::path& iDirectory)
{
    std::vector<std::filesystem::path> files;
    try
    {
        for (const auto& entry : std::filesystem::directory_iterator(iDirectory))
            if (entry.path().extension() == ".csv")
                files.push_back(entry.path());
    }
    catch (const std::filesystem::filesystem_error& error)
    {
        throw SetupError(iDirectory.string() + ": " + error.code().message());
    }
    if (files.empty())
        throw SetupError(iDirectory.string() + ": no .csv file in this directory");
    std::sort(files.begin(), files.end());
    return files;
}

const ColumnInfo& TableInfo::Find(const std::string& iColumn) const
{
    std::vector<std::string> names;
    for (const ColumnInfo& column : mColumns)
    {
        if (column.mName == iColumn)
            return column;
        names.push_back(column.mName);
    }
    throw RequestError("table " + mName + " has no column \"" + iColumn + "\"; it has " + Join(names, ", "));
}

Warehouse::Warehouse(const std::filesystem::path& iDirectory) : mConnection(cUri, Connection::EnumAccess::ReadAndWrite)
{
    for (const std::filesystem::path& file : ListDataFiles(iDirectory))
        Load(file);
}

Connection Warehouse::Connect() const { return Connection(cUri, Connection::EnumAccess::Read); }

const TableInfo& Warehouse::Find(const std::string& iTable) const
{
    std::vector<std::string> names;
    for (const TableInfo& table : mTables)
    {
        if (table.mName == iTable)
            return table;
        names.push_back(table.mName);
    }
    throw RequestError("there is no table \"" + iTable + "\"; there are " + Join(names, ", "));
}

void Warehouse::Load(const std::filesystem::path& iFile)
{
    std::vector<std::string> names;
    const Records records = ReadRecords(iFile, names);

    TableInfo table{iFile.stem().string(), {}};
    std::vector<std::string> columns;
    for (std::size_t i = 0; i < names.size(); ++i)
    {
        table.mColumns.push_back({names[i], DetectType(records, i)});
        columns.push_back(QuoteName(names[i]) + " " + ToSql(table.mColumns[i].mType));
    }
    std::vector<std::vector<Value>> rows;
    for (const std::vector<std::string>& record : records)
    {
        std::vector<Value>& row = rows.emplace_back();
        for (std::size_t i = 0; i < names.size(); ++i)
            row.push_back(ToValue(record[i], table.mColumns[i].mType));
    }

    try
    {
        const std::string quoted = QuoteName(table.mName);
        mConnection.Execute("CREATE TABLE " + quoted + " (" + Join(columns, ", ") + ")");
        const std::vector<std::string> places(names.size(), "?");
        mConnection.InsertAll("INSERT INTO " + quoted + " VALUES (" + Join(places, ", ") + ")", rows);
    }
    catch (const RequestError& error)
    {
        throw SetupError(iFile.string() + ": " + error.what());
    }
    mTables.push_back(std::move(table));
}
