// The limits of requests.
#pragma once

#include <chrono>
#include <cstdint>

/// Of a text, in the data or made by a query, in bytes.
constexpr int cMostTextBytes = 64'000;

struct Limits
{
    std::uint64_t mJobMemory = ~std::uint64_t{0}; ///< of a job and its children, in bytes
    std::chrono::seconds mStepTime{60};           ///< of each step that works; one that takes longer is given up
};
