// What the platform's performance monitor has measured and counted.
#pragma once

#include <string>

/// Before the first job: without it nothing but the counters is kept.
void StartProfile();

/// When all jobs have ended.
std::string MakeProfileReport();
