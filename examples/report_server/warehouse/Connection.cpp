// One connection to the SQLite database.
#include "Errors.h"
#include "warehouse/Warehouse.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

namespace
{

Value ReadValue(sqlite3_stmt* iStatement, int iColumn)
{
    switch (sqlite3_column_type(iStatement, iColumn))
    {
    case SQLITE_INTEGER:
        return Value(std::int64_t{sqlite3_column_int64(iStatement, iColumn)});
    case SQLITE_FLOAT:
        return Value(sqlite3_column_double(iStatement, iColumn));
    case SQLITE_NULL:
        return {};
    default:
        break;
    }
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(iStatement, iColumn));
    const auto length = static_cast<std::size_t>(sqlite3_column_bytes(iStatement, iColumn));
    return Value(text == nullptr ? std::string() : std::string(text, length));
}

/// What a request may call, the functions of its measures and attributes included. None of them makes long texts of
/// short ones or reaches out of the database. What `like` and `glob` take over a text is kept to some 20 milliseconds
/// by the longest text and the longest pattern that there may be.
constexpr std::array<std::string_view, 22> cFunctions = {
    "abs",   "avg", "coalesce", "count",  "date",  "glob",     "ifnull", "iif", "julianday", "length", "like",
    "lower", "max", "min",      "nullif", "round", "strftime", "substr", "sum", "time",      "typeof", "upper"};

/// While a request's query is prepared and runs: it reads its own table and computes, and nothing else, whatever it
/// says. Every few instructions SQLite asks whether it is to go on: what a single one may do is what LimitStatements
/// and the memory leave it, a sort of all rows at most.
class Guard
{
public:
    Guard(sqlite3* iDatabase, const std::string& iTable, const std::function<bool()>& iIsToStop)
        : mpDatabase(iDatabase), mTable(iTable), mIsToStop(iIsToStop)
    {
        constexpr int cInstructions = 50; // a microsecond; half a second if all of them work on the longest texts
        sqlite3_set_authorizer(mpDatabase, Allow, this);
        sqlite3_progress_handler(mpDatabase, cInstructions, Ask, this);
    }
    ~Guard()
    {
        sqlite3_progress_handler(mpDatabase, 0, nullptr, nullptr);
        sqlite3_set_authorizer(mpDatabase, nullptr, nullptr);
    }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

private:
    static int Ask(void* iGuard) { return static_cast<const Guard*>(iGuard)->mIsToStop() ? 1 : 0; }

    /// The first detail of reading is the table, the second detail of calling is the function.
    static int Allow(void* iGuard, int iAction, const char* iFirst, const char* iSecond, const char*, const char*)
    {
        bool bAllowed = iAction == SQLITE_SELECT;
        if (iAction == SQLITE_READ)
            bAllowed = sqlite3_stricmp(iFirst, static_cast<const Guard*>(iGuard)->mTable.c_str()) == 0;
        else if (iAction == SQLITE_FUNCTION)
            bAllowed = std::find(cFunctions.begin(), cFunctions.end(), iSecond) != cFunctions.end();
        return bAllowed ? SQLITE_OK : SQLITE_DENY;
    }

    sqlite3* mpDatabase;
    const std::string& mTable;
    const std::function<bool()>& mIsToStop;
};

/// What a statement of a request may be, in itself: code as well as data.
void LimitStatements(sqlite3* iDatabase)
{
    constexpr std::pair<int, int> cLimits[] = {{SQLITE_LIMIT_LENGTH, cMostTextBytes},
                                               {SQLITE_LIMIT_SQL_LENGTH, 100'000},
                                               {SQLITE_LIMIT_EXPR_DEPTH, 200},
                                               {SQLITE_LIMIT_COMPOUND_SELECT, 10},
                                               {SQLITE_LIMIT_VDBE_OP, 100'000},
                                               {SQLITE_LIMIT_FUNCTION_ARG, 10},
                                               {SQLITE_LIMIT_ATTACHED, 0},
                                               {SQLITE_LIMIT_LIKE_PATTERN_LENGTH, 100}};
    for (const auto& [limit, value] : cLimits)
        sqlite3_limit(iDatabase, limit, value);
}

} // namespace

Connection::Connection(const std::string& iUri, EnumAccess iAccess)
{
    const int access = iAccess == EnumAccess::Read ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    sqlite3* database = nullptr;
    const int code = sqlite3_open_v2(iUri.c_str(), &database, access | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX, nullptr);
    mpDatabase.reset(database);
    if (database == nullptr)
        throw RequestError("no memory for a database connection");
    Check(code);
    // A misspelt column in double quotes shall be an error, not a text.
    Check(sqlite3_db_config(database, SQLITE_DBCONFIG_DQS_DML, 0, nullptr));
    if (iAccess != EnumAccess::Read)
        return;
    Execute("PRAGMA temp_store = MEMORY");         // on a disk no limit would hold
    Execute("SELECT count(*) FROM sqlite_schema"); // reads it once for all: its statements may be longer
    LimitStatements(database);
}

void Connection::LimitMemory(std::uint64_t iBytes)
{
    sqlite3_hard_heap_limit64(sqlite3_memory_used() + static_cast<sqlite3_int64>(iBytes));
}

void Connection::Execute(const std::string& iSql)
{
    const Statement statement = Prepare(iSql);
    while (Step(statement.get()))
    {
    }
}

Rows Connection::Query(const std::string& iSql, const std::string& iTable, const std::function<bool()>& iIsToStop,
                       const RowGate& iGate)
{
    const Guard guard(mpDatabase.get(), iTable, iIsToStop);
    const Statement statement = Prepare(iSql);
    if (sqlite3_bind_parameter_count(statement.get()) != 0)
        throw RequestError("a request takes no variables");
    const int columns = sqlite3_column_count(statement.get());
    Rows rows;
    for (int i = 0; i < columns; ++i)
        rows.mColumns.emplace_back(sqlite3_column_name(statement.get(), i));
    while (Step(statement.get()))
    {
        Row row;
        for (int i = 0; i < columns; ++i)
            row.push_back(ReadValue(statement.get(), i));
        iGate(row);
        rows.mRows.push_back(std::move(row));
    }
    return rows;
}

void Connection::InsertAll(const std::string& iSql, const std::vector<Row>& iRows)
{
    const Statement statement = Prepare(iSql);
    Execute("BEGIN");
    for (const Row& row : iRows)
    {
        int place = 0;
        for (const Value& value : row)
            Bind(statement.get(), ++place, value);
        Step(statement.get());
        Check(sqlite3_reset(statement.get()));
    }
    Execute("COMMIT");
}

Connection::Statement Connection::Prepare(const std::string& iSql)
{
    sqlite3_stmt* statement = nullptr;
    const char* rest = nullptr;
    Check(sqlite3_prepare_v2(mpDatabase.get(), iSql.c_str(), static_cast<int>(iSql.size()) + 1, &statement, &rest));
    Statement prepared(statement);
    if (statement == nullptr || rest != iSql.c_str() + iSql.size())
        throw RequestError("one SQL statement expected");
    return prepared;
}

void Connection::Bind(sqlite3_stmt* iStatement, int iPlace, const Value& iValue)
{
    if (const auto* const whole = std::get_if<std::int64_t>(&iValue))
        Check(sqlite3_bind_int64(iStatement, iPlace, *whole));
    else if (const auto* const real = std::get_if<double>(&iValue))
        Check(sqlite3_bind_double(iStatement, iPlace, *real));
    else if (const auto* const text = std::get_if<std::string>(&iValue))
        Check(sqlite3_bind_text(iStatement, iPlace, text->data(), static_cast<int>(text->size()), SQLITE_TRANSIENT));
    else
        Check(sqlite3_bind_null(iStatement, iPlace));
}

/// True when there is a row to read.
bool Connection::Step(sqlite3_stmt* iStatement)
{
    const int code = sqlite3_step(iStatement);
    if (code != SQLITE_ROW && code != SQLITE_DONE)
        Check(code);
    return code == SQLITE_ROW;
}

void Connection::Check(int iCode) const
{
    if (iCode == SQLITE_NOMEM)
        throw RequestError("the query needs more memory than the server has for queries");
    if (iCode == SQLITE_AUTH)
        throw RequestError(std::string("a request may read its own table and compute, not more: ") +
                           sqlite3_errmsg(mpDatabase.get()));
    if (iCode != SQLITE_OK)
        throw RequestError(std::string("SQL error: ") + sqlite3_errmsg(mpDatabase.get()));
}
