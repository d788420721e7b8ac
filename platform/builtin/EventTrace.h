// The trace of calls to the platform's libraries, in order: for tests, and to find faults in the order of calls.
#pragma once

#include "platform/Export.h"

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace Builtin::EventTrace
{

/// Clears the record and starts recording.
QORJOB_API void Start();

/// Stops and returns the record: one text a call, such as "QSynch::CreateCriticalSection 4".
QORJOB_API std::vector<std::string> Stop();

namespace Detail
{
extern std::atomic<bool> gbRecording;
[[gnu::cold, gnu::noinline]] void Record(const char* iOperation, std::initializer_list<std::int64_t> iArguments);
} // namespace Detail

/// The platform's side: records one call; costs one test while the trace is off.
[[gnu::always_inline]] inline void Note(const char* iOperation, std::initializer_list<std::int64_t> iArguments = {})
{
    if (Detail::gbRecording.load(std::memory_order_relaxed)) [[unlikely]]
        Detail::Record(iOperation, iArguments);
}

} // namespace Builtin::EventTrace
