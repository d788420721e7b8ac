#include "warehouse/Csv.h"

#include "Errors.h"
#include "Files.h"
#include "warehouse/Rows.h"

#include <array>
#include <cstddef>
#include <fstream>
#include <string_view>
#include <system_error>

namespace
{

constexpr int cEnd = std::istream::traits_type::eof();

class CsvReader
{
public:
    explicit CsvReader(const std::filesystem::path& iFile);

    /// False at the end of the file. An empty line is a record of one empty field.
    bool ReadRecord(std::vector<std::string>& oFields);

    /// For a complaint about the record read last: it began in this line.
    std::string GetPlace() const { return mName + ":" + std::to_string(mRecordLine); }

private:
    void Add(int iCharacter, std::string& ioField) const;
    int Get();

    std::ifstream mStream;
    const std::string mName;
    int mLine = 1;
    int mRecordLine = 1;
};

CsvReader::CsvReader(const std::filesystem::path& iFile) : mStream(OpenToRead(iFile)), mName(iFile.string())
{
    constexpr std::string_view cByteOrderMark = "\xEF\xBB\xBF";
    std::array<char, cByteOrderMark.size()> start{};
    mStream.read(start.data(), start.size());
    if (std::string_view(start.data(), start.size()) == cByteOrderMark)
        return;
    mStream.clear();
    mStream.seekg(0);
}

bool CsvReader::ReadRecord(std::vector<std::string>& oFields)
{
    oFields.assign(1, {});
    mRecordLine = mLine;
    if (mStream.peek() == cEnd)
    {
        if (mStream.bad())
            throw SetupError(GetPlace() + ": the file can't be read");
        return false;
    }
    bool bInQuotes = false;
    bool bQuoted = false; // the field was
    for (;;)
    {
        const int c = Get();
        if (c == cEnd && bInQuotes)
            throw SetupError(GetPlace() + ": a quote is not closed");
        if (bInQuotes && c == '"' && mStream.peek() != '"')
            bInQuotes = false;
        else if (bInQuotes)
            Add(c == '"' ? Get() : c, oFields.back());
        else if (c == '\r' && mStream.peek() == '\n')
            continue;
        else if (c == cEnd || c == '\n' || c == '\r')
            return true;
        else if (c == ',')
        {
            oFields.emplace_back();
            bQuoted = false;
        }
        else if (bQuoted)
            throw SetupError(GetPlace() + ": text after a closing quote");
        else if (c == '"' && oFields.back().empty())
            bInQuotes = bQuoted = true;
        else
            Add(c, oFields.back());
    }
}

void CsvReader::Add(int iCharacter, std::string& ioField) const
{
    if (iCharacter == 0)
        throw SetupError(GetPlace() + ": a zero byte; text in UTF-8 is expected");
    if (ioField.size() == cMostTextBytes)
        throw SetupError(GetPlace() + ": a field of more than " + std::to_string(cMostTextBytes) + " bytes");
    ioField += static_cast<char>(iCharacter);
}

int CsvReader::Get()
{
    const int c = mStream.get();
    if (c == '\n' || (c == '\r' && mStream.peek() != '\n'))
        ++mLine;
    return c;
}

bool IsEmptyLine(const std::vector<std::string>& iRecord) { return iRecord.size() == 1 && iRecord.front().empty(); }

} // namespace

CsvRecords ReadCsv(const std::filesystem::path& iFile, std::vector<std::string>& oNames)
{
    if (std::error_code error; std::filesystem::exists(iFile, error) && !std::filesystem::is_regular_file(iFile))
        throw SetupError(iFile.string() + ": it is no regular file");
    CsvReader reader(iFile);
    while (IsEmptyLine(oNames) || oNames.empty())
        if (!reader.ReadRecord(oNames))
            throw SetupError(iFile.string() + ": the file is empty");
    CsvRecords records;
    std::vector<std::string> record;
    while (reader.ReadRecord(record))
    {
        if (IsEmptyLine(record) && oNames.size() > 1)
            continue;
        if (record.size() != oNames.size())
            throw SetupError(reader.GetPlace() + ": the heading has " + std::to_string(oNames.size()) +
                             " fields, this record " + std::to_string(record.size()));
        records.push_back(record);
    }
    return records;
}
