// The pure-call hook of GCC and clang: the function that they put into a virtual table where an operation has no body.
// It is exported for the virtual tables in users' modules.
#include "platform/PureCall.h"

#include "platform/Export.h"

// On Windows GCC refers to the hook by a weak name, and what is defined after such a reference is weak, too, which is
// not resolved: the virtual tables would hold null. So this file includes no header with a class, whose table would
// refer to it. (Users get a link option, in CMakeLists.txt.)

// NOLINTNEXTLINE(readability-identifier-naming): the compilers' own name
extern "C" [[noreturn]] QORJOB_API void __cxa_pure_virtual() { PureCall::End(); }
