#include "Csv.h"

#include "Errors.h"

#include <utility>

namespace
{

constexpr int cEnd = std::istream::traits_type::eof();

} // namespace

CsvReader::CsvReader(std::istream& iStream, std::string iName) : mStream(iStream), mName(std::move(iName)) {}

bool CsvReader::ReadRecord(std::vector<std::string>& oFields)
{
    oFields.clear();
    while (mStream.peek() == '\n' || mStream.peek() == '\r')
        Get();
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
    for (int c = Get(); c != cEnd && c != '\n'; c = Get())
    {
        if (c == ',')
            return true;
        if (c == '\r' && (mStream.peek() == '\n' || mStream.peek() == cEnd))
            continue;
        if (bQuoted)
            throw SetupError(GetPlace() + ": text after a closing quote");
        oField += static_cast<char>(c);
    }
    return false;
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
        oField += static_cast<char>(c);
    }
    throw SetupError(GetPlace() + ": a quote is not closed");
}

int CsvReader::Get()
{
    const int c = mStream.get();
    if (c == '\n')
        ++mLine;
    return c;
}
