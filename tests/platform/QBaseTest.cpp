#include "platform/QBase.h"

#include "platform/Windows.h"
#include "platform/builtin/Faults.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory_resource>
#include <new>
#include <string>
#include <utility>

using Builtin::Faults::EnumFault;

TEST(Conversion, KeepsWellFormedTextBothWays)
{
    const std::pair<const char*, const QBase::WCHAR*> cRows[] = {
        {"\x7F|\xC2\x80|\xDF\xBF|\xE0\xA0\x80", QORJOB_W("\x7F|\x80|\u07FF|\u0800")},
        {"\xED\x9F\xBF|\xEE\x80\x80|\xEF\xBF\xBF", QORJOB_W("\uD7FF|\uE000|\uFFFF")},
        {"\xF0\x90\x80\x80|\xF4\x8F\xBF\xBF|", QORJOB_W("\U00010000|\U0010FFFF|")},
    };
    for (const auto& [narrow, wide] : cRows)
    {
        EXPECT_TRUE(QBase::UTF8ToWideChar(narrow) == wide) << narrow;
        EXPECT_EQ(QBase::WideCharToUTF8(wide), narrow);
    }
}

TEST(Conversion, ReplacesMalformedText)
{
    const std::pair<const char*, const QBase::WCHAR*> cRows[] = {
        {"a\x80z", QORJOB_W("a\uFFFDz")},                                     // a tail without a lead
        {"\xE2\x82z\xE2\x82", QORJOB_W("\uFFFDz\uFFFD")},                     // cut off; what follows survives
        {"\xC1\xBF\xE0\x9F\xBF", QORJOB_W("\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD")}, // longer than it need be
        {"\xF0\x8F\xBF\xF5\x80", QORJOB_W("\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD")},
        {"\xED\xA0\x80", QORJOB_W("\uFFFD\uFFFD\uFFFD")},              // a surrogate
        {"\xF4\x90\x80\x80", QORJOB_W("\uFFFD\uFFFD\uFFFD\uFFFD")},    // above U+10FFFF
        {"\xF0\x9F\x98\xF0\x9F\x98\x80", QORJOB_W("\uFFFD\U0001F600")} // a lead where a tail should be
    };
    for (const auto& [narrow, wide] : cRows)
        EXPECT_TRUE(QBase::UTF8ToWideChar(narrow) == wide) << testing::PrintToString(narrow);
    EXPECT_TRUE(QBase::UTF8ToWideChar({"\xC3\xA4", 1}) == QORJOB_W("\uFFFD"));
    const std::string replacement = "\xEF\xBF\xBD"; // for lone surrogates
    const QBase::WCHAR twisted[] = {0xDE00, 0xD83D, 'z', 0xD83D};
    EXPECT_EQ(QBase::WideCharToUTF8({twisted, 4}), replacement + replacement + "z" + replacement);
}

TEST(DefaultHeap, GivesWhatAlignmentItIsAskedForAndTakesItBack)
{
    std::pmr::memory_resource* const heap = QBase::DefaultHeap();
    Builtin::Faults::StartCountingBlocks();
    for (const std::size_t alignment : {std::size_t{1}, alignof(std::max_align_t), std::size_t{16}, std::size_t{256}})
    {
        void* const memory = heap->allocate(5, alignment);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % alignment, 0u);
        std::memset(memory, 7, 5);
        heap->deallocate(memory, 5, alignment);
    }
    const volatile std::size_t tooMuch = static_cast<std::size_t>(-2); // volatile: the compiler would complain of it
    EXPECT_THROW(static_cast<void>(heap->allocate(tooMuch, 256)), std::bad_alloc);
    EXPECT_EQ(Builtin::Faults::StopCountingBlocks(), 0);
}

TEST(LengthStrings, CarryTheirLengthAndATerminator)
{
    const QBase::WCHAR text[] = {'a', 0, 'b', 'c'};
    for (const unsigned length : {3u, 0u})
    {
        const BSTR copy = SysAllocStringLen(text, length);
        ASSERT_NE(copy, nullptr);
        EXPECT_EQ(SysStringLen(copy), length);
        EXPECT_EQ(std::memcmp(copy, text, length * sizeof(QBase::WCHAR)), 0);
        EXPECT_EQ(copy[length], 0);
        SysFreeString(copy);
    }
#if !defined(_WIN32)
    Builtin::Faults::FailNth(EnumFault::Allocation, 1);
    EXPECT_EQ(SysAllocString(QORJOB_W("text")), nullptr);
    EXPECT_EQ(SysAllocStringLen(QORJOB_W("text"), std::numeric_limits<unsigned>::max()), nullptr);
#endif
}
