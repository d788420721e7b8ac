// Comma-separated values: quoted fields, doubled quotes, line breaks in quotes, all kinds of line ends, a byte order
// mark.
#pragma once

#include <istream>
#include <string>
#include <vector>

/// Throws SetupError, with the file's name and the line, for a record that can't be read.
class CsvReader
{
public:
    /// At the beginning of a file.
    CsvReader(std::istream& iStream, std::string iName);

    /// False at the end of the file. An empty line is a record of one empty field.
    bool ReadRecord(std::vector<std::string>& oFields);

    /// For a complaint about the record read last: it began in this line.
    std::string GetPlace() const { return mName + ":" + std::to_string(mRecordLine); }

private:
    bool ReadField(std::string& oField);
    void ReadQuoted(std::string& oField);
    void Add(int iCharacter, std::string& ioField) const;
    int Get();

    std::istream& mStream;
    std::string mName;
    int mLine = 1;
    int mRecordLine = 1;
};
