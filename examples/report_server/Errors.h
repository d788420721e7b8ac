// The kinds of errors.
#pragma once

#include "qorjob.h"

#include <stdexcept>
#include <string>

/// A request can't be served; the text is for the client who sent it. The other requests go on.
class RequestError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The server can't start: the text is for who starts it.
class SetupError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Throws std::runtime_error, with the library's operation and its code, unless the code is a success.
void Expect(HRESULT iCode, const char* iOperation);

/// Why the system has refused the last call.
std::string SystemReason();
