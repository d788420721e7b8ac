// The data that reports are made of: every CSV file of a directory as a table of a database in memory.
#pragma once

#include "warehouse/Rows.h"

#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// A connection to the database.
///
/// Threads: one at a time.
/// Errors:  throws RequestError with SQLite's own text, and what a gate throws.
class Connection
{
public:
    enum class EnumAccess
    {
        Read,
        ReadAndWrite, ///< makes the database when it isn't there
    };

    Connection(const std::string& iUri, EnumAccess iAccess);

    /// What all queries together may take of memory from now on, beside what the database takes by now.
    static void LimitMemory(std::uint64_t iBytes);

    void Execute(const std::string& iSql);
    /// For what others ask for: a query that would do more than read the one table, or grows too large, is an error.
    /// `iIsToStop` is asked all the while: when it says so, the query ends with an error. It must not throw.
    Rows Query(const std::string& iSql, const std::string& iTable, const std::function<bool()>& iIsToStop,
               const RowGate& iGate);

    /// Runs `iSql`, an INSERT with as many `?` as a row has values, once a row.
    void InsertAll(const std::string& iSql, const std::vector<Row>& iRows);

private:
    struct Closer
    {
        // SQLite takes null, and gives codes that tell of earlier failures only.
        void operator()(sqlite3* iDatabase) const { sqlite3_close(iDatabase); }
        void operator()(sqlite3_stmt* iStatement) const { sqlite3_finalize(iStatement); }
    };
    using Statement = std::unique_ptr<sqlite3_stmt, Closer>;

    Statement Prepare(const std::string& iSql);
    void Bind(sqlite3_stmt* iStatement, int iPlace, const Value& iValue);
    bool Step(sqlite3_stmt* iStatement);
    void Check(int iCode) const;

    std::unique_ptr<sqlite3, Closer> mpDatabase;
};

enum class EnumColumnType
{
    Integer,
    Real,
    Text,
};

struct ColumnInfo
{
    std::string mName;
    EnumColumnType mType;
};

struct TableInfo
{
    std::string mName;
    std::vector<ColumnInfo> mColumns;

    /// Throws RequestError when there is no such column.
    const ColumnInfo& Find(const std::string& iColumn) const;
};

/// Those that a warehouse of this directory is made of. Throws SetupError when there is none.
std::vector<std::filesystem::path> ListDataFiles(const std::filesystem::path& iDirectory);

/// Threads: any, once it is made.
/// Owns:    the database, and its connections.
class Warehouse
{
public:
    /// A table is named after its file. Throws SetupError when a file can't be read, or when there is none.
    explicit Warehouse(const std::filesystem::path& iDirectory);

    /// So many queries will run at a time, with so much memory for all of them, beside their rows. Throws RequestError.
    void PrepareQueries(std::size_t iCount, std::uint64_t iBytes);
    /// Connection::Query.
    Rows Query(const std::string& iSql, const std::string& iTable, const std::function<bool()>& iIsToStop,
               const RowGate& iGate) const;

    /// Throws RequestError when there is no such table.
    const TableInfo& Find(const std::string& iTable) const;

private:
    void Load(const std::filesystem::path& iFile);

    Connection mConnection;
    std::vector<TableInfo> mTables;
    mutable std::mutex mMutex;           // guards what follows
    mutable std::list<Connection> mFree; // they can only read
};
