// Reads what a request asks for.
#pragma once

#include "monitor/QORMonitorTypes.h"
#include "monitor/QORWeb.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace QORMONITOR
{

/// Answered with 400; the text is for who has sent the request.
class BadRequest : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The query of a list. Throws BadRequest for names and values that there aren't.
QORMonitorQuery ReadListQuery(const QORWebRequest& iRequest);

/// `iNone` where the request has no such value. Throws BadRequest for what is no whole number between the two.
int ReadNumber(const QORWebRequest& iRequest, const std::string& iName, int iNone, int iLeast, int iMost);

/// The id of the language that "lang" names, such as "de"; English where there is none. Throws BadRequest for one that
/// isn't among these.
unsigned ReadLanguage(const QORWebRequest& iRequest, const std::vector<unsigned>& iLanguages);

} // namespace QORMONITOR
