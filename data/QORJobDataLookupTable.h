// A table of four numbers that the kernel's modules exchange.
#pragma once

#include <array>
#include <cstdint>

/// A plain value; its users define what the numbers mean.
struct QORJobDataLookupTable
{
    std::array<std::int32_t, 4> mValues{};
};

static_assert(sizeof(QORJobDataLookupTable) == 16);
