// One connection to the SQLite database.
#pragma once

#include "Rows.h"

#include <sqlite3.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

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
