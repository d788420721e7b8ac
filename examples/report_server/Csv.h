// Comma-separated values: quoted fields, doubled quotes, line breaks in quotes, both kinds of line ends.
#pragma once

#include <istream>
#include <string>
#include <vector>

/// Throws SetupError, with the file's name and the line, for a record that can't be read.
class CsvReader
{
public:
    CsvReader(std::istream& iStream, std::string iName);

    /// False at the end of the file. Empty lines are passed over.
    bool ReadRecord(std::vector<std::string>& oFields);

    /// For a complaint about the record read last: it began in this line.
    std::string GetPlace() const { return mName + ":" + std::to_string(mRecordLine); }

private:
    bool ReadField(std::string& oField);
    void ReadQuoted(std::string& oField);
    int Get();

    std::istream& mStream;
    std::string mName;
    int mLine = 1;
    int mRecordLine = 1;
};
