// Where a call of an operation that has no body ends: on its table's place stands this handler.
#include "task/KernelLog.h"

#include <cstdlib>

namespace
{

[[noreturn]] void EndOfPureCall()
{
    LogLine(EnumKernelRouter::Error, "_purecall(): Pure virtual function call.");
    std::abort();
}

} // namespace

// The language's own hook, whose name the compiler puts into the tables.
#if defined(_MSC_VER)
extern "C" int _purecall() { EndOfPureCall(); }
#else
extern "C" [[noreturn, gnu::used]] void __cxa_pure_virtual(); // NOLINT(readability-identifier-naming)
extern "C" void __cxa_pure_virtual() { EndOfPureCall(); }     // NOLINT(readability-identifier-naming)
#endif
