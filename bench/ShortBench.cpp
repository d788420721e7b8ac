// The short bench: dispatch and a job's life beside their peers, in rounds, with the standard library alone.
#include "HostLives.h"
#include "ParseNumber.h"
#include "Workloads.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace
{

using Nanoseconds = std::chrono::duration<double, std::nano>;

constexpr int cMost = 32 * 1024; // times that a workload is run when it has been made ready
constexpr int cRounds = 15;
constexpr Nanoseconds cTurn = std::chrono::milliseconds(20); // a side's turn in a round takes this to twice as long

struct Side
{
    const char* mName;
    std::unique_ptr<Workload> (*mMake)();
};

template <class Life>
std::unique_ptr<Workload> MakeLife()
{
    return std::make_unique<Lives<Life>>(1);
}

std::unique_ptr<Workload> MakeDispatchCycle() { return std::make_unique<DispatchCycles>(cMost, 2048); }

std::unique_ptr<Workload> MakeDispatchFloor() { return std::make_unique<DispatchFloor>(cMost); }

std::unique_ptr<Workload> MakeHostLife() { return std::make_unique<HostLives>(); }

constexpr Side cHandWrittenLife = {"HandWrittenLife", MakeLife<HandWrittenLife>};

constexpr struct
{
    Side mFigure;
    Side mPeer;
} cPairs[] = {
    {{"DispatchCycle", MakeDispatchCycle}, {"DispatchFloor", MakeDispatchFloor}},
    {{"HeapLife", MakeLife<HeapLife>}, cHandWrittenLife},
    {{"BufferLife", MakeLife<BufferLife>}, cHandWrittenLife},
    {{"HostLife", MakeHostLife}, {"UnitLife", MakeLife<UnitLife>}},
};

/// Nanoseconds that one of `iCount` takes.
double Measure(const Side& iSide, int iCount)
{
    std::chrono::steady_clock::duration passed{};
    for (int left = iCount; left > 0; left -= cMost)
    {
        const std::unique_ptr<Workload> workload = iSide.mMake();
        const auto start = std::chrono::steady_clock::now();
        workload->Run(std::min(left, cMost));
        passed += std::chrono::steady_clock::now() - start;
    }
    return Nanoseconds(passed).count() / iCount;
}

int CountForTurn(const Side& iSide)
{
    int count = 1;
    while (Measure(iSide, count) * count < cTurn.count())
        count *= 2;
    return count;
}

double Median(std::vector<double> iValues)
{
    const auto middle = iValues.begin() + static_cast<std::ptrdiff_t>(iValues.size() / 2);
    std::nth_element(iValues.begin(), middle, iValues.end());
    return *middle;
}

void Compare(const Side& iFigure, const Side& iPeer, int iRounds)
{
    const int count = CountForTurn(iFigure);
    std::vector<double> figures;
    std::vector<double> peers;
    std::vector<double> ratios;
    for (int round = 0; round < iRounds; ++round)
    {
        figures.push_back(Measure(iFigure, count));
        peers.push_back(Measure(iPeer, count));
        ratios.push_back(figures.back() / peers.back());
    }
    const double figure = Median(figures);
    const double peer = Median(peers);
    const auto [lowest, highest] = std::minmax_element(ratios.begin(), ratios.end());
    std::printf("%-16s %9.0f   %-16s %9.0f %7.2f %7.2f %7.2f\n", iFigure.mName, figure, iPeer.mName, peer,
                figure / peer, *lowest, *highest);
}

const Side* FindSide(std::string_view iName)
{
    for (const auto& pair : cPairs)
        for (const Side* side : {&pair.mFigure, &pair.mPeer})
            if (side->mName == iName)
                return side;
    return nullptr;
}

int Usage()
{
    std::fprintf(stderr, "usage: qorjob_short_bench [ROUNDS | --only NAME COUNT], numbers from 1 to %d\n", cMost);
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    BecomeMultithreaded();
    if (argc == 4 && std::string_view(argv[1]) == "--only")
    {
        const Side* const side = FindSide(argv[2]);
        const std::optional<int> count = ParseNumber(argv[3], 1, cMost);
        if (side == nullptr || !count)
            return Usage();
        side->mMake()->Run(*count);
        return 0;
    }
    const std::optional<int> rounds = argc == 2 ? ParseNumber(argv[1], 1, cMost) : cRounds;
    if (argc > 2 || !rounds)
        return Usage();
    std::printf("%-16s %9s   %-16s %9s %7s %7s %7s\n", "figure", "ns", "held against", "ns", "ratio", "lowest",
                "highest");
    for (const auto& [figure, peer] : cPairs)
        Compare(figure, peer, *rounds);
    return 0;
}
