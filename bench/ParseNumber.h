// The argument of a benchmark: a number within limits.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

/// Empty for anything else.
inline std::optional<int> ParseNumber(std::string_view iText, int iLeast, int iMost)
{
    int number = 0;
    const char* const end = iText.data() + iText.size();
    const auto [stop, error] = std::from_chars(iText.data(), end, number);
    if (error != std::errc() || stop != end || number < iLeast || number > iMost)
        return std::nullopt;
    return number;
}
