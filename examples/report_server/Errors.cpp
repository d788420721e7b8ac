#include "Errors.h"

#include <cstdio>

void LogError(const std::string& iText)
{
    // One call: lines of several threads stay whole.
    std::fprintf(stderr, "report_server: %s\n", iText.c_str());
}
