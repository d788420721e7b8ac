#include "platform/QCOMShared.h"

#include "platform/QFormat.h"
#include "platform/builtin/Settings.h"

#include <gtest/gtest.h>

TEST(JSONMessages, EscapeWhatTheirTextsHold)
{
    const struct
    {
        std::map<std::string, std::string> mProperties;
        const char* mpMessage;
    } rows[] = {
        {{}, "{}"},
        {{{"b", "2"}, {"a", "1"}}, R"({"a":"1","b":"2"})"},
        {{{"", ""}}, R"({"":""})"},
        {{{"\"key\"", "C:\\x/y"}}, R"({"\"key\"":"C:\\x/y"})"},
        {{{"a", "\b\f\n\r\t"}}, R"({"a":"\b\f\n\r\t"})"},
        {{{"a", std::string("\0\x01\x1F\x7F", 4)}}, "{\"a\":\"\\u0000\\u0001\\u001f\x7F\"}"},
        {{{"a", "Gr\xC3\xB6\xC3\x9F"
                "e \xF0\x9F\x98\x80"}},
         "{\"a\":\"Gr\xC3\xB6\xC3\x9F"
         "e \xF0\x9F\x98\x80\"}"},
        {{{"a", "\xFF|\xC3"}}, "{\"a\":\"\xEF\xBF\xBD|\xEF\xBF\xBD\"}"}, // malformed UTF-8
    };
    for (const auto& row : rows)
    {
        std::string message = "older";
        EXPECT_EQ(QCOMShared::GetLogMessageInJSON(row.mProperties, message), S_OK);
        EXPECT_EQ(message, row.mpMessage);
    }
}

TEST(Locales, AreEnglishUntilTheyAreSet)
{
    EXPECT_EQ(QFormat::GetUserDefaultLCID(), 0x409u);
    Settings::SetUserDefaultLCID(0x407);
    EXPECT_EQ(QFormat::GetUserDefaultLCID(), 0x407u);
    Settings::SetUserDefaultLCID(0x409);
}
