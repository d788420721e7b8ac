// A client's request: one a line, `kind | user | project | priority | body`. A line `session | user | language`
// gives the user's further requests a session in that language, en or de; without one it is English. Control.h
// describes the lines that do something to the requests' jobs while they run.
//
// The last clause of a body may be `deliver to NAME`: then the result, or the error, goes into the mailbox of that
// name, and the client is answered at once that its request was accepted.
#pragma once

#include "Control.h"

#include <filesystem>
#include <string>
#include <vector>

enum class EnumRequestKind
{
    Report,   ///< the body is a report definition; the result is a table
    Sql,      ///< the body is a report definition; the result is the SQL that it comes to
    Element,  ///< the body names a column; the result is its values
    Document, ///< the body is report definitions with an & between them; the result is theirs
};

const char* ToText(EnumRequestKind iKind);
/// Throws RequestError for what is no kind.
EnumRequestKind ParseKind(const std::string& iText);

/// The id under which the message library knows the language.
inline constexpr unsigned cEnglish = 0x0409;

struct Request
{
    int mLine = 0; ///< in the request file
    EnumRequestKind mKind = EnumRequestKind::Report;
    std::string mUser;
    unsigned mLocale = cEnglish; ///< of the user's session
    std::string mProject;
    int mPriority = 0; ///< a higher one goes first
    std::string mBody;
    std::string mDestination; ///< empty: the client
};

struct RequestFile
{
    std::vector<Request> mRequests; ///< the n-th is number n
    std::vector<Control> mControls;
    std::vector<std::string> mBadLines; ///< file:line: what is wrong with it
};

/// Empty lines and those that begin with # are passed over. Throws SetupError when the file can't be read.
RequestFile ReadRequests(const std::filesystem::path& iPath);
