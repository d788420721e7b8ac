// The hook that the compiler puts into a virtual table where an operation has no body: in the tables of this library,
// and in those of its users' modules, for which it is exported.
#include "platform/Export.h"

namespace KernelLog
{
[[noreturn]] void EndOfPureCall() noexcept; // in KernelLog.h, too, which this file can't include
} // namespace KernelLog

// GCC takes the function that it knows by this name for a weak one wherever it meets it. On Windows a weak one is never
// found, and a null stands in the tables: so the name is the assembler's only, and no header with a class comes in
// here, because its table would ask for the hook by the weak name. (Users are linked with an option, in
// CMakeLists.txt.)
extern "C" [[noreturn]] QORJOB_API void PureCallHook() __asm__("__cxa_pure_virtual");

void PureCallHook() { KernelLog::EndOfPureCall(); }
