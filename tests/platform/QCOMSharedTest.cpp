#include "platform/QCOMShared.h"

#include <gtest/gtest.h>

TEST(JSONMessages, EscapeWhatTheirTextsHold)
{
    std::string message = "older";
    EXPECT_EQ(QCOMShared::GetLogMessageInJSON({}, message), S_OK);
    EXPECT_EQ(message, "{}");
    const std::map<std::string, std::string> properties{
        {"\"key\"", "C:\\x/y"}, {"a", std::string("\b\f\n\r\t\0\x1F\x7F", 8)}, {"b", "Gr\xC3\xB6\xC3|"}};
    EXPECT_EQ(QCOMShared::GetLogMessageInJSON(properties, message), S_OK);
    EXPECT_EQ(message, "{\"\\\"key\\\"\":\"C:\\\\x/y\",\"a\":\"\\b\\f\\n\\r\\t\\u0000\\u001f\x7F\","
                       "\"b\":\"Gr\xC3\xB6\xEF\xBF\xBD|\"}");
}
