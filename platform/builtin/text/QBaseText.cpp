#include "platform/QBase.h"

namespace QBase
{

namespace
{

constexpr char32_t cReplacement = 0xFFFD;

constexpr bool IsHighSurrogate(char32_t iUnit) { return iUnit >= 0xD800 && iUnit <= 0xDBFF; }

constexpr bool IsLowSurrogate(char32_t iUnit) { return iUnit >= 0xDC00 && iUnit <= 0xDFFF; }

/// Takes one character from the front. A malformed sequence extends as far as it could begin a well-formed one.
char32_t TakeUTF8(std::string_view& ioText)
{
    const auto byteAt = [&](std::size_t iPlace) { return static_cast<unsigned char>(ioText[iPlace]); };
    const unsigned char lead = byteAt(0);

    std::size_t length = 1;
    char32_t character = lead;
    // The second byte's range is narrower where overlong forms, surrogates or more than U+10FFFF would begin.
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF)
    {
        length = 2;
        character = lead & 0x1F;
    }
    else if (lead >= 0xE0 && lead <= 0xEF)
    {
        length = 3;
        character = lead & 0x0F;
        low = lead == 0xE0 ? 0xA0 : low;
        high = lead == 0xED ? 0x9F : high;
    }
    else if (lead >= 0xF0 && lead <= 0xF4)
    {
        length = 4;
        character = lead & 0x07;
        low = lead == 0xF0 ? 0x90 : low;
        high = lead == 0xF4 ? 0x8F : high;
    }
    else if (lead >= 0x80)
    {
        character = cReplacement;
    }

    std::size_t taken = 1;
    for (; taken < length; ++taken)
    {
        if (taken == ioText.size() || byteAt(taken) < low || byteAt(taken) > high)
        {
            character = cReplacement;
            break;
        }
        character = character << 6 | (byteAt(taken) & 0x3F);
        low = 0x80;
        high = 0xBF;
    }
    ioText.remove_prefix(taken);
    return character;
}

char32_t TakeUTF16(std::basic_string_view<WCHAR>& ioText)
{
    const char32_t unit = ioText.front();
    ioText.remove_prefix(1);
    if (IsHighSurrogate(unit) && !ioText.empty() && IsLowSurrogate(ioText.front()))
    {
        const char32_t second = ioText.front();
        ioText.remove_prefix(1);
        return 0x10000 + ((unit - 0xD800) << 10) + (second - 0xDC00);
    }
    return IsHighSurrogate(unit) || IsLowSurrogate(unit) ? cReplacement : unit;
}

void AppendUTF16(wstring& ioText, char32_t iCharacter)
{
    if (iCharacter < 0x10000)
    {
        ioText += static_cast<WCHAR>(iCharacter);
        return;
    }
    ioText += static_cast<WCHAR>(0xD800 + ((iCharacter - 0x10000) >> 10));
    ioText += static_cast<WCHAR>(0xDC00 + ((iCharacter - 0x10000) & 0x3FF));
}

void AppendUTF8(std::string& ioText, char32_t iCharacter)
{
    const auto appendTail = [&](unsigned iShift) { ioText += static_cast<char>(0x80 | (iCharacter >> iShift & 0x3F)); };
    if (iCharacter < 0x80)
    {
        ioText += static_cast<char>(iCharacter);
    }
    else if (iCharacter < 0x800)
    {
        ioText += static_cast<char>(0xC0 | iCharacter >> 6);
        appendTail(0);
    }
    else if (iCharacter < 0x10000)
    {
        ioText += static_cast<char>(0xE0 | iCharacter >> 12);
        appendTail(6);
        appendTail(0);
    }
    else
    {
        ioText += static_cast<char>(0xF0 | iCharacter >> 18);
        appendTail(12);
        appendTail(6);
        appendTail(0);
    }
}

} // namespace

wstring UTF8ToWideChar(std::string_view iText)
{
    wstring text;
    text.reserve(iText.size());
    while (!iText.empty())
        AppendUTF16(text, TakeUTF8(iText));
    return text;
}

std::string WideCharToUTF8(std::basic_string_view<WCHAR> iText)
{
    std::string text;
    text.reserve(iText.size());
    while (!iText.empty())
        AppendUTF8(text, TakeUTF16(iText));
    return text;
}

} // namespace QBase
