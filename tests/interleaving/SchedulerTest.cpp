// The scheduler has to find what it is there for.
#include "tests/interleaving/Scheduler.h"

#include "platform/QSynch.h"

#include <gtest/gtest.h>

#include <set>

using SmartLock = QSynch::CriticalSection::SmartLock;

TEST(Scheduler, FindsTheOrdersThatLoseAnUpdate)
{
    const auto lock = QSynch::MakeCriticalSection(1);
    int value = 0;
    const auto addOne = [&] {
        int old = 0;
        {
            const SmartLock hold(lock.get());
            old = value;
        }
        const SmartLock hold(lock.get());
        value = old + 1;
    };
    for (const bool bWholeParts : {true, false})
    {
        Scheduler scheduler;
        scheduler.Begin(bWholeParts, 100, nullptr);
        std::set<int> values;
        int runs = 0;
        do
        {
            value = 0;
            scheduler.Run({{addOne}, {addOne}});
            values.insert(value);
            ++runs;
        } while (scheduler.Next());
        EXPECT_EQ(values, bWholeParts ? std::set{2} : (std::set{1, 2}));
        EXPECT_EQ(runs, bWholeParts ? 2 : 252) << "five stretches each, between one point and the next";
    }
}

TEST(Scheduler, TellsTheScheduleOfThreadsThatWaitForEachOther)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto first = QSynch::MakeCriticalSection(1);
    const auto second = QSynch::MakeCriticalSection(2);
    const auto take = [](QSynch::CriticalSection* iOuter, QSynch::CriticalSection* iInner) {
        return [=] {
            const SmartLock outer(iOuter);
            const SmartLock inner(iInner);
        };
    };
    const auto run = [&] {
        Scheduler scheduler;
        scheduler.Begin(false, 100, nullptr);
        do
            scheduler.Run({{take(first.get(), second.get())}, {take(second.get(), first.get())}});
        while (scheduler.Next());
    };
    EXPECT_DEATH(run(), "A for lock 2 B for lock 1, after AABB\n  A enters lock 1\n  B enters lock 2");
}
