// The counts that LibraryUsers reads.
#pragma once

#include <atomic>

namespace Builtin
{

inline constinit std::atomic<unsigned> gLogUsers{0};
inline constinit std::atomic<unsigned> gPerformanceMonitorUsers{0};
inline constinit std::atomic<unsigned> gThreadSpaceUsers{0};
inline constinit std::atomic<unsigned> gMemGovernors{0};

} // namespace Builtin
