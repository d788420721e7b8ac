// The data that reports are made of: every CSV file of a directory as a table of a database in memory.
#pragma once

#include "Connection.h"

#include <filesystem>
#include <string>
#include <vector>

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
/// Owns:    the database, until it and its connections are destroyed.
class Warehouse
{
public:
    /// A table is named after its file. Throws SetupError when a file can't be read, or when there is none.
    explicit Warehouse(const std::filesystem::path& iDirectory);

    /// One more connection, which can read only.
    Connection Connect() const;

    /// Throws RequestError when there is no such table.
    const TableInfo& Find(const std::string& iTable) const;

private:
    void Load(const std::filesystem::path& iFile);

    Connection mConnection;
    std::vector<TableInfo> mTables;
};
