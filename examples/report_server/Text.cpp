#include "Text.h"

#include "Errors.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdio>
#include <cwchar>
#include <functional>
#include <iomanip>
#include <sstream>

namespace
{

constexpr std::string_view cReplacement = "\xEF\xBF\xBD"; // U+FFFD
constexpr std::string_view cCut = "\xE2\x80\xA6";         // an ellipsis, one column wide

/// Some turn the direction in which the text around them reads.
bool DoesSomething(wchar_t iCharacter)
{
    return wcwidth(iCharacter) < 0 || iCharacter == 0x061C || iCharacter == 0x200E || iCharacter == 0x200F ||
           (iCharacter >= 0x2028 && iCharacter <= 0x202E) || (iCharacter >= 0x2066 && iCharacter <= 0x2069);
}

/// The next character, with its bytes; a zero, and one byte, for what is none.
wchar_t TakeCharacter(std::string_view& ioText, std::string_view& oBytes)
{
    wchar_t character = 0;
    std::mbstate_t state{};
    std::size_t length = std::mbrtowc(&character, ioText.data(), ioText.size(), &state);
    if (length == 0 || length > ioText.size())
    {
        character = 0;
        length = 1;
    }
    oBytes = ioText.substr(0, length);
    ioText.remove_prefix(length);
    return character;
}

} // namespace

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
    std::string name(iText);
    if (name.size() >= 2 && name.front() == '"' && name.back() == '"')
        std::istringstream(std::string(iText)) >> std::quoted(name, '"', '"'); // a quote in it is doubled
    return name;
}

std::string QuoteName(std::string_view iName)
{
    std::ostringstream quoted;
    quoted << std::quoted(iName, '"', '"');
    return quoted.str();
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

void UseUtf8()
{
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr)
        throw SetupError("the system has no locale C.UTF-8");
}

bool IsUtf8(std::string_view iText)
{
    std::string_view bytes;
    while (!iText.empty())
        if (TakeCharacter(iText, bytes) == 0)
            return false;
    return true;
}

std::string ToPrintable(std::string_view iText)
{
    std::string text;
    std::string_view bytes;
    while (!iText.empty())
    {
        const wchar_t character = TakeCharacter(iText, bytes);
        if (character == L'\t' || character == L'\r')
            text += ' ';
        else if (character == L'\n' || (character != 0 && !DoesSomething(character)))
            text += bytes;
        else
            text += cReplacement;
    }
    return text;
}

std::string OnOneLine(std::string_view iText, std::size_t iWidest)
{
    constexpr std::size_t cMostBytes = 8; // for each column: a character and a mark or two that take none
    const std::string printable = ToPrintable(iText);
    std::string text;
    std::string_view rest = printable;
    std::string_view bytes;
    std::size_t width = 0;
    std::size_t lengthToCut = 0; // up to which an ellipsis still has room
    while (!rest.empty())
    {
        const wchar_t character = TakeCharacter(rest, bytes);
        width += character == L'\n' ? 1 : static_cast<std::size_t>(wcwidth(character));
        if (width > iWidest || text.size() + bytes.size() > cMostBytes * iWidest)
            return text.substr(0, lengthToCut).append(cCut);
        text += character == L'\n' ? " " : bytes;
        if (width < iWidest)
            lengthToCut = text.size();
    }
    return text;
}

std::size_t WidthOf(std::string_view iText)
{
    std::size_t width = 0;
    std::string_view bytes;
    while (!iText.empty())
        if (const int own = wcwidth(TakeCharacter(iText, bytes)); own > 0)
            width += static_cast<std::size_t>(own);
    return width;
}

std::string ToTextTable(const std::vector<TextColumn>& iColumns, std::vector<std::vector<std::string>> iRows)
{
    constexpr std::size_t cWidestCell = 100;
    std::vector<std::string> headings(iColumns.size());
    std::transform(iColumns.begin(), iColumns.end(), headings.begin(), std::mem_fn(&TextColumn::mHeading));
    iRows.insert(iRows.begin(), headings);
    std::vector<std::size_t> widths(iColumns.size());
    for (std::vector<std::string>& row : iRows)
        for (std::size_t i = 0; i < widths.size(); ++i)
        {
            row.at(i) = OnOneLine(row[i], cWidestCell);
            widths[i] = std::max(widths[i], WidthOf(row[i]));
        }
    std::vector<std::string> rules(widths.size());
    std::transform(widths.begin(), widths.end(), rules.begin(),
                   [](std::size_t iWidth) { return std::string(iWidth, '-'); });
    iRows.insert(iRows.begin() + 1, rules);

    std::string text;
    for (const std::vector<std::string>& row : iRows)
    {
        for (std::size_t i = 0; i < widths.size(); ++i)
        {
            const std::string blanks(widths[i] - WidthOf(row[i]), ' ');
            text += i == 0 ? "" : "  ";
            text += iColumns[i].mbToTheRight ? blanks + row[i] : row[i] + blanks;
        }
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text;
}

std::string FormatDecimals(double iNumber, int iDecimals)
{
    std::array<char, 400> text{}; // the longest double has 309 digits before the point
    const int length = std::snprintf(text.data(), text.size(), "%.*f", iDecimals, iNumber);
    return std::string(text.data(), static_cast<std::size_t>(length));
}
