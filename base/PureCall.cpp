// The pure-call hook: the function that the compiler puts into a virtual table where an operation has no body. It is
// exported for the virtual tables in users' modules.
#include "platform/Export.h"

namespace KernelLog
{
[[noreturn]] void EndOfPureCall() noexcept; // declared here because KernelLog.h can't be included, see below
} // namespace KernelLog

// GCC treats any function that is declared as __cxa_pure_virtual as weak. On Windows a weak reference is not resolved,
// and the virtual tables would hold null. So only the assembler sees that name, and this file includes no header with a
// class: its virtual table would refer to the hook by the weak name. (Users get a link option, in CMakeLists.txt.)
extern "C" [[noreturn]] QORJOB_API void PureCallHook() __asm__("__cxa_pure_virtual");

void PureCallHook() { KernelLog::EndOfPureCall(); }
