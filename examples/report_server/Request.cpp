#include "Request.h"

#include "Errors.h"
#include "Text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <string_view>

namespace
{

constexpr std::array cKinds = {EnumRequestKind::Report, EnumRequestKind::Sql, EnumRequestKind::Element};

EnumRequestKind ReadKind(const std::string& iText)
{
    for (const EnumRequestKind kind : cKinds)
        if (iText == ToText(kind))
            return kind;
    throw RequestError("unknown kind \"" + iText + "\"; there are report, sql, element");
}

/// The body is what follows the fourth bar: it may hold bars of its own.
Request ReadRequest(std::string_view iLine, int iLineNumber)
{
    std::array<std::string, 5> fields;
    for (std::size_t i = 0; i < fields.size(); ++i)
    {
        const bool bLast = i + 1 == fields.size();
        const std::size_t bar = bLast ? iLine.size() : iLine.find('|');
        if (bar == std::string_view::npos)
            throw RequestError("expected kind | user | project | priority | body");
        fields[i] = Trim(iLine.substr(0, bar));
        if (fields[i].empty())
            throw RequestError("field " + std::to_string(i + 1) + " is empty");
        iLine.remove_prefix(std::min(bar + 1, iLine.size()));
    }
    int priority = 0;
    if (!ParseInt(fields[3], priority))
        throw RequestError("the priority \"" + fields[3] + "\" is no number");
    return {iLineNumber, ReadKind(fields[0]), fields[1], fields[2], priority, fields[4]};
}

} // namespace

const char* ToText(EnumRequestKind iKind)
{
    switch (iKind)
    {
    case EnumRequestKind::Report:
        return "report";
    case EnumRequestKind::Sql:
        return "sql";
    default:
        return "element";
    }
}

RequestFile ReadRequests(const std::filesystem::path& iPath)
{
    std::ifstream stream(iPath);
    if (!stream)
        throw SetupError(iPath.string() + ": the file can't be opened");
    RequestFile file;
    std::string text;
    for (int line = 1; std::getline(stream, text); ++line)
    {
        const std::string_view trimmed = Trim(text);
        if (trimmed.empty() || trimmed.front() == '#')
            continue;
        try
        {
            file.mRequests.push_back(ReadRequest(trimmed, line));
        }
        catch (const RequestError& error)
        {
            file.mBadLines.push_back(iPath.string() + ":" + std::to_string(line) + ": " + error.what());
        }
    }
    if (stream.bad())
        throw SetupError(iPath.string() + ": the file can't be read");
    return file;
}
