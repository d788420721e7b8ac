// Calls of the job library.
#pragma once

#include "qorjob.h"

#include <stdexcept>
#include <string>

/// An operation of the job library has failed.
class JobCallError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Throws JobCallError, with the operation's name and the code, unless the code is a success.
void Expect(HRESULT iCode, const char* iOperation);

/// The library's texts have 16-bit characters.
std::string StepNameOf(int iStepId);
/// How an object gives such a text away: the receiver frees it.
HRESULT GiveText(const std::string& iText, BSTR* oText);

int StatusOf(const QORJob& iJob);
/// The held state that this kernel uses: no step of the job is handed out.
inline constexpr int cWaitingForChildren = JobHeld18;
