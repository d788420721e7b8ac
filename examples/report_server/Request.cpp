#include "Request.h"

#include "Errors.h"
#include "FileAccess.h"
#include "Text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <map>
#include <string_view>

namespace
{

constexpr std::array cKinds = {EnumRequestKind::Report, EnumRequestKind::Sql, EnumRequestKind::Element,
                               EnumRequestKind::Document};

constexpr std::size_t cLongestLine = 4'000'000;

constexpr const char* cSession = "session";

using Locales = std::map<std::string, unsigned>; // by user

unsigned ReadLanguage(const std::string& iText)
{
    if (iText == "en")
        return cEnglish;
    if (iText == "de")
        return 0x0407;
    throw RequestError("unknown language \"" + iText + "\"; there are en, de");
}

/// The last field is the rest of the line: it may hold bars of its own.
template <std::size_t Count>
std::array<std::string, Count> SplitFields(std::string_view iLine, const char* iForm)
{
    std::array<std::string, Count> fields;
    for (std::size_t i = 0; i < Count; ++i)
    {
        const bool bLast = i + 1 == Count;
        const std::size_t bar = bLast ? iLine.size() : iLine.find('|');
        if (bar == std::string_view::npos)
            throw RequestError(std::string("expected ") + iForm);
        fields[i] = Trim(iLine.substr(0, bar));
        if (fields[i].empty())
            throw RequestError("field " + std::to_string(i + 1) + " is empty");
        iLine.remove_prefix(std::min(bar + 1, iLine.size()));
    }
    return fields;
}

void ReadSession(std::string_view iLine, Locales& ioLocales)
{
    const auto fields = SplitFields<3>(iLine, "session | user | language");
    ioLocales[fields[1]] = ReadLanguage(fields[2]);
}

/// Takes the clause that says where the result goes from the end of the body; empty when there is none.
std::string TakeDestination(std::string& ioBody)
{
    constexpr std::string_view cDeliver = "deliver to ";
    const std::size_t last = ioBody.rfind(';');
    if (last == std::string::npos)
        return {};
    const std::string clause(Trim(std::string_view(ioBody).substr(last + 1)));
    if (clause.compare(0, cDeliver.size(), cDeliver) != 0)
        return {};
    ioBody = Trim(std::string_view(ioBody).substr(0, last));
    return std::string(Trim(std::string_view(clause).substr(cDeliver.size())));
}

Request ReadRequest(std::string_view iLine, int iLineNumber, const Locales& iLocales)
{
    auto fields = SplitFields<5>(iLine, "kind | user | project | priority | body");
    int priority = 0;
    if (!ParseInt(fields[3], priority))
        throw RequestError("the priority \"" + fields[3] + "\" is no number");
    const auto locale = iLocales.find(fields[1]);
    const std::string destination = TakeDestination(fields[4]);
    return {iLineNumber, ParseKind(fields[0]),
            fields[1],   locale == iLocales.end() ? cEnglish : locale->second,
            fields[2],   priority,
            fields[4],   destination};
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
    case EnumRequestKind::Document:
        return "document";
    default:
        return "element";
    }
}

EnumRequestKind ParseKind(const std::string& iText)
{
    for (const EnumRequestKind kind : cKinds)
        if (iText == ToText(kind))
            return kind;
    throw RequestError("unknown kind \"" + iText + "\"; there are report, sql, element, document");
}

RequestFile ReadRequests(const std::filesystem::path& iPath)
{
    std::ifstream stream = OpenToRead(iPath);
    RequestFile file;
    Locales locales;
    std::string text(cLongestLine, '\0');
    for (int line = 1; stream.getline(text.data(), static_cast<std::streamsize>(text.size())); ++line)
    {
        const auto length = static_cast<std::size_t>(stream.gcount()) - (stream.eof() ? 0 : 1);
        const std::string_view trimmed = Trim(std::string_view(text).substr(0, length));
        if (trimmed.empty() || trimmed.front() == '#')
            continue;
        try
        {
            if (Trim(trimmed.substr(0, trimmed.find('|'))) == cSession)
                ReadSession(trimmed, locales);
            else if (IsControl(trimmed))
                file.mControls.push_back(ParseControl(std::string(trimmed)));
            else
                file.mRequests.push_back(ReadRequest(trimmed, line, locales));
        }
        catch (const RequestError& error)
        {
            file.mBadLines.push_back(iPath.string() + ":" + std::to_string(line) + ": " + error.what());
        }
    }
    if (!stream.eof())
        throw SetupError(iPath.string() + ": the file can't be read, or a line is longer than " +
                         std::to_string(cLongestLine) + " bytes");
    return file;
}
