#include "Connection.h"

#include "Errors.h"
#include "Text.h"

#include <cstddef>
#include <cstdint>
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

/// Has SQLite ask, each time that it has worked for a moment, whether it is to go on.
class StopQuestion
{
public:
    StopQuestion(sqlite3* iDatabase, const std::function<bool()>& iIsToStop) : mpDatabase(iDatabase)
    {
        constexpr int cInstructions = 10'000; // less than a millisecond
        sqlite3_progress_handler(mpDatabase, cInstructions, Ask, const_cast<std::function<bool()>*>(&iIsToStop));
    }
    ~StopQuestion() { sqlite3_progress_handler(mpDatabase, 0, nullptr, nullptr); }
    StopQuestion(const StopQuestion&) = delete;
    StopQuestion& operator=(const StopQuestion&) = delete;

private:
    static int Ask(void* iIsToStop) { return (*static_cast<const std::function<bool()>*>(iIsToStop))() ? 1 : 0; }

    sqlite3* mpDatabase;
};

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
}

void Connection::Execute(const std::string& iSql)
{
    const Statement statement = Prepare(iSql);
    while (Step(statement.get()))
    {
    }
}

Rows Connection::Query(const std::string& iSql, const std::function<bool()>& iIsToStop, const RowGate& iGate)
{
    const StopQuestion question(mpDatabase.get(), iIsToStop);
    const Statement statement = Prepare(iSql);
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
    Check(sqlite3_prepare_v2(mpDatabase.get(), iSql.c_str(), -1, &statement, &rest));
    Statement prepared(statement);
    if (statement == nullptr || !Trim(rest).empty())
        throw RequestError("one SQL statement expected");
    return prepared;
}

void Connection::Bind(sqlite3_stmt* iStatement, int iPlace, const Value& iValue)
{
    switch (iValue.mKind)
    {
    case Value::EnumKind::Whole:
        Check(sqlite3_bind_int64(iStatement, iPlace, iValue.mWhole));
        break;
    case Value::EnumKind::Real:
        Check(sqlite3_bind_double(iStatement, iPlace, iValue.mReal));
        break;
    case Value::EnumKind::Text:
        Check(sqlite3_bind_text(iStatement, iPlace, iValue.mText.data(), static_cast<int>(iValue.mText.size()),
                                SQLITE_TRANSIENT));
        break;
    default:
        Check(sqlite3_bind_null(iStatement, iPlace));
        break;
    }
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
    if (iCode != SQLITE_OK)
        throw RequestError(std::string("SQL error: ") + sqlite3_errmsg(mpDatabase.get()));
}
