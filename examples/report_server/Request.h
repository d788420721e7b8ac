// What clients send: one request a line, `kind | user | project | priority | body`.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

enum class EnumRequestKind
{
    Report,  ///< the body is a report definition; the result is a table
    Sql,     ///< the body is a report definition; the result is the SQL that it comes to
    Element, ///< the body names a column; the result is its values
};

const char* ToText(EnumRequestKind iKind);

struct Request
{
    int mLine = 0; ///< in the request file
    EnumRequestKind mKind = EnumRequestKind::Report;
    std::string mUser;
    std::string mProject;
    int mPriority = 0; ///< a higher one goes first
    std::string mBody;
};

struct RequestFile
{
    std::vector<Request> mRequests;
    std::vector<std::string> mBadLines; ///< file:line: what is wrong with it
};

/// Empty lines and those that begin with # are passed over. Throws SetupError when the file can't be read.
RequestFile ReadRequests(const std::filesystem::path& iPath);
