// One request to a web server, for programs that wait for the answer.
#pragma once

#include <chrono>
#include <string>

struct HttpRequest
{
    std::string mMethod = "GET";
    std::string mTarget; ///< path and query
    std::string mBody;
    std::string mToken;                 ///< empty for none
    std::chrono::seconds mPatience{10}; ///< for each: to connect, to send, to get the answer
};

struct HttpAnswer
{
    unsigned mStatus = 0;
    std::string mLocation;
    std::string mBody;
};

/// `iServer`: "http://127.0.0.1:8080". Throws std::runtime_error when there is no answer.
HttpAnswer Ask(const std::string& iServer, const HttpRequest& iRequest);
