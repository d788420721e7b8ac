#include "Text.h"

#include "Errors.h"

#include <charconv>
#include <cstddef>

std::string_view Trim(std::string_view iText)
{
    constexpr std::string_view cBlanks = " \t\r\n";
    const std::size_t first = iText.find_first_not_of(cBlanks);
    if (first == std::string_view::npos)
        return {};
    return iText.substr(first, iText.find_last_not_of(cBlanks) - first + 1);
}

std::string BlankQuoted(std::string_view iText)
{
    std::string text(iText);
    char quote = '\0';
    for (char& c : text)
    {
        const bool bQuote = quote != '\0' ? c == quote : c == '"' || c == '\'';
        if (bQuote)
            quote = quote != '\0' ? '\0' : c;
        if (bQuote || quote != '\0')
            c = ' ';
    }
    if (quote != '\0')
        throw RequestError(std::string("a ") + quote + " is not closed");
    return text;
}

std::vector<std::string> SplitOutsideQuotes(std::string_view iText, char iSeparator)
{
    const std::string unquoted = BlankQuoted(iText);
    std::vector<std::string> parts;
    std::size_t start = 0;
    int depth = 0;
    for (std::size_t at = 0; at < unquoted.size(); ++at)
    {
        if (unquoted[at] == '(')
        {
            ++depth;
        }
        else if (unquoted[at] == ')')
        {
            if (--depth < 0)
                throw RequestError("a ) closes nothing");
        }
        else if (unquoted[at] == iSeparator && depth == 0)
        {
            parts.emplace_back(Trim(iText.substr(start, at - start)));
            start = at + 1;
        }
    }
    if (depth > 0)
        throw RequestError("a ( is not closed");
    parts.emplace_back(Trim(iText.substr(start)));
    return parts;
}

std::string Unquote(std::string_view iText)
{
    if (iText.size() < 2 || iText.front() != '"' || iText.back() != '"')
        return std::string(iText);
    std::string name;
    for (std::size_t at = 1; at + 1 < iText.size(); ++at)
    {
        name += iText[at];
        if (iText[at] == '"') // a quote in a quoted name is doubled
            ++at;
    }
    return name;
}

std::string QuoteName(std::string_view iName)
{
    std::string quoted = "\"";
    for (const char c : iName)
        quoted.append(c == '"' ? 2 : 1, c);
    return quoted + '"';
}

bool ParseInt(std::string_view iText, int& oNumber)
{
    int number = 0;
    const auto [end, error] = std::from_chars(iText.data(), iText.data() + iText.size(), number);
    if (error != std::errc() || end != iText.data() + iText.size())
        return false;
    oNumber = number;
    return true;
}

std::string Join(const std::vector<std::string>& iParts, std::string_view iSeparator)
{
    std::string text;
    for (const std::string& part : iParts)
    {
        if (!text.empty())
            text += iSeparator;
        text += part;
    }
    return text;
}
