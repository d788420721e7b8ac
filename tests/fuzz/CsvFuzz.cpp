// What becomes of any file of comma-separated values. What is read of it is read again of the same values in quotes;
// what is refused is refused with the place.
#include "examples/report_server/Errors.h"
#include "examples/report_server/warehouse/Csv.h"
#include "tests/fuzz/InputFile.h"

namespace
{

std::string InQuotes(const std::vector<std::string>& iFields)
{
    std::string line;
    for (const std::string& field : iFields)
    {
        line += line.empty() ? "\"" : ",\"";
        for (const char character : field)
            line.append(character == '"' ? 2 : 1, character);
        line += '"';
    }
    return line + "\r\n";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iData, std::size_t iSize)
{
    const std::string_view text = ToText(iData, iSize);
    const std::string path = WriteInput(text);
    std::vector<std::string> names;
    CsvRecords records;
    try
    {
        records = ReadCsv(path, names);
    }
    catch (const SetupError& refusal)
    {
        if (refusal.what() == path + ": the file is empty")
            return Require(text.find_first_not_of("\xEF\xBB\xBF\"\r\n") == std::string_view::npos), 0;
        const int line = LineOf(refusal.what(), path);
        const auto isEnd = [](char iCharacter) { return iCharacter == '\n' || iCharacter == '\r'; };
        return Require(line >= 1 && line <= 1 + std::count_if(text.begin(), text.end(), isEnd)), 0;
    }

    std::string written = InQuotes(names);
    for (const std::vector<std::string>& record : records)
    {
        Require(record.size() == names.size());
        written += InQuotes(record);
    }
    std::vector<std::string> namesAgain;
    Require(ReadCsv(WriteInput(written), namesAgain) == records && namesAgain == names);
    return 0;
}
