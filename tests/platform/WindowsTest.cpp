#include "platform/Windows.h"

#include "platform/builtin/Faults.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>

TEST(LengthStrings, CarryTheirLengthAndATerminator)
{
    const WCHAR text[] = {'a', 0, 'b', 'c'};
    const BSTR copy = SysAllocStringLen(text, 3);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(SysStringLen(copy), 3u);
    EXPECT_EQ(std::memcmp(copy, text, 3 * sizeof(WCHAR)), 0);
    EXPECT_EQ(copy[3], 0);
    std::uint32_t bytes = 0;
    std::memcpy(&bytes, reinterpret_cast<const char*>(copy) - 4, 4);
    EXPECT_EQ(bytes, 6u);
    SysFreeString(copy);

    const BSTR whole = SysAllocString(W("Gr\u00F6\u00DFe"));
    EXPECT_EQ(SysStringLen(whole), 5u);
    SysFreeString(whole);
}

TEST(LengthStrings, TellEmptyFromNone)
{
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    SysFreeString(nullptr);
    const BSTR empty = SysAllocString(W(""));
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(SysStringLen(empty), 0u);
    EXPECT_EQ(empty[0], 0);
    SysFreeString(empty);
}

#if !defined(_WIN32)

TEST(LengthStrings, AreNullWithoutMemoryOrText)
{
    Faults::FailNth(Faults::EnumFault::Allocation, 1);
    EXPECT_EQ(SysAllocString(W("text")), nullptr);
    EXPECT_EQ(SysAllocStringLen(nullptr, 5), nullptr);
    EXPECT_EQ(SysAllocStringLen(W("text"), std::numeric_limits<unsigned>::max()), nullptr);
}

TEST(LengthStrings, GiveTheirBlockBack)
{
    Faults::StartCountingBlocks();
    SysFreeString(SysAllocString(W("text")));
    EXPECT_EQ(Faults::StopCountingBlocks(), 0);
}

#endif
