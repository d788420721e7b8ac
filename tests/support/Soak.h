// How many random cases a test tries, and which.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>

/// A number of cases from seed 0 on (fewer under the thread sanitizer, which is slow); with --gtest_shuffle each run
/// has cases of its own. The environment may say otherwise: QORJOB_SOAK_SECONDS goes on for that long with fresh seeds,
/// QORJOB_SOAK_SEED begins with that one.
class Soak
{
public:
    explicit Soak(unsigned iCases) : mCases(iCases)
    {
#if defined(__SANITIZE_THREAD__)
        mCases /= 8;
#endif
        if (GTEST_FLAG_GET(shuffle))
            mFirst = static_cast<unsigned>(testing::UnitTest::GetInstance()->random_seed()) * iCases;
        if (const char* seconds = std::getenv("QORJOB_SOAK_SECONDS"))
        {
            mEnd = std::chrono::steady_clock::now() + std::chrono::seconds(std::atoi(seconds));
            mCases = 0;
            mFirst = std::random_device()();
        }
        if (const char* seed = std::getenv("QORJOB_SOAK_SEED"))
            mFirst = static_cast<unsigned>(std::strtoul(seed, nullptr, 10));
        mSeed = mFirst;
    }

    /// Ends with the first failure; one case is tried in any time.
    bool HasNext() const
    {
        return !testing::Test::HasFailure() &&
               (mSeed - mFirst < mCases || mSeed == mFirst || std::chrono::steady_clock::now() < mEnd);
    }
    unsigned TakeSeed() { return mSeed++; }

    void Report(const char* iCases, std::uint64_t iOperations) const
    {
        if (mCases == 0)
            std::printf("%u %s from seed %u on, %llu operations\n", mSeed - mFirst, iCases, mFirst,
                        static_cast<unsigned long long>(iOperations));
    }

private:
    unsigned mCases;
    unsigned mFirst = 0;
    unsigned mSeed = 0;
    std::chrono::steady_clock::time_point mEnd{};
};
