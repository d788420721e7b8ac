#include "monitor/Utf8.h"

#include <algorithm>
#include <iterator>

namespace QORMONITOR
{

namespace
{

constexpr std::string_view cReplacement = "\xEF\xBF\xBD"; // U+FFFD
constexpr std::string_view cMark = "\xE2\x80\xA6";        // an ellipsis, one column wide

struct Range
{
    char32_t mFirst;
    char32_t mLast;
};

/// Controls, what turns the direction of the text around it, what can't be seen, and tags.
constexpr Range cDoing[] = {
    {0x0000, 0x001F}, {0x007F, 0x009F}, {0x00AD, 0x00AD}, {0x034F, 0x034F},   {0x061C, 0x061C},   {0x115F, 0x1160},
    {0x17B4, 0x17B5}, {0x180B, 0x180F}, {0x200B, 0x200F}, {0x2028, 0x202E},   {0x2060, 0x206F},   {0x3164, 0x3164},
    {0xFEFF, 0xFEFF}, {0xFFA0, 0xFFA0}, {0xFFF0, 0xFFFB}, {0x1D173, 0x1D17A}, {0xE0000, 0xE00FF},
};

/// Marks that stand on the character before them. Those of scripts that aren't here count as one column: a line with
/// them is shorter than it might be, and never wider.
constexpr Range cMarks[] = {
    {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD},   {0x05BF, 0x05BF}, {0x05C1, 0x05C2}, {0x05C4, 0x05C5},
    {0x0610, 0x061A}, {0x064B, 0x065F}, {0x0670, 0x0670},   {0x06D6, 0x06DC}, {0x06DF, 0x06E4}, {0x0900, 0x0902},
    {0x093A, 0x093A}, {0x093C, 0x093C}, {0x0941, 0x0948},   {0x094D, 0x094D}, {0x0E31, 0x0E31}, {0x0E34, 0x0E3A},
    {0x0E47, 0x0E4E}, {0x1AB0, 0x1ACE}, {0x1DC0, 0x1DFF},   {0x20D0, 0x20F0}, {0x302A, 0x302D}, {0x3099, 0x309A},
    {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xE0100, 0xE01EF},
};

/// Two columns: the scripts of East Asia, and pictures. Between them stand some that are narrow.
constexpr Range cWide[] = {
    {0x1100, 0x115F},   {0x231A, 0x231B},   {0x2329, 0x232A},   {0x23E9, 0x23EC},   {0x23F0, 0x23F0},
    {0x23F3, 0x23F3},   {0x25FD, 0x25FE},   {0x2614, 0x2615},   {0x2648, 0x2653},   {0x267F, 0x267F},
    {0x2693, 0x2693},   {0x26A1, 0x26A1},   {0x26AA, 0x26AB},   {0x26BD, 0x26BE},   {0x26C4, 0x26C5},
    {0x26CE, 0x26CE},   {0x26D4, 0x26D4},   {0x26EA, 0x26EA},   {0x26F2, 0x26F3},   {0x26F5, 0x26F5},
    {0x26FA, 0x26FA},   {0x26FD, 0x26FD},   {0x2705, 0x2705},   {0x270A, 0x270B},   {0x2728, 0x2728},
    {0x274C, 0x274C},   {0x274E, 0x274E},   {0x2753, 0x2755},   {0x2757, 0x2757},   {0x2795, 0x2797},
    {0x27B0, 0x27B0},   {0x27BF, 0x27BF},   {0x2B1B, 0x2B1C},   {0x2B50, 0x2B50},   {0x2B55, 0x2B55},
    {0x2E80, 0x303E},   {0x3041, 0x4DBF},   {0x4E00, 0xA4CF},   {0xA960, 0xA97F},   {0xAC00, 0xD7A3},
    {0xF900, 0xFAFF},   {0xFE10, 0xFE19},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},
    {0x16FE0, 0x18D08}, {0x1AFF0, 0x1B2FB}, {0x1F004, 0x1F004}, {0x1F0CF, 0x1F0CF}, {0x1F18E, 0x1F18E},
    {0x1F191, 0x1F19A}, {0x1F200, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F7E0, 0x1F7F0}, {0x1F90C, 0x1FAFF},
    {0x20000, 0x3FFFD},
};

template <std::size_t Size>
bool IsIn(const Range (&iRanges)[Size], char32_t iCharacter)
{
    return std::any_of(std::begin(iRanges), std::end(iRanges), [iCharacter](const Range& iRange) {
        return iRange.mFirst <= iCharacter && iCharacter <= iRange.mLast;
    });
}

bool IsPlain(char iByte) { return iByte >= ' ' && iByte <= '~'; }
bool IsContinuation(char iByte) { return (static_cast<unsigned char>(iByte) & 0xC0) == 0x80; }

/// The next character, with its bytes; a zero, and one byte, for what is none.
char32_t TakeCharacter(std::string_view& ioText, std::string_view& oBytes)
{
    const auto first = static_cast<unsigned char>(ioText.front());
    const std::size_t length = first < 0x80 ? 1 : first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    char32_t character = length <= 1 ? first : first & (0x7Fu >> length);
    std::size_t taken = 1;
    while (taken < std::min(length, ioText.size()) && IsContinuation(ioText[taken]))
        character = (character << 6) | (static_cast<unsigned char>(ioText[taken++]) & 0x3F);
    constexpr char32_t cLeast[] = {0, 0, 0x80, 0x800, 0x10000}; // of that length: a longer form is none
    const bool bCharacter = taken == length && first < 0xF8 && character >= cLeast[length] && character <= 0x10FFFF &&
                            (character < 0xD800 || character > 0xDFFF);
    oBytes = ioText.substr(0, bCharacter ? length : 1);
    ioText.remove_prefix(oBytes.size());
    return bCharacter ? character : 0;
}

std::string_view ToShown(char32_t iCharacter, std::string_view iBytes, bool ibLines)
{
    if (iCharacter == '\r' || (!ibLines && (iCharacter == '\t' || iCharacter == '\n')))
        return " ";
    if (iCharacter == '\t' || iCharacter == '\n')
        return iBytes;
    return IsIn(cDoing, iCharacter) ? cReplacement : iBytes;
}

std::string Clean(std::string_view iText, std::size_t iLongest, bool ibLines)
{
    std::string text;
    while (!iText.empty() && text.size() <= iLongest)
    {
        const std::size_t left = iLongest - text.size();
        const std::string_view room = iText.substr(0, left + (left < iText.size() ? 1 : 0));
        const auto plain = static_cast<std::size_t>(std::find_if_not(room.begin(), room.end(), IsPlain) - room.begin());
        text += room.substr(0, plain);
        iText.remove_prefix(plain);
        if (plain == room.size())
            continue;
        std::string_view bytes;
        const char32_t character = TakeCharacter(iText, bytes);
        text += ToShown(character, bytes, ibLines);
    }
    if (text.size() > iLongest)
    {
        std::size_t end = iLongest - std::min(iLongest, cMark.size());
        while (IsContinuation(text[end])) // no text begins with one
            --end;
        text.replace(end, std::string::npos, cMark);
    }
    return text;
}

std::size_t WidthOf(char32_t iCharacter) { return IsIn(cMarks, iCharacter) ? 0 : IsIn(cWide, iCharacter) ? 2 : 1; }

} // namespace

std::string ToLine(std::string_view iText, std::size_t iLongest) { return Clean(iText, iLongest, false); }
bool IsUtf8(std::string_view iText)
{
    std::string_view bytes;
    while (!iText.empty())
    {
        if (TakeCharacter(iText, bytes) == 0 && bytes.front() != 0)
            return false;
    }
    return true;
}

std::string ToLines(std::string_view iText, std::size_t iLongest) { return Clean(iText, iLongest, true); }

std::size_t WidthOf(std::string_view iText)
{
    std::size_t width = 0;
    std::string_view bytes;
    while (!iText.empty())
        width += WidthOf(TakeCharacter(iText, bytes));
    return width;
}

std::string CutToWidth(std::string_view iText, std::size_t iWidest)
{
    constexpr std::size_t cMostBytes = 8; // for each column: a character, and a mark or two that take none
    std::string text;
    std::string_view bytes;
    std::size_t width = 0;
    std::size_t end = 0; // up to which the mark still has room
    while (!iText.empty())
    {
        width += WidthOf(TakeCharacter(iText, bytes));
        if (width > iWidest || text.size() + bytes.size() > cMostBytes * iWidest)
            return iWidest == 0 ? std::string() : text.substr(0, end).append(cMark);
        text += bytes;
        if (width < iWidest)
            end = text.size();
    }
    return text;
}

} // namespace QORMONITOR
