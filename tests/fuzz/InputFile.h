// What a fuzzer gives to those who read files: a file in memory, with a name.
#pragma once

#include "tests/fuzz/Fuzz.h"

#include <sys/mman.h>
#include <unistd.h>

/// The same file again at each call.
inline std::string WriteInput(std::string_view iBytes)
{
    static const int file = memfd_create("input", MFD_CLOEXEC);
    Require(file >= 0 && ftruncate(file, 0) == 0);
    Require(pwrite(file, iBytes.data(), iBytes.size(), 0) == static_cast<ssize_t>(iBytes.size()));
    return "/proc/self/fd/" + std::to_string(file);
}
