// What becomes of any file of comma-separated values. What is read of it is read again of the same values in quotes,
// and without quotes it is what stands between the commas; what is refused is refused with the place.
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

/// What a file without quotes says, the heading first.
CsvRecords Split(std::string_view iText)
{
    CsvRecords records;
    iText.remove_prefix(iText.starts_with("\xEF\xBB\xBF") ? 3 : 0);
    while (!iText.empty())
    {
        const std::size_t end = std::min(iText.find_first_of("\r\n"), iText.size());
        std::string_view line = iText.substr(0, end);
        iText.remove_prefix(std::min(end + (iText.substr(end).starts_with("\r\n") ? 2 : 1), iText.size()));
        if (line.empty() && (records.empty() || records.front().size() > 1))
            continue;
        std::vector<std::string>& fields = records.emplace_back();
        for (bool bMore = true; bMore;)
        {
            bMore = line.find(',') != std::string_view::npos;
            fields.emplace_back(TakeUpTo(',', line));
        }
    }
    return records;
}

void TryRefusal(std::string_view iText, const std::string& iPath, const std::string& iComplaint)
{
    if (iComplaint == iPath + ": the file is empty")
    {
        Require(iText.find_first_not_of("\xEF\xBB\xBF\"\r\n") == std::string_view::npos);
        return;
    }
    const auto isEnd = [](char iCharacter) { return iCharacter == '\n' || iCharacter == '\r'; };
    const int line = LineOf(iComplaint, iPath);
    Require(line >= 1 && line <= 1 + std::count_if(iText.begin(), iText.end(), isEnd));
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
        TryRefusal(text, path, refusal.what());
        return 0;
    }

    if (text.find('"') == std::string_view::npos)
    {
        CsvRecords all = records;
        all.insert(all.begin(), names);
        Require(Split(text) == all);
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
