// What is shown of any text. It is UTF-8 without anything that does something, and fits where it has to; shown again it
// stays as it is.
#include "monitor/Utf8.h"
#include "platform/QBase.h"
#include "tests/fuzz/Fuzz.h"

using namespace QORMONITOR;

namespace
{

void TryLine(std::string_view iText, std::size_t iLongest)
{
    const std::string line = ToLine(iText, iLongest);
    Require(IsUtf8(line) && line.size() <= iLongest && ToLine(line, iLongest) == line);
    Require(std::none_of(line.begin(), line.end(), [](char iByte) { return iByte >= 0 && iByte < ' '; }));
    for (const std::size_t widest : {0u, 1u, 2u, 7u})
    {
        const std::string cut = CutToWidth(line, widest);
        Require(IsUtf8(cut) && WidthOf(cut) <= widest);
        Require(cut == line || WidthOf(line) > widest || line.size() > 8 * widest);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iData, std::size_t iSize)
{
    const std::string_view text = ToText(iData, iSize);
    Require(IsUtf8(text) == (QBase::WideCharToUTF8(QBase::UTF8ToWideChar(text)) == text));
    const std::string lines = ToLines(text, cLongestText);
    Require(IsUtf8(lines) && ToLines(lines, cLongestText) == lines);
    TryLine(text, cLongestText);
    TryLine(text, text.size() / 2 + 3);
    return 0;
}
