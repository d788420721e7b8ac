#include "platform/QPerfMon.h"

#include "platform/QBase.h"
#include "platform/builtin/Faults.h"
#include "platform/builtin/PerfReadings.h"
#include "tests/support/Threads.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace
{

class PerfMon : public testing::Test
{
protected:
    void SetUp() override
    {
        PerfReadings::Reset();
        PerfReadings::EnableProfiling(true);
    }

    void TearDown() override
    {
        PerfReadings::EnableProfiling(false);
        PerfReadings::EnablePulses(false);
        PerfReadings::Reset();
    }
};

constexpr int cCategory = 21;

QORObjectInstanceCount& GetCount() { return *QORObjectInstanceCount::GetObjectInstanceCount(); }

} // namespace

TEST_F(PerfMon, SumsACounterOverMoreThreadsThanItHasShards)
{
    RunOnThreads(40, [](int iIndex) {
        for (int i = 0; i < 100; ++i)
            QPerfMon::GetPerformanceMonitor()->Add(63, iIndex % 2 == 0 ? 3 : -1);
    });
    EXPECT_EQ(PerfReadings::GetCounter(63), 20 * 100 * 3 - 20 * 100);
    EXPECT_EQ(PerfReadings::GetCounter(62), 0);
}

TEST_F(PerfMon, IgnoresNumbersThatItDoesNotKnow)
{
    for (const int id : {-1, 64, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
    {
        QPerfMon::GetPerformanceMonitor()->Add(id, 1);
        EXPECT_EQ(PerfReadings::GetCounter(id), 0);
        GetCount().IncreaseObjectInstanceCount(id);
        EXPECT_EQ(PerfReadings::GetInstanceCount(id), 0);
        GetCount().CreateObjectInstance(id, &id);
        EXPECT_EQ(PerfReadings::GetLiveInstances(id), 0);
        GetCount().DeleteObjectInstance(id, &id);
    }
    QPerfMon::GetQORProfiler()->AddCount(1'000'000, 1);
    QPerfMon::GetQORProfiler()->AddElapsedTime(1'000'000, 1);
}

TEST_F(PerfMon, GivesOneIndexToOneNameOnAllThreads)
{
    std::vector<unsigned> indices[4];
    RunOnThreads(4, [&](int iIndex) {
        for (int i = 0; i < 50; ++i)
            indices[iIndex].push_back(QPerfMon::GetProfileIndex(("profile " + std::to_string(i)).c_str()));
    });
    EXPECT_EQ(std::set<unsigned>(indices[0].begin(), indices[0].end()).size(), 50u);
    const std::vector<PerfReadings::Profile> profiles = PerfReadings::GetProfiles();
    for (const std::vector<unsigned>& seen : indices)
    {
        EXPECT_EQ(seen, indices[0]);
        for (int i = 0; i < 50; ++i)
            EXPECT_EQ(profiles.at(seen[static_cast<std::size_t>(i)]).mName, "profile " + std::to_string(i));
    }
}

TEST_F(PerfMon, RefusesMoreProfilesThanItHasRoomFor)
{
    // In a process of its own: names stay.
    const auto addProfiles = [] {
        for (int i = 0; i < 1025; ++i)
        {
            try
            {
                QPerfMon::GetProfileIndex(std::to_string(i).c_str());
            }
            catch (const QBase::Message& message)
            {
                std::fputs(message.what(), stderr);
                std::exit(QPerfMon::GetProfileIndex("5") < 1024 ? 3 : 4);
            }
        }
    };
    EXPECT_EXIT(addProfiles(), testing::ExitedWithCode(3), "There is no room for the profile .+\\.");
}

TEST_F(PerfMon, AddsUpTheTimesAndRunsOfAProfile)
{
    const unsigned index = QPerfMon::GetProfileIndex("totals");
    RunOnThreads(4, [index](int) {
        for (int i = 0; i < 100; ++i)
        {
            QPerfMon::GetQORProfiler()->AddElapsedTime(index, 250);
            QPerfMon::GetQORProfiler()->AddCount(index, 2);
        }
    });
    const PerfReadings::Profile profile = PerfReadings::GetProfiles().at(index);
    EXPECT_EQ(profile.mMicroseconds, 100'000u);
    EXPECT_EQ(profile.mCount, 800u);
    PerfReadings::Reset();
    EXPECT_EQ(PerfReadings::GetProfiles().at(index).mCount, 0u);
    EXPECT_EQ(QPerfMon::GetProfileIndex("totals"), index);
}

TEST_F(PerfMon, CountsOneRunForEachEndOfAnAgent)
{
    const unsigned index = QPerfMon::GetProfileIndex("agent");
    QORProfileAgent* const agent = QPerfMon::CreateQORProfileAgent(static_cast<int>(index));
    ASSERT_NE(agent, nullptr);
    agent->mStartTicks -= 5'000'000'000;
    QPerfMon::EndProfileAgent(agent);
    EXPECT_GE(PerfReadings::GetProfiles().at(index).mMicroseconds, 5'000'000u);
    EXPECT_LT(PerfReadings::GetProfiles().at(index).mMicroseconds, 100'000'000u);

    PerfReadings::Reset();
    agent->mStartTicks -= 5'000'000'000;
    QPerfMon::StartProfileAgent(agent); // begins anew
    QPerfMon::EndProfileAgent(agent);
    EXPECT_LT(PerfReadings::GetProfiles().at(index).mMicroseconds, 5'000'000u);
    EXPECT_EQ(PerfReadings::GetProfiles().at(index).mCount, 1u);
    QBase::HeapFree(agent);
}

TEST_F(PerfMon, MakesNoAgentThatCouldNotWork)
{
    const auto index = static_cast<int>(QPerfMon::GetProfileIndex("agent"));
    EXPECT_EQ(QPerfMon::CreateQORProfileAgent(-1), nullptr);
    EXPECT_EQ(QPerfMon::CreateQORProfileAgent(1'000'000), nullptr);
    Faults::FailNth(Faults::EnumFault::Allocation, 1);
    EXPECT_EQ(QPerfMon::CreateQORProfileAgent(index), nullptr);
    PerfReadings::EnableProfiling(false);
    EXPECT_EQ(QPerfMon::CreateQORProfileAgent(index), nullptr);
    QPerfMon::StartProfileAgent(nullptr);
    QPerfMon::EndProfileAgent(nullptr);
}

TEST_F(PerfMon, RecordsPulsesWhileTheyAreOn)
{
    const auto category = static_cast<Tag_EnumKDXPulseCategoryID>(PulseCategoryJobFirst + 2);
    EXPECT_FALSE(IsRequestStatsEnabled(category));
    PULSE_RecordPulseEvent(1, 2, category, 0.5, 1.5);
    EXPECT_TRUE(PerfReadings::TakePulses().empty());

    PerfReadings::EnablePulses(true);
    EXPECT_TRUE(IsRequestStatsEnabled(category));
    const double now = GetPulseTimeStamp();
    PULSE_RecordPulseEvent(1, 2, category, 0.5, now);
    const std::vector<PerfReadings::Pulse> pulses = PerfReadings::TakePulses();
    ASSERT_EQ(pulses.size(), 1u);
    EXPECT_EQ(pulses[0].mValue, 1);
    EXPECT_EQ(pulses[0].mJobId, 2);
    EXPECT_EQ(pulses[0].mCategory, 408);
    EXPECT_EQ(pulses[0].mEnqueueTime, 0.5);
    EXPECT_EQ(pulses[0].mNow, now);
    EXPECT_TRUE(PerfReadings::TakePulses().empty());
    EXPECT_GE(GetPulseTimeStamp(), now);
}

TEST(InstanceCounts, AreReadWhicheverThreadCounted)
{
    const std::int64_t before = PerfReadings::GetInstanceCount(cCategory);
    for (int i = 0; i < 10; ++i)
        GetCount().IncreaseObjectInstanceCount(cCategory);
    RunOnThreads(3, [](int) { GetCount().DecreaseObjectInstanceCount(cCategory); });
    EXPECT_EQ(PerfReadings::GetInstanceCount(cCategory), before + 7);
    EXPECT_EQ(PerfReadings::GetLiveInstances(cCategory), 0); // numbers register nothing
    PerfReadings::Reset();
    EXPECT_EQ(PerfReadings::GetInstanceCount(cCategory), before + 7);
}

TEST(LiveObjects, AreKeptAsASet)
{
    const int objects[2] = {};
    GetCount().DeleteObjectInstance(cCategory, &objects[0]); // was never there
    GetCount().CreateObjectInstance(cCategory, nullptr);
    EXPECT_EQ(PerfReadings::GetLiveInstances(cCategory), 0);

    GetCount().CreateObjectInstance(cCategory, &objects[0]);
    GetCount().CreateObjectInstance(cCategory, &objects[0]);
    GetCount().CreateObjectInstance(cCategory + 1, &objects[0]); // a base at the same address
    GetCount().DeleteObjectInstance(cCategory, &objects[1]);
    EXPECT_EQ(PerfReadings::GetLiveInstances(cCategory), 1);
    EXPECT_EQ(PerfReadings::GetLiveInstances(cCategory + 1), 1);

    GetCount().DeleteObjectInstance(cCategory, &objects[0]);
    EXPECT_EQ(PerfReadings::GetLiveInstances(cCategory), 0);
    EXPECT_EQ(PerfReadings::GetLiveInstances(cCategory + 1), 1);
    GetCount().DeleteObjectInstance(cCategory + 1, &objects[0]);
}

TEST(LiveObjects, AreFoundAgainAfterAnyMixOfComingAndGoing)
{
    // Addresses side by side and far apart, in a number that makes the tables grow and their runs wrap around.
    const auto bytes = std::make_unique<char[]>(1 << 20);
    std::set<const void*> live;
    std::mt19937 random(5);
    for (int round = 0; round < 60'000; ++round)
    {
        const std::size_t place = random() % 4 == 0 ? random() % (1 << 20) : random() % 4096;
        const void* const object = &bytes[place];
        if (random() % 100 < (round < 30'000 ? 60u : 30u))
        {
            GetCount().CreateObjectInstance(cCategory, object);
            live.insert(object);
        }
        else
        {
            GetCount().DeleteObjectInstance(cCategory, object);
            live.erase(object);
        }
        if (round % 1000 == 0)
        {
            ASSERT_EQ(PerfReadings::GetLiveInstances(cCategory), static_cast<std::int64_t>(live.size())) << round;
        }
    }
    for (const void* const object : live)
        GetCount().DeleteObjectInstance(cCategory, object);
    EXPECT_EQ(PerfReadings::GetLiveInstances(cCategory), 0);
}

TEST(LiveObjects, ComeAndGoOnAllThreads)
{
    const std::vector<int> objects(4 * 2000);
    RunOnThreads(4, [&](int iIndex) {
        const int* const own = &objects[static_cast<std::size_t>(iIndex) * 2000];
        for (int i = 0; i < 2000; ++i)
            GetCount().CreateObjectInstance(cCategory, own + i);
        for (int i = 0; i < 2000; i += 2)
            GetCount().DeleteObjectInstance(cCategory, own + i);
    });
    EXPECT_EQ(PerfReadings::GetLiveInstances(cCategory), 4000);
    for (const int& object : objects)
        GetCount().DeleteObjectInstance(cCategory, &object);
    EXPECT_EQ(PerfReadings::GetLiveInstances(cCategory), 0);
}
