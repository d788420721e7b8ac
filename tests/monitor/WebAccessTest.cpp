#include "monitor/QORWeb.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace
{

using Texts = std::map<std::string, std::string>;

TEST(WebTarget, IsDecoded)
{
    QORWebRequest request;
    ASSERT_TRUE(request.SetTarget("/jobs/a+b%20c%C3%A9%2f?user=anna+m&q=%2B%26%3d&empty&=&q=last&&x=?/"));
    EXPECT_EQ(request.mPath, "/jobs/a+b c\xC3\xA9/");
    EXPECT_EQ(request.mQuery, (Texts{{"user", "anna m"}, {"q", "last"}, {"empty", ""}, {"", ""}, {"x", "?/"}}));
    EXPECT_EQ(request.GetQuery("user"), "anna m");
    EXPECT_EQ(request.GetQuery("nobody"), "");

    for (const char* target : {"/", "/a/", "/...", "/a/.b", "/%F4%8F%BF%BF", "/%ED%9F%BF", "/%EE%80%80", "/%E0%A0%80"})
        EXPECT_TRUE(request.SetTarget(target)) << target;
}

TEST(WebTarget, IsRefusedIfItMightBeReadInTwoWays)
{
    QORWebRequest request{.mPath = "/before", .mQuery = {{"a", "b"}}};
    std::string names = "/?";
    for (int index = 0; index < 65; ++index)
        names += std::to_string(index) + "&";
    for (const std::string target : {"",
                                     "*",
                                     "jobs",
                                     "http://localhost/",
                                     "?a=b",
                                     "/%",
                                     "/%4",
                                     "/%4x",
                                     "/%x4",
                                     "/?a=%4",
                                     "/?%g0=",
                                     "/%00",
                                     "/?a=%00",
                                     "/?a=%0a",
                                     "/%7f",
                                     "/\t",
                                     "/a b",
                                     "/a#b",
                                     "/a\\b",
                                     "/%5c",
                                     "//",
                                     "//a",
                                     "/a//b",
                                     "/a/%2fb",
                                     "/.",
                                     "/..",
                                     "/./a",
                                     "/a/../b",
                                     "/a/..",
                                     "/%2e%2E/a",
                                     "/%2e%2e%2fa",
                                     "/%80",
                                     "/%C3",
                                     "/%C3a",
                                     "/?a=%C3(",
                                     "/%C0%AF",
                                     "/%C1%BF",
                                     "/%E0%9F%BF",
                                     "/%ED%A0%80",
                                     "/%F0%8F%BF%BF",
                                     "/%F4%90%80%80",
                                     "/%F5%80%80%80",
                                     "/%E2%82",
                                     "/%F0%9F%98",
                                     "/\xFF",
                                     names.c_str()})
        EXPECT_FALSE(request.SetTarget(target)) << target;
    EXPECT_FALSE(request.SetTarget(std::string_view("/%41", 3)));
    EXPECT_EQ(request.mPath, "/before");
    EXPECT_EQ(request.mQuery, (Texts{{"a", "b"}}));
    EXPECT_TRUE(request.SetTarget(names.substr(0, names.size() - 3)));
}

TEST(WebAccess, WithoutATokenIsForThoseWhoCallByALoopbackName)
{
    const QORWebAccess access{.mHosts = {"jobs.Example"}};
    const auto isServed = [&](const char* iMethod, const Texts& iHeaders) {
        const auto refusal = access.Refuse({.mMethod = iMethod, .mPath = "/", .mHeaders = iHeaders});
        if (refusal)
        {
            EXPECT_EQ(refusal->mStatus, 403U);
            EXPECT_EQ(refusal->mBody, R"({"error": "the server isn't known by this name"})");
        }
        return !refusal;
    };
    EXPECT_TRUE(isServed("GET", {})); // a program of HTTP/1.0
    EXPECT_TRUE(isServed("POST", {}));
    for (const char* host :
         {"localhost", "LocalHost:8080", "127.0.0.1:80", "127.1.2.3", "[::1]", "[::1]:8080", "JOBS.example:1"})
    {
        EXPECT_TRUE(isServed("GET", {{"host", host}})) << host;
        EXPECT_TRUE(isServed("POST", {{"host", host}})) << host;
    }
    for (const char* host :
         {"", "example", "localhost.example", "127.0.0.1.example", "localhost:80@example", "localhost, example",
          "10.0.0.1", "0.0.0.0", "::1", "[::1", "[::11", "[::1]x", "[127.0.0.1]"})
    {
        EXPECT_FALSE(isServed("GET", {{"host", host}})) << host;
        EXPECT_FALSE(isServed("POST", {{"host", host}, {"origin", std::string("http://") + host}})) << host;
    }
}

TEST(WebAccess, WithoutATokenIsNotForPagesOfOtherSitesThatWouldChangeSomething)
{
    const struct
    {
        const char* mName;
        const char* mValue;
        bool mbServed;
    } cases[] = {
        {"origin", "http://LOCALHOST:1", true},
        {"origin", "http://localhost:2", false},
        {"origin", "http://localhost", false},
        {"origin", "http://127.0.0.1:1", false},
        {"origin", "https://localhost:1", false},
        {"origin", "http://localhost:1, http://localhost:1", false},
        {"origin", "null", false},
        {"origin", "", false},
        {"sec-fetch-site", "same-origin", true},
        {"sec-fetch-site", "none", true},
        {"sec-fetch-site", "same-site", false},
        {"sec-fetch-site", "cross-site", false},
        {"sec-fetch-site", "", false},
    };
    for (const auto& [name, value, bServed] : cases)
    {
        QORWebRequest request{.mPath = "/", .mHeaders = {{"host", "localhost:1"}, {name, value}}};
        for (const char* method : {"POST", "DELETE", "get", "GET", "HEAD"})
        {
            request.mMethod = method;
            const bool bReads = request.mMethod == "GET" || request.mMethod == "HEAD"; // that page can't see the answer
            const auto refusal = QORWebAccess().Refuse(request);
            EXPECT_EQ(refusal ? refusal->mBody : "",
                      bServed || bReads ? "" : R"({"error": "the page of another site may not do this"})")
                << method << ' ' << name << ": " << value;
        }
    }
    EXPECT_TRUE(QORWebAccess().Refuse({.mMethod = "POST", .mHeaders = {{"origin", "http://localhost"}}}));
}

TEST(WebAccess, WithATokenIsForThoseWhoKnowIt)
{
    const QORWebAccess access{.mToken = "0123456789abcdef", .mOpenPaths = {"/", "/page.js"}};
    const auto refuse = [&](const char* iPath, const char* iAuthorization) {
        return access.Refuse(
            {.mMethod = "POST", .mPath = iPath, .mHeaders = {{"host", "example"}, {"authorization", iAuthorization}}});
    };
    for (const char* right : {"Bearer 0123456789abcdef", "bearer 0123456789abcdef"})
        EXPECT_FALSE(refuse("/jobs", right)) << right;
    for (const char* wrong :
         {"", "Bearer", "Bearer ", "Bearer 0123456789abcde", "Bearer 0123456789abcdeg", "Bearer 0123456789ABCDEF",
          "Bearer 0123456789abcdef0", "Bearer 0123456789abcdef0123456789abcdef", "Bearer  0123456789abcdef",
          "Basic 0123456789abcdef", "0123456789abcdef", "Bearer 0123456789abcdef, Bearer 0123456789abcdef"})
    {
        const auto refusal = refuse("/jobs", wrong);
        ASSERT_TRUE(refusal) << wrong;
        EXPECT_EQ(refusal->mStatus, 401U);
        EXPECT_EQ(refusal->mHeaders.at(0), (std::pair<std::string, std::string>("WWW-Authenticate", "Bearer")));
        EXPECT_EQ(refusal->mBody, R"({"error": "this needs the server's token"})");
    }
    EXPECT_TRUE(access.Refuse({.mMethod = "GET", .mPath = "/jobs", .mHeaders = {{"host", "localhost"}}}));
    EXPECT_FALSE(refuse("/page.js", ""));
    EXPECT_TRUE(refuse("/page.js/", ""));
}

} // namespace
