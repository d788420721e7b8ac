#include "monitor/Utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

using namespace QORMONITOR;

const std::string cBad = "\xEF\xBF\xBD";
const std::string cMark = "\xE2\x80\xA6";

TEST(Utf8, ShowsWhatCanBeShownAndReplacesTheRest)
{
    const struct
    {
        std::string mText;
        std::string mLine;
    } cCases[] = {
        {"", ""},
        {"a \xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80", "a \xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80"},
        {"a\tb\nc\rd", "a b c d"},
        {std::string("a\0b", 3), "a" + cBad + "b"},
        {"\x1B[2J\x7F", cBad + "[2J" + cBad},
        {"\xC2\x85\xC2\xAD", cBad + cBad}, // a line's end of another code, a soft hyphen
        {"\xE2\x80\xAE\xE2\x81\xA6\xE2\x81\xA9\xE2\x80\xAC\xD8\x9C", cBad + cBad + cBad + cBad + cBad}, // directions
        {"\xE2\x80\x8B\xEF\xBB\xBF\xE3\x85\xA4", cBad + cBad + cBad}, // nothing to see
        {"\xE2\x80\xA8\xE2\x80\xA9", cBad + cBad},                    // ends of lines and paragraphs
        {"\xC0\xAF", cBad + cBad},                                    // a slash in two bytes
        {"\xE0\x80\xAF", cBad + cBad + cBad},
        {"\xED\xA0\x80", cBad + cBad + cBad},            // half a pair
        {"\xED\xBF\xBF", cBad + cBad + cBad},            // the other half
        {"\xF4\x90\x80\x80", cBad + cBad + cBad + cBad}, // beyond the last character
        {"\xF8\xA0\x80\x80\x80", cBad + cBad + cBad + cBad + cBad},
        {"\xFC\x83\x87\xB8", cBad + cBad + cBad + cBad}, // a first byte that no character has
        {"\xE2\x82z\xE2\x82", cBad + cBad + "z" + cBad + cBad},
        {"\xF3\xA0\x81\xA1", cBad}, // a tag
    };
    for (const auto& [text, line] : cCases)
        EXPECT_EQ(ToLine(text), line) << text;
    EXPECT_EQ(ToLines("a\n\tb\rc\x1B", 100), "a\n\tb c" + cBad);
}

TEST(Utf8, CutsLongTextsBetweenCharacters)
{
    EXPECT_EQ(ToLine("1234567", 7), "1234567");
    EXPECT_EQ(ToLine("12345678", 7), "1234" + cMark);
    EXPECT_EQ(ToLine("123\xC3\xA4\xC3\xA4", 6), "123" + cMark);
    EXPECT_EQ(ToLine("12\xC3\xA4x", 4), "1" + cMark);
    EXPECT_EQ(ToLine("12\xE2\x82\xAC\xE2\x82\xAC", 7), "12" + cMark);
    EXPECT_EQ(ToLine(std::string(10'000, '\xFF')).size(), 3'999U);
    EXPECT_EQ(ToLine(std::string(10'000, 'x')), std::string(cLongestText - 3, 'x') + cMark);
}

TEST(Utf8, KnowsHowWideTextsAre)
{
    const struct
    {
        std::string mText;
        std::size_t mWidth;
        std::string mCutToThree;
    } cCases[] = {
        {"abc", 3, "abc"},
        {"abcd", 4, "ab" + cMark},
        {"\xE6\x97\xA5\xE6\x9C\xAC", 4, "\xE6\x97\xA5" + cMark}, // two wide ones
        {"a\xE6\x97\xA5"
         "b",
         4, "a" + cMark},
        {"e\xCC\x81"
         "e\xCC\x81",
         2,
         "e\xCC\x81"
         "e\xCC\x81"}, // with accents of their own
        {"\xF0\x9F\x98\x80\xE2\x9C\x93", 3, "\xF0\x9F\x98\x80\xE2\x9C\x93"},
    };
    for (const auto& [text, width, cut] : cCases)
    {
        EXPECT_EQ(WidthOf(text), width) << text;
        EXPECT_EQ(CutToWidth(text, 3), cut) << text;
    }
    std::string tower = "e";
    for (int i = 0; i < 1'000; ++i)
        tower += "\xCC\x81";
    EXPECT_LE(CutToWidth(tower, 3).size(), 27U);
    EXPECT_EQ(CutToWidth("abc", 0), "");
}

} // namespace
