// Four numbers that the kernel's modules hand each other.
#pragma once

#include <array>
#include <cstdint>

/// A plain value; what the numbers mean is its users' business.
struct QORJobDataLookupTable
{
    std::array<std::int32_t, 4> mValues{};
};

static_assert(sizeof(QORJobDataLookupTable) == 16);
