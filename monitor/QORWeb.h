// Requests and answers of a web server, without the server.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A request that has come whole. Names of headers are in lower case.
struct QORWebRequest
{
    std::string mMethod = {};                       ///< "GET"
    std::string mPath = {};                         ///< decoded, begins with a slash: "/jobs/7"
    std::map<std::string, std::string> mQuery = {}; ///< decoded; of several values of a name the last
    std::map<std::string, std::string> mHeaders = {};
    std::string mBody = {};

    /// Sets path and query from what stands in a request line: "/jobs?user=anna%20m". False, and nothing is set, for
    /// one that isn't as it should be, or that might be read in two ways: an escape that is none, characters that don't
    /// show, what is no UTF-8, a backslash, the segments "", "." and "..", more than 64 names.
    bool SetTarget(std::string_view iTarget);

    /// Empty where there is none.
    std::string GetHeader(std::string_view iName) const;
    std::string GetQuery(std::string_view iName) const;
};

struct QORWebAnswer
{
    unsigned mStatus = 200;
    std::string mType = "application/json; charset=utf-8";
    std::string mBody = {};
    std::vector<std::pair<std::string, std::string>> mHeaders = {}; ///< beside those that every answer has
};

/// Where the answer to one request goes. One that is destroyed without an answer has answered 500.
///
/// Threads: any.
class QORWebCall
{
public:
    virtual ~QORWebCall() = default;

    /// Once. Later ones are dropped, and so is one for a client that has gone.
    virtual void Answer(QORWebAnswer iAnswer) = 0;
    /// In place of an answer: its head, and then what Send is given, until Close or the client has gone.
    virtual void Begin(QORWebAnswer iHead) = 0;
    /// False when the client has gone, or is so slow that too much waits for it: it is dropped then.
    virtual bool Send(std::string iPart) = 0;
    virtual void Close() = 0;
    /// Called once when the client has gone before its answer, on a thread of the server; at once if it has already.
    virtual void OnGone(std::function<void()> iGone) = 0;
};

/// Called on the server's thread: it has to return soon, and may answer later from any thread.
using QORWebHandler = std::function<void(const QORWebRequest& iRequest, std::shared_ptr<QORWebCall> iCall)>;

/// Who may do what.
struct QORWebAccess
{
    std::string mToken = {};              ///< empty: none is asked for, which only loopback allows
    std::vector<std::string> mHosts = {}; ///< names under which the server is known, beside loopback's

    /// The answer that refuses the request, if it has to be. Without a token only clients that call the server by a
    /// loopback name are served, and what changes something (all but GET and HEAD) isn't taken of another site's page.
    /// With one, each request but those for `iOpenPaths` needs it, as "Authorization: Bearer TOKEN".
    std::optional<QORWebAnswer> Refuse(const QORWebRequest& iRequest) const;

    /// Paths that hold nothing of any job: the page itself and its parts.
    std::vector<std::string> mOpenPaths = {"/"};
};
