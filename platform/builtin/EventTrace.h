// What was called across the platform libraries, in order: a record for tests and for hunting order problems.
#pragma once

#include "platform/Export.h"

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace Builtin::EventTrace
{

/// Forgets what was recorded and records from now on.
QORJOB_API void Start();

/// Stops and returns the record: one text a call, such as "QSynch::CreateCriticalSection 4".
QORJOB_API std::vector<std::string> Stop();

namespace Detail
{
extern std::atomic<bool> gbRecording;
void Record(const char* iOperation, std::initializer_list<std::int64_t> iArguments);
} // namespace Detail

/// Notes one call; costs one test while nobody records.
inline void Note(const char* iOperation, std::initializer_list<std::int64_t> iArguments = {})
{
    if (Detail::gbRecording.load(std::memory_order_relaxed)) [[unlikely]]
        Detail::Record(iOperation, iArguments);
}

} // namespace Builtin::EventTrace
