#include "Printable.h"

#include "Errors.h"

#include <clocale>
#include <cwchar>

namespace
{

constexpr std::string_view cReplacement = "\xEF\xBF\xBD"; // U+FFFD
constexpr std::string_view cCut = "\xE2\x80\xA6";         // an ellipsis, one column wide

/// Some turn the direction in which the text around them reads.
bool DoesSomething(wchar_t iCharacter)
{
    return wcwidth(iCharacter) < 0 || iCharacter == 0x061C || iCharacter == 0x200E || iCharacter == 0x200F ||
           (iCharacter >= 0x2028 && iCharacter <= 0x202E) || (iCharacter >= 0x2066 && iCharacter <= 0x2069);
}

/// The next character, with its bytes; a zero, and one byte, for what is none.
wchar_t TakeCharacter(std::string_view& ioText, std::string_view& oBytes)
{
    wchar_t character = 0;
    std::mbstate_t state{};
    std::size_t length = std::mbrtowc(&character, ioText.data(), ioText.size(), &state);
    if (length == 0 || length > ioText.size())
    {
        character = 0;
        length = 1;
    }
    oBytes = ioText.substr(0, length);
    ioText.remove_prefix(length);
    return character;
}

} // namespace

void UseUtf8()
{
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr)
        throw SetupError("the system has no locale C.UTF-8");
}

std::string ToPrintable(std::string_view iText)
{
    std::string text;
    std::string_view bytes;
    while (!iText.empty())
    {
        const wchar_t character = TakeCharacter(iText, bytes);
        if (character == L'\t' || character == L'\r')
            text += ' ';
        else if (character == L'\n' || (character != 0 && !DoesSomething(character)))
            text += bytes;
        else
            text += cReplacement;
    }
    return text;
}

std::string OnOneLine(std::string_view iText, std::size_t iWidest)
{
    constexpr std::size_t cMostBytes = 8; // for each column: a character and a mark or two that take none
    const std::string printable = ToPrintable(iText);
    std::string text;
    std::string_view rest = printable;
    std::string_view bytes;
    std::size_t width = 0;
    std::size_t lengthToCut = 0; // up to which an ellipsis still has room
    while (!rest.empty())
    {
        const wchar_t character = TakeCharacter(rest, bytes);
        width += character == L'\n' ? 1 : static_cast<std::size_t>(wcwidth(character));
        if (width > iWidest || text.size() + bytes.size() > cMostBytes * iWidest)
            return text.substr(0, lengthToCut).append(cCut);
        text += character == L'\n' ? " " : bytes;
        if (width < iWidest)
            lengthToCut = text.size();
    }
    return text;
}

std::size_t WidthOf(std::string_view iText)
{
    std::size_t width = 0;
    std::string_view bytes;
    while (!iText.empty())
        if (const int own = wcwidth(TakeCharacter(iText, bytes)); own > 0)
            width += static_cast<std::size_t>(own);
    return width;
}
