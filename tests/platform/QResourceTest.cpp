#include "platform/QResource.h"

#include "platform/QLog.h"

#include <gtest/gtest.h>

#include <limits>
#include <string_view>
#include <utility>

using QLog::Format::Dec;
using QLog::Format::Hex;
using QLog::Format::WideHex;
using QResource::MessageFormatter;

TEST(Messages, WriteEachKindOfArgument)
{
    const QBase::WCHAR* const noWideText = nullptr;
    const char* const noText = nullptr;
    MessageFormatter formatter;
    formatter << true << false << -5 << 7ul << std::numeric_limits<long long>::min() << ~0ull << 0.1 << 3.0 << "text"
              << noText << std::string_view("view") << QORJOB_W("Gr\u00F6\u00DFter") << noWideText
              << reinterpret_cast<const void*>(std::uintptr_t{0xBEEF}) << GUID{} << Hex
              << static_cast<HRESULT>(0x8004308B) << 31 << 0 << -1 << -1LL << 0.5 << "10" << WideHex << 31 << 0xABCDull
              << -2 << Dec << 31;
    EXPECT_EQ(formatter.Format("%1 %2 %3 %4 %5 %6 %7 %8"),
              "true false -5 7 -9223372036854775808 18446744073709551615 0.1 3");
    EXPECT_EQ(formatter.Format("%9|%10|%11|%12|%13|%14|%15"),
              "text||view|Gr\xC3\xB6\xC3\x9Fter||0xBEEF|{00000000-0000-0000-0000-000000000000}");
    EXPECT_EQ(formatter.Format("%16 %17 %18 %19 %20 %21 %22 %23 %24 %25 %26"),
              "0x8004308B 0x1F 0x0 0xFFFFFFFF 0xFFFFFFFFFFFFFFFF 0.5 10 0x0000001F 0x000000000000ABCD 0xFFFFFFFE 31");
}

TEST(Messages, FillTheirTemplate)
{
    const std::pair<const char*, const char*> cRows[] = {
        {"job %2 of %1, %2 again", "job b of a, b again"},
        {"%12 and %99", "%12 and %99"}, // no such argument, and never %1 followed by a 2
        {"%100", "j0"},                 // two digits at most
        {"%0 % %x %", "%0 % %x %"},
        {"100%% of %%1", "100% of %1"},
        {"%3%%", "%1%"}, // an argument is no template
    };
    MessageFormatter formatter;
    for (const char* argument : {"a", "b", "%1", "d", "e", "f", "g", "h", "i", "j", "k"})
        formatter << argument;
    for (const auto& [pattern, text] : cRows)
        EXPECT_EQ(formatter.Format(pattern), text);
    EXPECT_EQ(formatter.Format(std::string_view("%12", 2)), "a");
}
