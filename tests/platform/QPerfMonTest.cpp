#include "platform/QPerfMon.h"

#include "platform/QBase.h"
#include "platform/builtin/PerfReadings.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace
{

constexpr int cCategory = 21;

QORObjectInstanceCount& GetCount() { return *QORObjectInstanceCount::GetObjectInstanceCount(); }

} // namespace

TEST(PerfMon, SumsACounterOverMoreThreadsThanItHasShards)
{
    Builtin::PerfReadings::Reset();
    RunOnThreads(100, [](int iIndex) {
        for (int i = 0; i < 100; ++i)
            QPerfMon::GetPerformanceMonitor()->Add(63, iIndex % 2 == 0 ? 3 : -1);
    });
    EXPECT_EQ(Builtin::PerfReadings::GetCounter(63), 50 * 100 * 3 - 50 * 100);
}

TEST(PerfMon, ListsTheCountersThatHaveNames)
{
    using Builtin::PerfReadings::NameCounter;
    const auto errorOf = [](int iCounterId, const char* iName) -> std::string {
        try
        {
            NameCounter(iCounterId, iName);
            return "";
        }
        catch (const QBase::Message& error)
        {
            return error.what();
        }
    };
    NameCounter(62, "orders");
    NameCounter(51, "clients");
    NameCounter(62, "orders");
    EXPECT_EQ(errorOf(64, "too many"), "Counter 64 doesn't exist.");
    EXPECT_EQ(errorOf(-1, "too few"), "Counter -1 doesn't exist.");
    EXPECT_EQ(errorOf(52, ""), "Counter 52 can't have an empty name.");
    EXPECT_EQ(errorOf(62, "other"), "Counter 62 can't be named other: orders is counter 62.");
    EXPECT_EQ(errorOf(62, "clients"), "Counter 62 can't be named clients: clients is counter 51.");
    EXPECT_EQ(errorOf(52, "clients"), "Counter 52 can't be named clients: clients is counter 51.");

    Builtin::PerfReadings::Reset();
    QPerfMon::GetPerformanceMonitor()->Add(51, 3);
    QPerfMon::GetPerformanceMonitor()->Add(62, -4);
    std::string listed;
    for (const auto& [id, name, value] : Builtin::PerfReadings::GetCounters())
        listed += std::to_string(id) + ' ' + name + ' ' + std::to_string(value) + ';';
    EXPECT_EQ(listed, "51 clients 3;62 orders -4;");
}

TEST(PerfMon, GivesOneIndexToOneNameOnAllThreads)
{
    std::vector<unsigned> indices[4];
    RunOnThreads(4, [&](int iIndex) {
        for (int i = 0; i < 50; ++i)
            indices[iIndex].push_back(QPerfMon::GetProfileIndex(("profile " + std::to_string(i)).c_str()));
    });
    for (const std::vector<unsigned>& seen : indices)
        EXPECT_EQ(seen, indices[0]);
    for (std::size_t i = 0; i < 50; ++i)
        EXPECT_EQ(Builtin::PerfReadings::GetProfiles().at(indices[0][i]).mName, "profile " + std::to_string(i));
}

TEST(PerfMon, AddsUpTheTimesAndRunsOfAProfile)
{
    Builtin::PerfReadings::EnableProfiling(true);
    const unsigned index = QPerfMon::GetProfileIndex("totals");
    RunOnThreads(4, [index](int) {
        for (int i = 0; i < 100; ++i)
        {
            QPerfMon::GetQORProfiler()->AddElapsedTime(index, 250);
            QPerfMon::GetQORProfiler()->AddCount(index, 2);
        }
    });
    QORProfileAgent* const agent = QPerfMon::CreateQORProfileAgent(static_cast<int>(index));
    agent->mStartTicks -= 5'000'000'000;
    QPerfMon::EndProfileAgent(agent);
    EXPECT_EQ(Builtin::PerfReadings::GetProfiles().at(index).mMicroseconds / 4'000'000, 1u) << "about five seconds";
    EXPECT_EQ(Builtin::PerfReadings::GetProfiles().at(index).mCount, 801u);
    QBase::HeapFree(agent);
    Builtin::PerfReadings::Reset();
    EXPECT_EQ(Builtin::PerfReadings::GetProfiles().at(index).mMicroseconds, 0u);
    EXPECT_EQ(Builtin::PerfReadings::GetProfiles().at(index).mCount, 0u);
    for (const int none : {-1, 1 << 20})
    {
        EXPECT_EQ(QPerfMon::CreateQORProfileAgent(none), nullptr);
        QPerfMon::GetQORProfiler()->AddCount(static_cast<unsigned>(none), 1);
    }
    Builtin::PerfReadings::EnableProfiling(false);
}

TEST(Instances, AreCountedByCategory)
{
    RunOnThreads(4, [](int) {
        for (const int category : {-1, 0, 31, 32})
        {
            GetCount().IncreaseObjectInstanceCount(category);
            GetCount().IncreaseObjectInstanceCount(category);
            GetCount().DecreaseObjectInstanceCount(category);
        }
    });
    for (const int category : {-1, 0, 31, 32})
        EXPECT_EQ(Builtin::PerfReadings::GetInstanceCount(category), category == 0 || category == 31 ? 4 : 0)
            << category;
}

TEST(LiveObjects, AreFoundAgainAfterAnyMixOfComingAndGoing)
{
    // Addresses side by side and far apart, in a number that makes the tables grow and their runs wrap around.
    const auto bytes = std::make_unique<char[]>(1 << 20);
    std::set<const void*> live;
    std::mt19937 random(5);
    GetCount().CreateObjectInstance(cCategory, nullptr); // neither counts
    GetCount().CreateObjectInstance(32, bytes.get());
    GetCount().DeleteObjectInstance(32, bytes.get());
    GetCount().CreateObjectInstance(cCategory + 2, bytes.get());
    for (int round = 0; round < 60'000; ++round)
    {
        const void* const object = &bytes[random() % 4 == 0 ? random() % (1 << 20) : random() % 4096];
        if (random() % 100 < (round < 30'000 ? 60u : 30u))
        {
            GetCount().CreateObjectInstance(cCategory, object);
            GetCount().DeleteObjectInstance(cCategory + 1, object); // a base at the same address, long gone
            live.insert(object);
        }
        else
        {
            GetCount().DeleteObjectInstance(cCategory, object);
            live.erase(object);
        }
        GetCount().DeleteObjectInstance(cCategory, nullptr);
        ASSERT_TRUE(round % 1000 != 0 || Builtin::PerfReadings::GetLiveInstances(cCategory) == std::ssize(live))
            << round;
    }
    EXPECT_EQ(Builtin::PerfReadings::GetLiveInstances(cCategory + 1), 0);
    EXPECT_EQ(Builtin::PerfReadings::GetLiveInstances(cCategory + 2), 1);
    EXPECT_EQ(Builtin::PerfReadings::GetLiveInstances(32), 0);
    GetCount().DeleteObjectInstance(cCategory + 2, bytes.get());
    for (const void* const object : live)
        GetCount().DeleteObjectInstance(cCategory, object);
    EXPECT_EQ(Builtin::PerfReadings::GetLiveInstances(cCategory), 0);
}

TEST(LiveObjects, ComeAndGoOnAllThreads)
{
    const std::vector<int> objects(4 * 2000);
    RunOnThreads(4, [&](int iIndex) {
        const int* const own = &objects[static_cast<std::size_t>(iIndex) * 2000];
        for (int i = 0; i < 2000; ++i)
            GetCount().CreateObjectInstance(cCategory, own + i);
        for (int i = 0; i < 2000; ++i)
            GetCount().DeleteObjectInstance(cCategory, own + i);
    });
    EXPECT_EQ(Builtin::PerfReadings::GetLiveInstances(cCategory), 0);
}
