// Lookups in the registry of names, beside those in a plain hash map under a shared mutex.
#include "qorjob.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace
{

std::vector<QBase::wstring> MakeNames(int iCount)
{
    std::vector<QBase::wstring> names;
    names.reserve(static_cast<std::size_t>(iCount));
    for (int i = 0; i < iCount; ++i)
        names.push_back(QBase::UTF8ToWideChar("QORDataName" + std::to_string(i)));
    return names;
}

class Registry
{
public:
    explicit Registry(const std::vector<QBase::wstring>& iNames)
    {
        for (const QBase::wstring& name : iNames)
            mNames.AddNameCopy(name.c_str(), -1);
    }

    int FindId(const QBase::WCHAR* iName) const
    {
        int id = -1;
        mNames.NameToId(iName, &id);
        return id;
    }

    const QBase::WCHAR* FindName(int iId) const
    {
        const QBase::WCHAR* name = nullptr;
        mNames.IdToName(iId, &name);
        return name;
    }

private:
    QORNamedIdsList mNames;
};

class HashMaps
{
public:
    explicit HashMaps(const std::vector<QBase::wstring>& iNames)
    {
        for (const QBase::wstring& name : iNames)
        {
            const auto id = static_cast<int>(mIds.size());
            mNames.emplace(id, mIds.emplace(name.c_str(), id).first->first.c_str());
        }
    }

    int FindId(const QBase::WCHAR* iName) const
    {
        const std::basic_string<QBase::WCHAR> name(iName);
        std::shared_lock lock(mMutex);
        const auto found = mIds.find(name);
        return found == mIds.end() ? -1 : found->second;
    }

    const QBase::WCHAR* FindName(int iId) const
    {
        std::shared_lock lock(mMutex);
        const auto found = mNames.find(iId);
        return found == mNames.end() ? nullptr : found->second;
    }

private:
    mutable std::shared_mutex mMutex;
    std::unordered_map<std::basic_string<QBase::WCHAR>, int> mIds;
    std::unordered_map<int, const QBase::WCHAR*> mNames;
};

/// Each turn asks for the next name, or id, in a stride that leaves none out. The threads share the names.
template <class Names, bool bByName>
void MeasureLookups(benchmark::State& ioState)
{
    constexpr std::size_t cStride = 37; // has no factor in common with the numbers of names
    static std::vector<QBase::wstring> texts;
    static std::unique_ptr<Names> names;
    if (ioState.thread_index() == 0)
    {
        texts = MakeNames(static_cast<int>(ioState.range(0)));
        names = std::make_unique<Names>(texts);
    }
    std::size_t next = 0;
    for (auto _ : ioState)
    {
        next = (next + cStride) % texts.size();
        if constexpr (bByName)
            benchmark::DoNotOptimize(names->FindId(texts[next].c_str()));
        else
            benchmark::DoNotOptimize(names->FindName(static_cast<int>(next)));
    }
}

#define LOOKUP_BENCHMARK(what, names, byName)         \
    BENCHMARK_TEMPLATE(MeasureLookups, names, byName) \
        ->Name(what)                                  \
        ->Arg(10)                                     \
        ->Arg(100)                                    \
        ->Arg(1000)                                   \
        ->Arg(10000)                                  \
        ->ThreadRange(1, 2)                           \
        ->UseRealTime()

LOOKUP_BENCHMARK("NameToId", Registry, true);
LOOKUP_BENCHMARK("HashNameToId", HashMaps, true);
LOOKUP_BENCHMARK("IdToName", Registry, false);
LOOKUP_BENCHMARK("HashIdToName", HashMaps, false);

} // namespace
