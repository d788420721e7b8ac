#include "Csv.h"

#include "Errors.h"
#include "Limits.h"

#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

namespace
{

constexpr int cEnd = std::istream::traits_type::eof();

} // namespace

CsvReader::CsvReader(std::istream& iStream, std::string iName) : mStream(iStream), mName(std::move(iName))
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
    oFields.clear();
    mRecordLine = mLine;
    if (mStream.peek() == cEnd)
    {
        if (mStream.bad())
            throw SetupError(GetPlace() + ": the file can't be read");
        return false;
    }
    bool bMore = true;
    while (bMore)
        bMore = ReadField(oFields.emplace_back());
    return true;
}

/// True when a comma follows, so that there is one more field.
bool CsvReader::ReadField(std::string& oField)
{
    const bool bQuoted = mStream.peek() == '"';
    if (bQuoted)
        ReadQuoted(oField);
    for (;;)
    {
        int c = Get();
        if (c == '\r' && mStream.peek() == '\n')
            c = Get();
        if (c == cEnd || c == '\n' || c == '\r')
            return false;
        if (c == ',')
            return true;
        if (bQuoted)
            throw SetupError(GetPlace() + ": text after a closing quote");
        Add(c, oField);
    }
}

void CsvReader::ReadQuoted(std::string& oField)
{
    Get();
    for (int c = Get(); c != cEnd; c = Get())
    {
        if (c == '"')
        {
            if (mStream.peek() != '"')
                return;
            Get();
        }
        Add(c, oField);
    }
    throw SetupError(GetPlace() + ": a quote is not closed");
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
