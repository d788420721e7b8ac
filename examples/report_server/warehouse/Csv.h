// Comma-separated values: quoted fields, doubled quotes, line breaks in quotes, all kinds of line ends, a byte order
// mark.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

using CsvRecords = std::vector<std::vector<std::string>>;

/// The records behind the heading, which goes to `oNames`. In a file of one column an empty line is a missing value.
/// Throws SetupError, with the file's name and the line, for a file that can't be read.
CsvRecords ReadCsv(const std::filesystem::path& iFile, std::vector<std::string>& oNames);
