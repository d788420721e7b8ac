// Commands for jobs that run: lines of the request file and lines that are typed meanwhile, with or
// without the bar behind the first word.
//
//   cancel | 7                       request 7, as soon as its first step has begun
//   cancel | 7 at 4                  ... as soon as its step 4 has begun
//   cancel | 23 at 3 of 23002        ... as soon as step 3 of job 230002 has, the second child of document 23
//   pause | 22 at 13                 a document, until it is resumed
//   resume | 22 at 13                as soon as it has paused there
//   timeout | 20 at 4 after 300      from there on the job has 300 milliseconds
//
// Typed lines without `at` are obeyed at once.
#pragma once

#include <string>
#include <string_view>

enum class EnumControl
{
    Cancel,
    Pause,
    Resume,
    Timeout,
};

struct Control
{
    EnumControl mKind = EnumControl::Cancel;
    int mJob = 0;               ///< by its id: a request's is its number
    int mStep = 0;              ///< 0: any
    int mStepOf = 0;            ///< whose step that is
    unsigned mMilliseconds = 0; ///< of a timeout
};

const char* ToText(EnumControl iKind);
std::string ToText(const Control& iControl);

/// Whether the line begins like one.
bool IsControl(std::string_view iLine);

/// Throws RequestError.
Control ParseControl(const std::string& iLine);
