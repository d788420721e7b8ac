// Operations on text: its parts, what is safe to show of it, and tables.
#pragma once

#include <charconv>
#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

std::string_view Trim(std::string_view iText);

/// The text with blanks in place of what stands in quotes, and of these. Throws RequestError for a quote without its
/// partner.
std::string BlankQuoted(std::string_view iText);

/// The parts between the separators, trimmed; separators in quotes or parentheses don't count. Throws RequestError for
/// a quote or parenthesis without its partner.
std::vector<std::string> SplitOutsideQuotes(std::string_view iText, char iSeparator);

/// `"Time of day"` as `Time of day`; what isn't quoted stays as it is.
std::string Unquote(std::string_view iText);

/// `Time of day` as `"Time of day"`, the form in which SQL takes any name.
std::string QuoteName(std::string_view iName);

/// The whole of the text as a number; false when it is none.
template <class Number>
bool ParseNumber(std::string_view iText, Number& oNumber)
{
    const auto [end, error] = std::from_chars(iText.data(), iText.data() + iText.size(), oNumber);
    return error == std::errc() && end == iText.data() + iText.size();
}

std::string Join(const std::vector<std::string>& iParts, std::string_view iSeparator);

// --- Safe for a terminal, a log, or a file that people read. ---

/// Texts are UTF-8. Before all else, on one thread. Throws SetupError.
void UseUtf8();

/// A zero is none.
bool IsUtf8(std::string_view iText);

/// With a replacement for each character that does something instead of showing something, and for what is no UTF-8.
/// Line feeds stay.
std::string ToPrintable(std::string_view iText);

/// The same on one line, cut when it is wider than that, or has far more bytes than that needs.
std::string OnOneLine(std::string_view iText, std::size_t iWidest = 1'000);

/// In columns of the screen: some characters take two, others none.
std::size_t WidthOf(std::string_view iText);

// --- Tables. ---

struct TextColumn
{
    std::string mHeading;
    bool mbToTheRight = false; ///< for numbers
};

/// A heading, a line below it, and the rows; every line ends with a line feed and has no blanks at its end. Each
/// cell stands on one line, and one that is far too wide is cut.
std::string ToTextTable(const std::vector<TextColumn>& iColumns, std::vector<std::vector<std::string>> iRows);

std::string FormatDecimals(double iNumber, int iDecimals);
