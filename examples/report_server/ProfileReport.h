// The performance monitor's profiles and counters as a table.
#pragma once

#include <string>

/// Before the first job: without it nothing but the counters is kept.
void StartProfile();

/// When all jobs have ended.
std::string MakeProfileReport();
