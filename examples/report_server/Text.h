// Small operations on text.
#pragma once

#include <string>
#include <string_view>
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

/// The whole of the text as a number; false, with nothing written, when it is none.
bool ParseInt(std::string_view iText, int& oNumber);

std::string Join(const std::vector<std::string>& iParts, std::string_view iSeparator);
