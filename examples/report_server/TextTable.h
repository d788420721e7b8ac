// Tables of plain text.
#pragma once

#include <string>
#include <vector>

struct Rows;

struct TextColumn
{
    std::string mHeading;
    bool mbToTheRight = false; ///< for numbers
};

/// A heading, a line below it, and the rows; every line ends with a line feed and has no blanks at its end. Each
/// cell stands on one line, and one that is far too wide is cut.
std::string ToTextTable(const std::vector<TextColumn>& iColumns, const std::vector<std::vector<std::string>>& iRows);

/// Numbers stand to the right; a table without rows says so.
std::string ToTextTable(const Rows& iRows);

std::string FormatDecimals(double iNumber, int iDecimals);
