// The performance monitor's readings, as tables for people.
#pragma once

#include <string>

/// Before the first job: without it nothing but the counters is kept. `ibWaits`: the waits, too, for the report.
void StartProfile(bool ibWaits);

/// When all jobs have ended.
std::string MakeProfileReport();
