#include "warehouse/Warehouse.h"

#include "Errors.h"
#include "Text.h"
#include "warehouse/Csv.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <system_error>

namespace
{

// A database in memory that the connections of this process share: each has a query of its own running at a time.
constexpr const char* cUri = "file:/report_server?vfs=memdb";

/// A digit at the end keeps out what else from_chars takes for a number, such as "inf".
bool IsReal(const std::string& iText)
{
    double number = 0;
    return !iText.empty() && iText.back() >= '0' && iText.back() <= '9' && ParseNumber(iText, number);
}

/// The narrowest type that holds all values of the column. Missing values fit every type.
EnumColumnType DetectType(const CsvRecords& iRecords, std::size_t iColumn)
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
        if (type == EnumColumnType::Integer && !ParseNumber(text, whole))
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
    if (iType == EnumColumnType::Integer && ParseNumber(iText, whole))
        return Value(whole);
    if (iType == EnumColumnType::Real && ParseNumber(iText, number))
        return Value(number);
    return Value(iText);
}

const char* ToSql(EnumColumnType iType)
{
    return iType == EnumColumnType::Integer ? "INTEGER" : iType == EnumColumnType::Real ? "REAL" : "TEXT";
}

/// The refusal is followed by the names that there are.
template <class Named>
const Named& FindNamed(const std::vector<Named>& iAll, const std::string& iName, const std::string& iRefusal)
{
    std::vector<std::string> names;
    for (const Named& each : iAll)
    {
        if (each.mName == iName)
            return each;
        names.push_back(each.mName);
    }
    throw RequestError(iRefusal + Join(names, ", "));
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
    return FindNamed(mColumns, iColumn, "table " + mName + " has no column \"" + iColumn + "\"; it has ");
}

Warehouse::Warehouse(const std::filesystem::path& iDirectory) : mConnection(cUri, Connection::EnumAccess::ReadAndWrite)
{
    for (const std::filesystem::path& file : ListDataFiles(iDirectory))
        Load(file);
}

void Warehouse::PrepareQueries(std::size_t iCount, std::uint64_t iBytes)
{
    while (mFree.size() < iCount)
        mFree.emplace_back(cUri, Connection::EnumAccess::Read);
    Connection::LimitMemory(iBytes);
}

Rows Warehouse::Query(const std::string& iSql, const std::string& iTable, const std::function<bool()>& iIsToStop,
                      const RowGate& iGate) const
{
    std::list<Connection> own;
    {
        const std::lock_guard hold(mMutex);
        if (!mFree.empty())
            own.splice(own.end(), mFree, mFree.begin());
    }
    if (own.empty()) // threads that were given up have theirs
        own.emplace_back(cUri, Connection::EnumAccess::Read);
    const auto giveBack = [this](std::list<Connection>* ioOwn) {
        const std::lock_guard hold(mMutex);
        mFree.splice(mFree.end(), *ioOwn);
    };
    const std::unique_ptr<std::list<Connection>, decltype(giveBack)> loan(&own, giveBack);
    return own.front().Query(iSql, iTable, iIsToStop, iGate);
}

const TableInfo& Warehouse::Find(const std::string& iTable) const
{
    return FindNamed(mTables, iTable, "there is no table \"" + iTable + "\"; there are ");
}

void Warehouse::Load(const std::filesystem::path& iFile)
{
    std::vector<std::string> names;
    const CsvRecords records = ReadCsv(iFile, names);

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
