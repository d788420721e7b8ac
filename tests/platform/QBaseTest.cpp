#include "platform/QBase.h"

#include "platform/Windows.h"
#include "platform/builtin/Faults.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <utility>

using Faults::EnumFault;

TEST(Heap, KeepsEveryAlignmentAndLosesNothing)
{
    Faults::StartCountingBlocks();
    for (std::size_t alignment = 1; alignment <= 4096; alignment *= 2)
    {
        void* const memory = QBase::DefaultHeap()->allocate(100, alignment);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % alignment, 0u);
        QBase::DefaultHeap()->deallocate(memory, 100, alignment);
        Faults::FailNth(EnumFault::Allocation, 1);
        EXPECT_THROW(static_cast<void>(QBase::DefaultHeap()->allocate(8, alignment)), std::bad_alloc) << alignment;
    }
    void* const empty = QBase::HeapAllocate(0);
    EXPECT_NE(empty, nullptr);
    QBase::HeapFree(empty);
    QBase::HeapFree(nullptr);
    EXPECT_EQ(Faults::StopCountingBlocks(), 0);
}

TEST(FaultsOnPurpose, CountOnlyTheBlocksTakenSinceTheStart)
{
    void* const old = QBase::HeapAllocate(8);
    Faults::StartCountingBlocks();
    void* const lost = QBase::HeapAllocate(8);
    QBase::HeapFree(QBase::HeapAllocate(8));
    QBase::HeapFree(old); // must not make up for the lost one
    EXPECT_EQ(Faults::StopCountingBlocks(), 1);
    QBase::HeapFree(lost);
}

TEST(Conversion, KeepsWellFormedTextBothWays)
{
    const std::pair<const char*, const WCHAR*> cRows[] = {
        {"\x7F|\xC2\x80", W("\x7F|\x80")},
        {"\xDF\xBF|\xE0\xA0\x80", W("\u07FF|\u0800")},
        {"Gr\xC3\xB6\xC3\x9Fter", W("Gr\u00F6\u00DFter")},
        {"\xED\x9F\xBF|\xEE\x80\x80|\xEF\xBF\xBF", W("\uD7FF|\uE000|\uFFFF")},
        {"\xF0\x90\x80\x80|\xF4\x8F\xBF\xBF", W("\U00010000|\U0010FFFF")},
    };
    for (const auto& [narrow, wide] : cRows)
    {
        EXPECT_TRUE(QBase::UTF8ToWideChar(narrow) == wide) << narrow;
        EXPECT_EQ(QBase::WideCharToUTF8(wide), narrow);
    }
    const std::string inner("a\0b", 3);
    EXPECT_EQ(QBase::WideCharToUTF8(QBase::UTF8ToWideChar(inner)), inner);
}

TEST(Conversion, ReplacesMalformedText)
{
    const std::pair<const char*, const WCHAR*> cRows[] = {
        {"a\x80z", W("a\uFFFDz")},                              // a tail without a lead
        {"\xE2\x82z\xE2\x82", W("\uFFFDz\uFFFD")},              // cut off; what follows survives
        {"\xC0\xAF", W("\uFFFD\uFFFD")},                        // overlong
        {"\xED\xA0\x80", W("\uFFFD\uFFFD\uFFFD")},              // a surrogate
        {"\xF4\x90\x80\x80", W("\uFFFD\uFFFD\uFFFD\uFFFD")},    // above U+10FFFF
        {"\xF5\xFF", W("\uFFFD\uFFFD")},                        // never a byte of UTF-8
        {"\xF0\x9F\x98\xF0\x9F\x98\x80", W("\uFFFD\U0001F600")} // a lead where a tail should be
    };
    for (const auto& [narrow, wide] : cRows)
        EXPECT_TRUE(QBase::UTF8ToWideChar(narrow) == wide) << testing::PrintToString(narrow);
    const std::string replacement = "\xEF\xBF\xBD"; // for lone surrogates
    const WCHAR twisted[] = {0xDE00, 0xD83D, 'z', 0xD83D};
    EXPECT_EQ(QBase::WideCharToUTF8({twisted, 4}), replacement + replacement + "z" + replacement);
}

TEST(LengthStrings, CarryTheirLengthAndATerminator)
{
    const WCHAR text[] = {'a', 0, 'b', 'c'};
    for (const unsigned length : {3u, 0u})
    {
        const BSTR copy = SysAllocStringLen(text, length);
        ASSERT_NE(copy, nullptr);
        EXPECT_EQ(SysStringLen(copy), length);
        EXPECT_EQ(std::memcmp(copy, text, length * sizeof(WCHAR)), 0);
        EXPECT_EQ(copy[length], 0);
        SysFreeString(copy);
    }
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    SysFreeString(nullptr);
#if !defined(_WIN32)
    Faults::FailNth(EnumFault::Allocation, 1);
    EXPECT_EQ(SysAllocString(W("text")), nullptr);
    EXPECT_EQ(SysAllocStringLen(W("text"), std::numeric_limits<unsigned>::max()), nullptr);
#endif
}
