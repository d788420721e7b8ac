// A client's request: one a line, `kind | user | project | priority | body`. A line `session | user | language`
// gives the user's further requests a session in that language, en or de; without one it is English.
//
// The last clause of a body may be `deliver to NAME`: then the result, or the error, goes into the mailbox of that
// name, and the client is answered at once that its request was accepted.
//
// Other lines do something to jobs while they run. They may also be typed meanwhile, with or without the bar behind the
// first word, and are then obeyed at once if there is no `at`.
//
//   cancel | 7                       request 7, as soon as its first step has begun
//   cancel | 7 at 4                  ... as soon as its step 4 has begun
//   cancel | 23 at 3 of 230002       ... as soon as step 3 of job 230002 has, the second child of document 23
//   pause | 22 at 13                 a document, until it is resumed
//   resume | 22 at 13                as soon as it has paused there
//   timeout | 20 at 4 after 300      from there on the job has 300 milliseconds
#pragma once

#include "qorjob.h"

#include <array>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

// The ids under which the message library knows the languages.
inline constexpr unsigned cEnglish = 0x0409;
inline constexpr unsigned cGerman = 0x0407;

struct Request
{
    int mLine = 0; ///< in the request file; of one that comes otherwise, its number
    /// A report's body is its definition, the result a table; RequestSQL is the same, but the result is the SQL. The
    /// body of RequestElement names a column, the result is its values. A document's is reports with an & between them.
    int mKind = RequestReport;
    std::string mUser;
    unsigned mLocale = cEnglish; ///< of the user's session
    std::string mProject;
    int mPriority = 0; ///< a higher one goes first
    std::string mBody;
    std::string mDestination; ///< empty: the client
};

/// "report", "sql", "element", "document"
std::string KindOf(const Request& iRequest);
/// Throws RequestError for what is no kind.
int ParseKind(const std::string& iText);
/// "en" or "de". Throws RequestError for what is neither.
unsigned ParseLanguage(std::string_view iText);

/// Kind, user, project, priority and body, as a line has them.
using RequestFields = std::array<std::string, 5>;
/// Both throw RequestError. The session's language isn't among the fields: it is English.
Request MakeRequest(RequestFields iFields);
Request ParseRequest(std::string_view iLine);

enum class EnumControl
{
    Cancel,
    Pause,
    Resume,
    Timeout,
};

/// What is to be done to a job.
struct Control
{
    EnumControl mKind = EnumControl::Cancel;
    int mJob = 0;               ///< by its id: a request's is its number
    int mStep = 0;              ///< 0: any
    int mStepOf = 0;            ///< whose step that is
    unsigned mMilliseconds = 0; ///< of a timeout
};

std::string ToText(const Control& iControl);
/// Throws RequestError.
Control ParseControl(const std::string& iLine);

struct RequestFile
{
    std::vector<Request> mRequests; ///< the n-th is number n
    std::vector<Control> mControls;
    std::vector<std::string> mBadLines; ///< file:line: what is wrong with it
};

/// Empty lines and those that begin with # are passed over. Throws SetupError when the file can't be read.
RequestFile ReadRequests(const std::filesystem::path& iPath);
