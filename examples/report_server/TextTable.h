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

/// A heading, a line below it, and the rows; every line ends with a line feed and has no blanks at its end.
std::string ToTextTable(const std::vector<TextColumn>& iColumns, const std::vector<std::vector<std::string>>& iRows);

/// Numbers stand to the right; a table without rows says so.
std::string ToTextTable(const Rows& iRows);

/// Without control characters: a line break in a cell would break the table.
std::string OnOneLine(std::string iText);

std::string FormatDecimals(double iNumber, int iDecimals);
